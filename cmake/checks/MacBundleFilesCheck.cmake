# Makes the bundle's Info.plist from its template the way the build does, then has
# check_bundle_files.py parse it and the entitlements as property lists and check their keys.
# It also evaluates what the Mac build would run and decide:
# - the macdeployqt and codesign command lines of the install step (cmake/WispCodesign.cmake),
#   for the ad-hoc identity "-" and for a Developer ID one;
# - the deployment target for each Qt release that wisp builds with (WispDeploymentTarget.cmake),
#   which Info.plist then carries;
# - the QCoro release fetched when none is installed (WispDependencies.cmake).
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
include(${CMAKE_CURRENT_LIST_DIR}/../WispCodesign.cmake)

set(problems)
macro(problem text)
    list(APPEND problems "${text}")
endmacro()

# --- the deployment target: wisp's floor, and at least what each Qt release supports ---
set(floor 13.0)
foreach(pair "6.5;11.0" "6.8;12.0" "6.9;12.0" "6.10;13.0" "6.11;13.0")
    list(GET pair 0 qt)
    list(GET pair 1 qt_minimum)
    wisp_deployment_target(target ${qt})
    if(target VERSION_LESS floor)
        problem("deployment target ${target} for Qt ${qt} is below macOS ${floor}")
    endif()
    if(target VERSION_LESS qt_minimum)
        problem("deployment target ${target} for Qt ${qt} is below the macOS ${qt_minimum} it supports")
    endif()
    # A higher target asked for is kept.
    wisp_deployment_target(raised ${qt} 26.0)
    if(NOT raised VERSION_EQUAL 26.0)
        problem("a deployment target of 26.0 asked for with Qt ${qt} became ${raised}")
    endif()
endforeach()
if(CMAKE_OSX_DEPLOYMENT_TARGET VERSION_LESS floor)
    problem("the default deployment target ${CMAKE_OSX_DEPLOYMENT_TARGET} is below macOS ${floor}")
endif()
# Info.plist carries what the build uses with the newest Qt.
wisp_apply_deployment_target(6.10)

# --- the install step's command lines ---
function(expect_in command wanted what)
    list(JOIN command " " text)
    string(FIND " ${text} " " ${wanted} " at)
    if(at EQUAL -1)
        problem("${what} lacks '${wanted}': ${text}")
        set(problems "${problems}" PARENT_SCOPE)
    endif()
endfunction()
function(expect_not_in command unwanted what)
    list(JOIN command " " text)
    string(FIND " ${text} " " ${unwanted} " at)
    if(NOT at EQUAL -1)
        problem("${what} has '${unwanted}': ${text}")
        set(problems "${problems}" PARENT_SCOPE)
    endif()
endfunction()

set(app /Applications/wisp.app)
set(qt_libraries /opt/homebrew/opt/qt/lib)
set(entitlements ${WISP_PACKAGING_DIR}/macos/wisp.entitlements)
wisp_macdeployqt_command(deploy macdeployqt ${app} ${qt_libraries})
expect_in("${deploy}" "-libpath=${qt_libraries}" "macdeployqt")
list(GET deploy 1 deployed)
if(NOT deployed STREQUAL app)
    problem("macdeployqt is not run on the bundle: ${deploy}")
endif()

set(developer_id "Developer ID Application: Example (ABCDE12345)")
foreach(identity "-" "${developer_id}")
    set(framework ${app}/Contents/Frameworks/QtCore.framework)
    wisp_codesign_nested_command(nested "${identity}" ${framework})
    wisp_codesign_app_command(signed "${identity}" ${entitlements} ${app})
    foreach(kind nested signed)
        set(command "${${kind}}")
        set(what "codesign (${kind}, identity '${identity}')")
        list(GET command 0 tool)
        if(NOT tool STREQUAL "codesign")
            problem("${what} does not run codesign: ${command}")
        endif()
        expect_in("${command}" "--sign" "${what}")
        list(FIND command "${identity}" at)
        if(at EQUAL -1)
            problem("${what} does not sign with the identity given")
        endif()
        # Apple advises against --deep for signing: nested code is signed on its own.
        expect_not_in("${command}" "--deep" "${what}")
        if(identity STREQUAL "-")
            # Library validation would refuse the ad-hoc signed frameworks: no Team ID.
            expect_not_in("${command}" "runtime" "${what}")
        else()
            expect_in("${command}" "--options runtime" "${what}")
            expect_in("${command}" "--timestamp" "${what}")
        endif()
    endforeach()
    expect_not_in("${nested}" "--entitlements" "codesign of nested code")
    expect_in("${signed}" "--entitlements ${entitlements}" "codesign of the app")
    list(GET nested -1 last)
    list(GET signed -1 last_signed)
    if(NOT last STREQUAL framework OR NOT last_signed STREQUAL app)
        problem("codesign does not sign the item given last: ${nested} / ${signed}")
    endif()
endforeach()

# Nested code comes innermost first, the frameworks after the plugins inside the bundle.
set(bundle ${WORK_DIR}/wisp.app)
file(REMOVE_RECURSE ${bundle})
file(MAKE_DIRECTORY ${bundle}/Contents/Frameworks/QtCore.framework
    ${bundle}/Contents/PlugIns/platforms)
file(TOUCH ${bundle}/Contents/PlugIns/platforms/libqcocoa.dylib)
wisp_nested_code(nested_code ${bundle})
file(REMOVE_RECURSE ${bundle})
set(expected_nested ${bundle}/Contents/PlugIns/platforms/libqcocoa.dylib
    ${bundle}/Contents/Frameworks/QtCore.framework)
if(NOT nested_code STREQUAL expected_nested)
    problem("nested code to sign, innermost first: expected ${expected_nested}, got ${nested_code}")
endif()

# --- the fetched QCoro: v0.11.0 or later, its warnings not errors ---
file(READ ${CMAKE_CURRENT_LIST_DIR}/../WispDependencies.cmake dependencies)
if(NOT dependencies MATCHES "GIT_TAG v([0-9]+\\.[0-9]+\\.[0-9]+)")
    problem("WispDependencies.cmake fetches QCoro at no release tag")
elseif(CMAKE_MATCH_1 VERSION_LESS 0.11.0)
    problem("QCoro is fetched at v${CMAKE_MATCH_1}, older than v0.11.0")
endif()
if(NOT dependencies MATCHES "-Wno-error")
    problem("the fetched QCoro's warnings stay errors")
endif()

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
    problem("Info.plist or the entitlements are broken (see above)")
endif()
if(problems)
    list(JOIN problems "\n  " text)
    message(FATAL_ERROR "The macOS bundle files are broken:\n  ${text}")
endif()
message(STATUS "Signing, deployment and deployment target sound: macOS ${CMAKE_OSX_DEPLOYMENT_TARGET} with Qt 6.10")
