# Evaluates the source lists and link items of both platforms (cmake/WispSources.cmake) in
# script mode, so that a broken macOS build shows up on Linux, where no Mac compiles it:
#
#     cmake -DWISP_SOURCE_DIR=<tree with src/ and tests/> -P PlatformSourcesCheck.cmake
#
# It checks that
# - each platform's lists hold no file of the other platform's folders, and no source of the
#   macOS build includes a Linux-only header (X11, xcb, the Linux adapters, Linux test support);
# - every function of a platform-neutral class that one platform defines, the other defines too
#   (a platform file missing from a list, or never written, is caught here);
# - every framework that a macOS source includes, and CoreFoundation wherever a CF function is
#   called, is among the link items of that source's layer or of a layer it links;
# - no macOS source calls a workspace look-up that Apple does not document as thread-safe.

cmake_minimum_required(VERSION 3.24)

if(NOT WISP_SOURCE_DIR)
    message(FATAL_ERROR "pass -DWISP_SOURCE_DIR=<folder with src/ and tests/>")
endif()
include(${CMAKE_CURRENT_LIST_DIR}/../WispSources.cmake)

set(problems)
macro(problem text)
    list(APPEND problems "${text}")
endmacro()

function(relative path out)
    file(RELATIVE_PATH rel ${WISP_SOURCE_DIR} ${path})
    set(${out} ${rel} PARENT_SCOPE)
endfunction()

# Classes and structs declared in the platform-neutral headers.
file(GLOB neutral_headers ${WISP_SOURCE_DIR}/src/Platform/*.h ${WISP_SOURCE_DIR}/src/HotKey/*.h)
set(neutral_classes)
foreach(header IN LISTS neutral_headers)
    file(STRINGS ${header} declarations REGEX "^(class|struct) [A-Z][A-Za-z0-9]*")
    foreach(declaration IN LISTS declarations)
        string(REGEX REPLACE "^(class|struct) ([A-Z][A-Za-z0-9]*).*" "\\2" name "${declaration}")
        list(APPEND neutral_classes ${name})
    endforeach()
endforeach()

# The "Class::function" definitions of neutral classes among the given files.
function(platform_definitions out)
    set(found)
    foreach(file IN LISTS ARGN)
        if(NOT file MATCHES "\\.(cpp|mm)$")
            continue()
        endif()
        file(STRINGS ${file} lines
            REGEX "^[A-Za-z_][A-Za-z0-9_:<>, *&]* [*&]?[A-Z][A-Za-z0-9]*::[A-Za-z_][A-Za-z0-9_]*\\(")
        foreach(line IN LISTS lines)
            string(REGEX REPLACE ".* [*&]?([A-Z][A-Za-z0-9]*)::([A-Za-z_][A-Za-z0-9_]*)\\(.*"
                "\\1;\\2" parts "${line}")
            list(GET parts 0 class)
            list(GET parts 1 function)
            if(class IN_LIST neutral_classes)
                list(APPEND found "${class}::${function}")
            endif()
        endforeach()
    endforeach()
    list(REMOVE_DUPLICATES found)
    set(${out} ${found} PARENT_SCOPE)
endfunction()

set(linux_only_include
    "#[ \t]*(include|import)[ \t]*[<\"](X11/|xcb/|Platform/linux/|HotKey/x11/|support/XvfbSession\\.h|support/HeadlessChromium\\.h)")

foreach(platform macos linux)
    wisp_platform_sources(${platform} ${WISP_SOURCE_DIR}/src)
    foreach(layer HOTKEY CORE UI)
        set(${platform}_${layer}_SOURCES ${WISP_${layer}_SOURCES})
        set(${platform}_${layer}_LINK ${WISP_${layer}_LINK})
        if(NOT WISP_${layer}_SOURCES)
            problem("${platform}: the ${layer} layer has no sources")
        endif()
    endforeach()
    wisp_platform_test_sources(${platform} ${WISP_SOURCE_DIR}/tests)
    set(${platform}_TEST_SOURCES ${WISP_TEST_SUPPORT_SOURCES})
    foreach(folder IN LISTS WISP_TEST_SUITE_FOLDERS)
        if(folder STREQUAL "e2e")
            file(GLOB e2e ${WISP_SOURCE_DIR}/tests/e2e/*.cpp ${WISP_SOURCE_DIR}/tests/e2e/*.h)
            list(APPEND ${platform}_TEST_SOURCES ${e2e})
        else()
            wisp_platform_suite_sources(${platform} ${WISP_SOURCE_DIR}/tests/${folder} suite)
            list(APPEND ${platform}_TEST_SOURCES ${suite})
        endif()
    endforeach()
    set(${platform}_ALL_SOURCES
        ${${platform}_HOTKEY_SOURCES} ${${platform}_CORE_SOURCES} ${${platform}_UI_SOURCES})
endforeach()

# --- no file of the other platform ---
foreach(pair "macos;linux|x11|/e2e/" "linux;macos|carbon|/nothing/")
    list(GET pair 0 platform)
    list(GET pair 1 foreign)
    foreach(file IN LISTS ${platform}_ALL_SOURCES ${platform}_TEST_SOURCES)
        if(file MATCHES "/(${foreign})/")
            relative(${file} rel)
            problem("${platform}: ${rel} belongs to another platform")
        endif()
    endforeach()
endforeach()
foreach(file IN LISTS macos_ALL_SOURCES macos_TEST_SOURCES)
    file(STRINGS ${file} includes REGEX "${linux_only_include}")
    if(includes)
        relative(${file} rel)
        list(GET includes 0 first)
        string(STRIP "${first}" first)
        problem("macos: ${rel} includes a Linux-only header: ${first}")
    endif()
endforeach()

# --- no look-up without Apple's promise of thread safety in code that worker threads run ---
# The browser locator and the folder scans run off the main thread; of the workspace's
# application look-ups only URLForApplicationWithBundleIdentifier: and URLForApplicationToOpenURL:
# are documented as safe from any thread.
set(thread_unsafe_calls "URLsForApplicationsWithBundleIdentifier|URLsForApplicationsToOpenURL")
foreach(file IN LISTS macos_ALL_SOURCES)
    file(STRINGS ${file} calls REGEX "(${thread_unsafe_calls}):")
    if(calls)
        relative(${file} rel)
        string(REGEX MATCH "(${thread_unsafe_calls})" call "${calls}")
        problem("macos: ${rel} calls ${call}:, which Apple does not document as thread-safe")
    endif()
endforeach()

# --- the same platform functions on both platforms ---
platform_definitions(macos_definitions ${macos_ALL_SOURCES})
platform_definitions(linux_definitions ${linux_ALL_SOURCES})
foreach(definition IN LISTS linux_definitions)
    if(NOT definition IN_LIST macos_definitions)
        problem("macos: nothing in the source lists defines ${definition}")
    endif()
endforeach()
foreach(definition IN LISTS macos_definitions)
    if(NOT definition IN_LIST linux_definitions)
        problem("linux: nothing in the source lists defines ${definition}")
    endif()
endforeach()
if(NOT linux_definitions)
    problem("no platform functions found at all; is WISP_SOURCE_DIR right?")
endif()

# --- every framework a macOS source uses is linked ---
set(HOTKEY_reach HOTKEY)
set(CORE_reach CORE HOTKEY)
set(UI_reach UI CORE HOTKEY)
foreach(layer HOTKEY CORE UI)
    set(linked)
    foreach(reached IN LISTS ${layer}_reach)
        list(APPEND linked ${macos_${reached}_LINK})
    endforeach()
    foreach(file IN LISTS macos_${layer}_SOURCES)
        set(needed)
        file(STRINGS ${file} includes
            REGEX "^#[ \t]*(include|import)[ \t]*<[A-Z][A-Za-z]*/[A-Z][A-Za-z]*\\.h>")
        foreach(include IN LISTS includes)
            string(REGEX REPLACE ".*<([A-Za-z]+)/.*" "\\1" framework "${include}")
            if(NOT framework MATCHES "^Qt")
                list(APPEND needed ${framework})
            endif()
        endforeach()
        file(STRINGS ${file} calls REGEX "(^|[^A-Za-z0-9_])CF[A-Z][A-Za-z]*\\(")
        if(calls)
            list(APPEND needed CoreFoundation)
        endif()
        list(REMOVE_DUPLICATES needed)
        foreach(framework IN LISTS needed)
            if(NOT "-framework ${framework}" IN_LIST linked)
                relative(${file} rel)
                string(TOLOWER ${layer} lower)
                problem("macos: ${rel} uses ${framework}, which wisp_${lower} does not link")
            endif()
        endforeach()
    endforeach()
endforeach()

if(problems)
    list(JOIN problems "\n  " text)
    message(FATAL_ERROR "The platform source lists are broken:\n  ${text}")
endif()
list(LENGTH macos_definitions count)
message(STATUS "Platform source lists agree: both define the same ${count} functions of platform-neutral classes")
