# Prints, one a line, the sources that the macOS build compiles from the folders both platforms
# share: the application's layers and main.cpp, the tools, the test support and the unit and GUI
# test folders with their macOS parts, taken from the same lists the build reads
# (cmake/WispSources.cmake). scripts/check-clang compiles those of them that this build
# compiles too, against libc++; the rest (src/Platform/macos, src/HotKey/carbon, the tests'
# macos folders) need Apple's SDK.
#
#     cmake -DWISP_SOURCE_DIR=<tree with src/, tests/ and tools/> -P PortableSources.cmake

cmake_minimum_required(VERSION 3.24)

if(NOT WISP_SOURCE_DIR)
    message(FATAL_ERROR "pass -DWISP_SOURCE_DIR=<folder with src/, tests/ and tools/>")
endif()
include(${CMAKE_CURRENT_LIST_DIR}/../WispSources.cmake)

wisp_platform_sources(macos ${WISP_SOURCE_DIR}/src)
set(sources ${WISP_HOTKEY_SOURCES} ${WISP_CORE_SOURCES} ${WISP_UI_SOURCES}
    ${WISP_SOURCE_DIR}/src/App/main.cpp)
wisp_platform_test_sources(macos ${WISP_SOURCE_DIR}/tests)
list(APPEND sources ${WISP_TEST_SUPPORT_SOURCES})
foreach(folder IN LISTS WISP_TEST_SUITE_FOLDERS)
    wisp_platform_suite_sources(macos ${WISP_SOURCE_DIR}/tests/${folder} suite)
    list(APPEND sources ${suite})
endforeach()
file(GLOB_RECURSE tools ${WISP_SOURCE_DIR}/tools/*.cpp)
list(APPEND sources ${tools})
list(FILTER sources INCLUDE REGEX "\\.(cpp|mm)$")
list(SORT sources)
list(JOIN sources "\n" text)
execute_process(COMMAND ${CMAKE_COMMAND} -E echo "${text}")
