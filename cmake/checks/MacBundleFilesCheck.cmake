# Makes the bundle's Info.plist from its template the way the build does, then has
# check_bundle_files.py parse it and the entitlements as property lists and check their keys:
#
#     cmake -DWISP_VERSION=<x.y.z> -DWORK_DIR=<scratch folder> -DPYTHON=<python3>
#           -P MacBundleFilesCheck.cmake

cmake_minimum_required(VERSION 3.24)

foreach(variable WISP_VERSION WORK_DIR PYTHON)
    if(NOT ${variable})
        message(FATAL_ERROR "pass -D${variable}=...")
    endif()
endforeach()

include(${CMAKE_CURRENT_LIST_DIR}/../WispDeploymentTarget.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/../WispBundle.cmake)

set(info_plist ${WORK_DIR}/Info.plist)
wisp_configure_info_plist(${WISP_VERSION} ${info_plist})

execute_process(
    COMMAND ${PYTHON} ${CMAKE_CURRENT_LIST_DIR}/check_bundle_files.py
        --info-plist ${info_plist}
        --entitlements ${WISP_PACKAGING_DIR}/macos/wisp.entitlements
        --identifier ${WISP_BUNDLE_IDENTIFIER}
        --executable ${WISP_BUNDLE_EXECUTABLE}
        --icon ${WISP_BUNDLE_ICON}
        --version ${WISP_VERSION}
        --minimum-system ${CMAKE_OSX_DEPLOYMENT_TARGET}
        --settings-store ${CMAKE_CURRENT_LIST_DIR}/../../src/Platform/macos/MacSettingsStore.cpp
    RESULT_VARIABLE result)
file(REMOVE ${info_plist})
if(NOT result EQUAL 0)
    message(FATAL_ERROR "The macOS bundle files are broken (see above)")
endif()
