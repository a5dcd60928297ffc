# The platform source-list check must fail for each way the macOS build is known to break:
# copies of the tree are broken one way each, and the check has to name the problem.
#
#     cmake -DWISP_SOURCE_DIR=<source tree> -DWORK_DIR=<scratch folder> -P ...

cmake_minimum_required(VERSION 3.24)

set(check ${WISP_SOURCE_DIR}/cmake/checks/PlatformSourcesCheck.cmake)
file(REMOVE_RECURSE ${WORK_DIR})
set(failures)

# expect_failure(NAME EXPECTED_TEXT) on the tree in ${WORK_DIR}/NAME.
function(expect_failure name expected)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -DWISP_SOURCE_DIR=${WORK_DIR}/${name} -P ${check}
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    string(REGEX REPLACE "[ \n]+" " " flat "${output}")
    if(result EQUAL 0)
        set(failures "${failures}\n  ${name}: the check passed" PARENT_SCOPE)
    elseif(NOT flat MATCHES "${expected}")
        set(failures "${failures}\n  ${name}: expected '${expected}' in:\n${output}" PARENT_SCOPE)
    endif()
endfunction()

function(copy_tree name)
    file(COPY ${WISP_SOURCE_DIR}/src ${WISP_SOURCE_DIR}/tests
        DESTINATION ${WORK_DIR}/${name}
        PATTERN "*.png" EXCLUDE PATTERN "*.svg" EXCLUDE PATTERN "fixtures" EXCLUDE)
endfunction()

# A platform file that was never written for macOS.
copy_tree(missing-mac-file)
file(REMOVE ${WORK_DIR}/missing-mac-file/src/Platform/macos/MacStateFolder.cpp)
expect_failure(missing-mac-file "macos: nothing in the source lists defines StateFolder::path")

# CoreFoundation called from the hot key module without linking it.
copy_tree(unlinked-framework)
file(APPEND ${WORK_DIR}/unlinked-framework/src/HotKey/carbon/ShortcutTextCarbon.cpp
    "\n#include <IOKit/IOKitLib.h>\n")
expect_failure(unlinked-framework
    "macos: src/HotKey/carbon/ShortcutTextCarbon.cpp uses IOKit, which wisp_hotkey does not link")

# A Linux-only test in the platform-neutral test folder.
copy_tree(linux-test)
file(WRITE ${WORK_DIR}/linux-test/tests/unit/DisplayTests.cpp
    "#include \"support/XvfbSession.h\"\n")
expect_failure(linux-test
    "macos: tests/unit/DisplayTests.cpp includes a Linux-only header: #include \"support/XvfbSession.h\"")

# An X11 header in a platform-neutral source.
copy_tree(x11-in-core)
file(APPEND ${WORK_DIR}/x11-in-core/src/Managers/HotKeyManager.cpp "\n#include <X11/Xlib.h>\n")
expect_failure(x11-in-core "macos: src/Managers/HotKeyManager.cpp includes a Linux-only header")

# The browser locator back on the look-up that has no thread-safety promise.
copy_tree(unsafe-lookup)
file(READ ${WORK_DIR}/unsafe-lookup/src/Platform/macos/MacBrowserLocator.mm locator)
string(REPLACE "URLForApplicationWithBundleIdentifier:" "URLsForApplicationsWithBundleIdentifier:"
    locator "${locator}")
file(WRITE ${WORK_DIR}/unsafe-lookup/src/Platform/macos/MacBrowserLocator.mm "${locator}")
expect_failure(unsafe-lookup
    "macos: src/Platform/macos/MacBrowserLocator.mm calls URLsForApplicationsWithBundleIdentifier:")

file(REMOVE_RECURSE ${WORK_DIR})
if(failures)
    message(FATAL_ERROR "The platform source-list check missed a broken tree:${failures}")
endif()
message(STATUS "The platform source-list check caught every broken tree")
