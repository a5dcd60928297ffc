# The oldest macOS that wisp runs on: the compiler's deployment target and the bundle's
# LSMinimumSystemVersion. Included before project(), where the toolchain reads the default;
# once Qt is found, wisp_apply_deployment_target raises it to what that Qt supports, so that the
# bundle never claims to run where its frameworks cannot.

# wisp's own floor, whatever the Qt.
set(WISP_MINIMUM_MACOS "13.0")
set(CMAKE_OSX_DEPLOYMENT_TARGET "${WISP_MINIMUM_MACOS}" CACHE STRING
    "The oldest macOS that wisp runs on (raised to what the Qt in use supports)")

# The oldest macOS each Qt release supports, from Qt's "Qt for macOS" pages: pairs of the first
# Qt version and its macOS. A Qt newer than the last entry is assumed to need at least as much.
set(WISP_QT_MACOS_MINIMA
    6.5 11.0
    6.8 12.0
    6.10 13.0)

# wisp_deployment_target(OUT QT_VERSION [REQUESTED]): the larger of wisp's floor, the Qt
# release's minimum and REQUESTED.
function(wisp_deployment_target out qt_version)
    set(target "${WISP_MINIMUM_MACOS}")
    set(pending ${WISP_QT_MACOS_MINIMA})
    while(pending)
        list(POP_FRONT pending qt macos)
        if(qt_version VERSION_GREATER_EQUAL qt AND macos VERSION_GREATER target)
            set(target "${macos}")
        endif()
    endwhile()
    if(ARGC GREATER 2 AND ARGV2 VERSION_GREATER target)
        set(target "${ARGV2}")
    endif()
    set(${out} "${target}" PARENT_SCOPE)
endfunction()

# wisp_apply_deployment_target(QT_VERSION): sets CMAKE_OSX_DEPLOYMENT_TARGET for the rest of the
# configuration, which the targets' compile flags and Info.plist read.
macro(wisp_apply_deployment_target qt_version)
    wisp_deployment_target(_wisp_target "${qt_version}" "${CMAKE_OSX_DEPLOYMENT_TARGET}")
    if(NOT _wisp_target VERSION_EQUAL CMAKE_OSX_DEPLOYMENT_TARGET)
        message(STATUS "wisp: deployment target raised to macOS ${_wisp_target} for Qt ${qt_version}")
        set(CMAKE_OSX_DEPLOYMENT_TARGET "${_wisp_target}")
    endif()
endmacro()
