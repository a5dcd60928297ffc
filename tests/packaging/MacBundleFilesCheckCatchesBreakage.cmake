# The check of the macOS bundle files must fail for each way the Mac's packaging is known to
# break: copies of the build files are broken one way each, and the check has to name the
# problem.
#
#     cmake -DWISP_SOURCE_DIR=<source tree> -DWORK_DIR=<scratch folder> -DPYTHON=<python3> -P ...

cmake_minimum_required(VERSION 3.24)

file(REMOVE_RECURSE ${WORK_DIR})
set(failures)

# A copy of what the check reads: cmake/, packaging/macos/ and the settings store it compares.
function(copy_tree name)
    set(copy ${WORK_DIR}/${name})
    file(COPY ${WISP_SOURCE_DIR}/cmake DESTINATION ${copy})
    file(COPY ${WISP_SOURCE_DIR}/packaging/macos DESTINATION ${copy}/packaging)
    file(COPY ${WISP_SOURCE_DIR}/src/Platform/macos/MacSettingsStore.cpp
        DESTINATION ${copy}/src/Platform/macos)
endfunction()

# break_file(NAME FILE FROM TO): replaces the text FROM, which must be there, in the copy's FILE.
function(break_file name file from to)
    set(path ${WORK_DIR}/${name}/${file})
    file(READ ${path} text)
    string(FIND "${text}" "${from}" at)
    if(at EQUAL -1)
        set(failures "${failures}\n  ${name}: '${from}' is not in ${file}" PARENT_SCOPE)
        return()
    endif()
    string(REPLACE "${from}" "${to}" text "${text}")
    file(WRITE ${path} "${text}")
endfunction()

function(run_check name)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -DWISP_VERSION=1.2.3 -DWORK_DIR=${WORK_DIR}/${name}/work
            -DPYTHON=${PYTHON} -P ${WORK_DIR}/${name}/cmake/checks/MacBundleFilesCheck.cmake
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    set(result ${result} PARENT_SCOPE)
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_failure name expected)
    run_check(${name})
    string(REGEX REPLACE "[ \n]+" " " flat "${output}")
    if(result EQUAL 0)
        set(failures "${failures}\n  ${name}: the check passed" PARENT_SCOPE)
    elseif(NOT flat MATCHES "${expected}")
        set(failures "${failures}\n  ${name}: expected '${expected}' in:\n${output}" PARENT_SCOPE)
    endif()
endfunction()

# The unbroken copy passes: what fails below fails for the breakage alone.
copy_tree(sound)
run_check(sound)
if(NOT result EQUAL 0)
    set(failures "${failures}\n  sound: the unbroken copy failed:\n${output}")
endif()

# The hardened runtime with the ad-hoc identity.
copy_tree(hardened-adhoc)
break_file(hardened-adhoc cmake/WispCodesign.cmake
    "if(NOT identity STREQUAL \"-\")" "if(TRUE)")
expect_failure(hardened-adhoc "identity '-'\\) has 'runtime'")

# macdeployqt without Qt's library folder.
copy_tree(no-libpath)
break_file(no-libpath cmake/WispCodesign.cmake " \"-libpath=\${qt_library_dir}\"" "")
expect_failure(no-libpath "macdeployqt lacks '-libpath=/opt/homebrew/opt/qt/lib'")

# Signing with --deep.
copy_tree(deep)
break_file(deep cmake/WispCodesign.cmake "set(options --force --sign" "set(options --force --deep --sign")
expect_failure(deep "codesign \\(nested, identity '-'\\) has '--deep'")

# An entitlement whose value is false.
copy_tree(false-entitlement)
break_file(false-entitlement packaging/macos/wisp.entitlements "<dict>"
    "<dict>\n    <key>com.apple.security.cs.allow-jit</key>\n    <false/>")
expect_failure(false-entitlement "entitlements: com.apple.security.cs.allow-jit is false")

# The sandbox entitlement back, false as it once was.
copy_tree(sandbox-entitlement)
break_file(sandbox-entitlement packaging/macos/wisp.entitlements "<dict>"
    "<dict>\n    <key>com.apple.security.app-sandbox</key>\n    <false/>")
expect_failure(sandbox-entitlement "com.apple.security.app-sandbox is present")

# A deployment target below 13.0.
copy_tree(old-macos)
break_file(old-macos cmake/WispDeploymentTarget.cmake
    "set(WISP_MINIMUM_MACOS \"13.0\")" "set(WISP_MINIMUM_MACOS \"12.0\")")
expect_failure(old-macos "deployment target 12.0 for Qt 6.5 is below macOS 13.0")

# A deployment target that ignores what the Qt in use supports.
copy_tree(ignores-qt)
break_file(ignores-qt cmake/WispDeploymentTarget.cmake "    6.10 13.0)" ")")
break_file(ignores-qt cmake/WispDeploymentTarget.cmake
    "set(WISP_MINIMUM_MACOS \"13.0\")" "set(WISP_MINIMUM_MACOS \"12.0\")")
expect_failure(ignores-qt "deployment target 12.0 for Qt 6.10 is below the macOS 13.0 it supports")

# QCoro fetched at the release whose headers current Clang cannot compile.
copy_tree(old-qcoro)
break_file(old-qcoro cmake/WispDependencies.cmake "GIT_TAG v0.12.0" "GIT_TAG v0.10.0")
expect_failure(old-qcoro "QCoro is fetched at v0.10.0, older than v0.11.0")

file(REMOVE_RECURSE ${WORK_DIR})
if(failures)
    message(FATAL_ERROR "The macOS bundle-file check missed a broken copy:${failures}")
endif()
message(STATUS "The macOS bundle-file check caught every broken copy")
