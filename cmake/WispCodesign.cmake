# The command lines that make the installed wisp.app self-contained and signed. Run by the
# install step (cmake/WispPackaging.cmake) and evaluated on Linux by
# cmake/checks/MacBundleFilesCheck.cmake, so what decides whether the bundle launches is checked
# where no Mac runs it.
#
# - macdeployqt is told where Qt's libraries are: Homebrew's Qt links its frameworks as @rpath/...,
#   and the installed executable no longer has the build tree's RPATH to resolve them with.
# - Nested code is signed first, inside out, each item on its own and without entitlements; the
#   app is signed last, with the entitlements. No --deep: it would put the app's entitlements on
#   every framework and plugin.
# - The hardened runtime only with a real identity: it turns on library validation, which refuses
#   frameworks signed ad hoc ("-", no Team ID), and notarisation needs it and a secure timestamp.

# wisp_macdeployqt_command(OUT MACDEPLOYQT APP QT_LIBRARY_DIR)
function(wisp_macdeployqt_command out macdeployqt app qt_library_dir)
    set(command "${macdeployqt}" "${app}" -always-overwrite "-libpath=${qt_library_dir}")
    set(${out} "${command}" PARENT_SCOPE)
endfunction()

# wisp_codesign_options(OUT IDENTITY): what every signature made with IDENTITY takes.
function(wisp_codesign_options out identity)
    set(options --force --sign "${identity}")
    if(NOT identity STREQUAL "-")
        list(APPEND options --options runtime --timestamp)
    endif()
    set(${out} "${options}" PARENT_SCOPE)
endfunction()

# wisp_codesign_nested_command(OUT IDENTITY PATH): signs one framework, plugin or library.
function(wisp_codesign_nested_command out identity path)
    wisp_codesign_options(options "${identity}")
    set(${out} codesign ${options} "${path}" PARENT_SCOPE)
endfunction()

# wisp_codesign_app_command(OUT IDENTITY ENTITLEMENTS APP): signs the bundle itself, last.
function(wisp_codesign_app_command out identity entitlements app)
    wisp_codesign_options(options "${identity}")
    set(${out} codesign ${options} --entitlements "${entitlements}" "${app}" PARENT_SCOPE)
endfunction()

# wisp_nested_code(OUT APP): the code inside APP that needs a signature of its own, innermost
# first: plugins and loose libraries, then frameworks.
function(wisp_nested_code out app)
    file(GLOB_RECURSE libraries LIST_DIRECTORIES false
        "${app}/Contents/PlugIns/*.dylib" "${app}/Contents/Frameworks/*.dylib")
    file(GLOB frameworks LIST_DIRECTORIES true "${app}/Contents/Frameworks/*.framework")
    list(SORT libraries)
    list(SORT frameworks)
    set(${out} ${libraries} ${frameworks} PARENT_SCOPE)
endfunction()

# wisp_deploy_and_sign(MACDEPLOYQT QT_LIBRARY_DIR IDENTITY ENTITLEMENTS APP): the install step.
function(wisp_deploy_and_sign macdeployqt qt_library_dir identity entitlements app)
    wisp_macdeployqt_command(deploy "${macdeployqt}" "${app}" "${qt_library_dir}")
    execute_process(COMMAND ${deploy} COMMAND_ERROR_IS_FATAL ANY)
    wisp_nested_code(nested "${app}")
    foreach(item IN LISTS nested)
        wisp_codesign_nested_command(sign "${identity}" "${item}")
        execute_process(COMMAND ${sign} COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
    wisp_codesign_app_command(sign "${identity}" "${entitlements}" "${app}")
    execute_process(COMMAND ${sign} COMMAND_ERROR_IS_FATAL ANY)
    # Verifying may look inside: --deep is only harmful when signing.
    execute_process(COMMAND codesign --verify --deep --strict "${app}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()
