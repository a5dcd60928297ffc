# Qt 6 and QCoro. On macOS both come from Homebrew when present; QCoro is fetched at
# configure time when it is not installed (v0.11.0 or later: earlier task headers miss an include
# that current Clang needs). On Debian both come from apt.
if(APPLE)
    foreach(formula qt qt@6)
        execute_process(COMMAND brew --prefix ${formula}
            OUTPUT_VARIABLE _brew_prefix OUTPUT_STRIP_TRAILING_WHITESPACE
            ERROR_QUIET RESULT_VARIABLE _brew_result)
        if(_brew_result EQUAL 0 AND EXISTS "${_brew_prefix}")
            list(APPEND CMAKE_PREFIX_PATH "${_brew_prefix}")
            break()
        endif()
    endforeach()
endif()

find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets Network Concurrent Svg)
if(APPLE)
    wisp_apply_deployment_target(${Qt6_VERSION})
endif()

find_package(QCoro6 QUIET COMPONENTS Core Network)
if(NOT QCoro6_FOUND)
    if(NOT APPLE)
        message(FATAL_ERROR "QCoro for Qt 6 was not found; install qcoro-qt6-dev")
    endif()
    include(FetchContent)
    set(QCORO_BUILD_EXAMPLES OFF CACHE BOOL "" FORCE)
    set(QCORO_BUILD_TESTING OFF CACHE BOOL "" FORCE)
    set(BUILD_TESTING OFF CACHE BOOL "" FORCE)
    set(QCORO_WITH_QTDBUS OFF CACHE BOOL "" FORCE)
    set(QCORO_WITH_QML OFF CACHE BOOL "" FORCE)
    set(QCORO_WITH_QTQUICK OFF CACHE BOOL "" FORCE)
    set(QCORO_WITH_QTWEBSOCKETS OFF CACHE BOOL "" FORCE)
    set(QCORO_WITH_QTTEST OFF CACHE BOOL "" FORCE)
    set(USE_QT_VERSION 6 CACHE STRING "" FORCE)
    FetchContent_Declare(qcoro
        GIT_REPOSITORY https://github.com/qcoro/qcoro.git
        GIT_TAG v0.12.0
        GIT_SHALLOW TRUE)
    FetchContent_MakeAvailable(qcoro)
    # QCoro's own build makes warnings errors in Debug builds; a warning that a newer compiler
    # finds in a dependency must not stop wisp's build. -Wno-error comes after its flags.
    foreach(alias QCoro6::Core QCoro6::Network)
        if(TARGET ${alias})
            get_target_property(real ${alias} ALIASED_TARGET)
            if(NOT real)
                set(real ${alias})
            endif()
            get_target_property(type ${real} TYPE)
            if(NOT type STREQUAL "INTERFACE_LIBRARY")
                target_compile_options(${real} PRIVATE $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wno-error>)
            endif()
        endif()
    endforeach()
endif()

if(WISP_BUILD_TESTS)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
    find_package(GTest REQUIRED)
endif()

if(UNIX AND NOT APPLE)
    find_package(X11 REQUIRED)
    # The desktop portal (global shortcuts under Wayland) and the browsers' DevTools protocol.
    find_package(Qt6 6.4 REQUIRED COMPONENTS DBus WebSockets)
    find_package(QCoro6 REQUIRED COMPONENTS WebSockets)
endif()
