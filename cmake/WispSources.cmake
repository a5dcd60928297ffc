# The sources and link items of each platform's build, in one place that both the build and
# cmake/checks/PlatformSourcesCheck.cmake read: the check evaluates the macOS lists on Linux, so a
# file or framework missing from them shows up without a Mac.
#
# Sources are picked up per folder, so adding a class never means editing this file.

# A configured build globs again when a folder changes; script mode has nothing to re-run.
if(CMAKE_SCRIPT_MODE_FILE)
    set(WISP_GLOB_DEPENDS)
else()
    set(WISP_GLOB_DEPENDS CONFIGURE_DEPENDS)
endif()

# wisp_platform_sources(PLATFORM SOURCE_DIR): for PLATFORM "macos" or "linux" and the src folder,
# sets WISP_<LAYER>_SOURCES and WISP_<LAYER>_LINK for the layers HOTKEY, CORE and UI in the
# caller's scope. The link items are those of the layer itself; a layer also gets those of the
# layers it links.
function(wisp_platform_sources platform src)
    if(platform STREQUAL "macos")
        set(hotkey_backends carbon)
        # Objective-C++ only where AppKit or ServiceManagement has no C API.
        set(platform_patterns *.cpp *.h *.mm)
        set(hotkey_link "-framework Carbon" "-framework CoreFoundation")
        set(core_link
            "-framework CoreFoundation" "-framework CoreServices"
            "-framework ApplicationServices" "-framework Foundation" "-framework AppKit"
            "-framework ServiceManagement")
        set(ui_link)
    elseif(platform STREQUAL "linux")
        # X11 key grabs, and the desktop portal in Wayland sessions.
        set(hotkey_backends x11 portal)
        set(platform_patterns *.cpp *.h)
        set(hotkey_link X11::X11 Qt6::DBus)
        # Window activation and the reload keystroke of the Linux browser backend, and the
        # DevTools connection that finds a browser's tabs.
        set(core_link X11::xcb X11::xcb_xtest Qt6::WebSockets QCoro6::WebSockets)
        set(ui_link)
    else()
        message(FATAL_ERROR "wisp: no sources for platform '${platform}'")
    endif()

    set(backend_globs)
    set(platform_globs)
    foreach(pattern IN LISTS platform_patterns)
        foreach(backend IN LISTS hotkey_backends)
            list(APPEND backend_globs ${src}/HotKey/${backend}/${pattern})
        endforeach()
        list(APPEND platform_globs ${src}/Platform/${platform}/${pattern})
    endforeach()

    # wisp_hotkey: the global shortcut module; knows nothing of the application.
    file(GLOB hotkey ${WISP_GLOB_DEPENDS} ${src}/HotKey/*.cpp ${src}/HotKey/*.h ${backend_globs})

    # wisp_core: models, protocols, utilities, managers and platform adapters.
    file(GLOB core ${WISP_GLOB_DEPENDS}
        ${src}/Models/*.cpp ${src}/Models/*.h
        ${src}/Protocols/*.cpp ${src}/Protocols/*.h
        ${src}/Utilities/*.cpp ${src}/Utilities/*.h
        ${src}/Managers/*.cpp ${src}/Managers/*.h
        ${src}/Platform/*.cpp ${src}/Platform/*.h
        ${platform_globs})

    # wisp_ui: status item, menu, views and the application delegate; main.cpp is the executable's.
    file(GLOB ui ${WISP_GLOB_DEPENDS}
        ${src}/Controllers/*.cpp ${src}/Controllers/*.h
        ${src}/Views/*.cpp ${src}/Views/*.h
        ${src}/App/*.cpp ${src}/App/*.h)
    list(FILTER ui EXCLUDE REGEX ".*/App/main\\.cpp$")

    set(WISP_HOTKEY_SOURCES ${hotkey} PARENT_SCOPE)
    set(WISP_HOTKEY_LINK ${hotkey_link} PARENT_SCOPE)
    set(WISP_CORE_SOURCES ${core} PARENT_SCOPE)
    set(WISP_CORE_LINK ${core_link} PARENT_SCOPE)
    set(WISP_UI_SOURCES ${ui} PARENT_SCOPE)
    set(WISP_UI_LINK ${ui_link} PARENT_SCOPE)
endfunction()

# wisp_platform_test_sources(PLATFORM TESTS_DIR): sets WISP_TEST_SUPPORT_SOURCES, the shared test
# support, and WISP_TEST_SUITE_FOLDERS, the test folders built on PLATFORM (each with its platform
# subfolder). The end-to-end tests drive an X11 desktop and build only on Linux.
function(wisp_platform_test_sources platform tests)
    file(GLOB support ${WISP_GLOB_DEPENDS}
        ${tests}/support/*.cpp ${tests}/support/*.h ${tests}/fakes/*.cpp ${tests}/fakes/*.h)
    set(folders unit gui)
    if(platform STREQUAL "linux")
        list(APPEND folders e2e)
    else()
        # An Xvfb display, a headless Chromium and a private D-Bus session exist only on the
        # Linux test machines.
        list(FILTER support EXCLUDE REGEX
            ".*/(XvfbSession|HeadlessChromium|PrivateSessionBus|PortalStandIn)\\.(cpp|h)$")
    endif()
    set(WISP_TEST_SUPPORT_SOURCES ${support} PARENT_SCOPE)
    set(WISP_TEST_SUITE_FOLDERS ${folders} PARENT_SCOPE)
endfunction()

# wisp_platform_suite_sources(PLATFORM FOLDER OUT): the sources of one test folder on PLATFORM.
function(wisp_platform_suite_sources platform folder out)
    file(GLOB sources ${WISP_GLOB_DEPENDS} ${folder}/*.cpp ${folder}/*.h
        ${folder}/${platform}/*.cpp ${folder}/${platform}/*.h)
    set(${out} ${sources} PARENT_SCOPE)
endfunction()
