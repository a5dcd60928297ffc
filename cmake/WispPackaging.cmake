# Installing and packaging: on macOS a self-contained, ad-hoc signed wisp.app and a disk image;
# on Linux the binary, its desktop entry, hicolor icons and man page, and a Debian package.
# Every install rule belongs to the component "wisp", so what a fetched dependency would install
# stays out of the packages.

set(WISP_APP_ICON_SOURCE ${CMAKE_SOURCE_DIR}/src/Resources/images/AppIcon.svg)

if(APPLE)
    # --- the bundle: Info.plist, the .icns made from the SVG icon, the status item's images ---
    set(info_plist ${CMAKE_BINARY_DIR}/packaging/Info.plist)
    wisp_configure_info_plist(${PROJECT_VERSION} ${info_plist})

    set(iconset ${CMAKE_BINARY_DIR}/packaging/wisp.iconset)
    set(icns ${CMAKE_BINARY_DIR}/packaging/${WISP_BUNDLE_ICON}.icns)
    set(render_arguments)
    set(rendered)
    set(pending ${WISP_ICONSET_IMAGES})
    while(pending)
        list(POP_FRONT pending name pixels)
        list(APPEND render_arguments ${pixels} ${iconset}/${name})
        list(APPEND rendered ${iconset}/${name})
    endwhile()
    add_custom_command(OUTPUT ${icns}
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${iconset}
        COMMAND wisp-icon ${WISP_APP_ICON_SOURCE} ${render_arguments}
        COMMAND iconutil --convert icns --output ${icns} ${iconset}
        DEPENDS wisp-icon ${WISP_APP_ICON_SOURCE}
        COMMENT "Making the application icon ${WISP_BUNDLE_ICON}.icns"
        VERBATIM)

    set(status_bar_images
        ${CMAKE_SOURCE_DIR}/src/Resources/StatusBarIcon.png
        ${CMAKE_SOURCE_DIR}/src/Resources/StatusBarIcon@2x.png)
    # The command belongs to this folder; the target that runs it lets the executable's folder
    # use its output.
    add_custom_target(wisp_app_icon DEPENDS ${icns})
    add_dependencies(wisp wisp_app_icon)
    target_sources(wisp PRIVATE ${icns} ${status_bar_images})
    set_source_files_properties(${icns} ${status_bar_images} TARGET_DIRECTORY wisp
        PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
    set_target_properties(wisp PROPERTIES
        OUTPUT_NAME ${WISP_BUNDLE_EXECUTABLE}
        MACOSX_BUNDLE_INFO_PLIST ${info_plist}
        XCODE_ATTRIBUTE_CODE_SIGN_ENTITLEMENTS ${WISP_PACKAGING_DIR}/macos/wisp.entitlements)

    # --- install: the bundle, made self-contained by macdeployqt, then signed ---
    install(TARGETS wisp BUNDLE DESTINATION . COMPONENT wisp)
    find_program(WISP_MACDEPLOYQT macdeployqt HINTS ${QT6_INSTALL_PREFIX}/${QT6_INSTALL_BINS}
        REQUIRED)
    # Ad-hoc ("-") unless a Developer ID identity is given; the commands, and why they are as
    # they are, live in WispCodesign.cmake, where the check of the bundle files evaluates them.
    set(WISP_CODESIGN_IDENTITY "-" CACHE STRING "codesign identity for the installed wisp.app")
    set(entitlements ${WISP_PACKAGING_DIR}/macos/wisp.entitlements)
    set(qt_library_dir ${QT6_INSTALL_PREFIX}/${QT6_INSTALL_LIBS})
    install(CODE "
        include(\"${CMAKE_CURRENT_LIST_DIR}/WispCodesign.cmake\")
        wisp_deploy_and_sign(\"${WISP_MACDEPLOYQT}\" \"${qt_library_dir}\"
            \"${WISP_CODESIGN_IDENTITY}\" \"${entitlements}\"
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${WISP_BUNDLE_EXECUTABLE}.app\")
        " COMPONENT wisp)
else()
    # --- icons: the SVG source as the scalable icon, and PNGs at the hicolor sizes ---
    set(hicolor ${CMAKE_BINARY_DIR}/packaging/icons/hicolor)
    set(render_arguments)
    set(rendered)
    foreach(size IN LISTS WISP_HICOLOR_SIZES)
        list(APPEND render_arguments ${size} ${hicolor}/${size}x${size}/apps/wisp.png)
        list(APPEND rendered ${hicolor}/${size}x${size}/apps/wisp.png)
    endforeach()
    add_custom_command(OUTPUT ${rendered}
        COMMAND wisp-icon ${WISP_APP_ICON_SOURCE} ${render_arguments}
        DEPENDS wisp-icon ${WISP_APP_ICON_SOURCE}
        COMMENT "Rendering the hicolor icons"
        VERBATIM)

    # Debian keeps man pages compressed.
    set(man_page ${CMAKE_BINARY_DIR}/packaging/wisp.1.gz)
    add_custom_command(OUTPUT ${man_page}
        COMMAND gzip -9 -n -c ${WISP_PACKAGING_DIR}/linux/wisp.1 > ${man_page}
        DEPENDS ${WISP_PACKAGING_DIR}/linux/wisp.1
        VERBATIM)
    add_custom_target(wisp_packaging_files ALL DEPENDS ${rendered} ${man_page})

    install(TARGETS wisp RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT wisp)
    install(FILES ${WISP_PACKAGING_DIR}/linux/wisp.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT wisp)
    install(DIRECTORY ${hicolor} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons COMPONENT wisp)
    install(FILES ${WISP_APP_ICON_SOURCE} RENAME wisp.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT wisp)
    install(FILES ${man_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT wisp)
endif()

# --- packages ---
set(CPACK_PACKAGE_NAME wisp)
set(CPACK_PACKAGE_VENDOR wisp)
set(CPACK_PACKAGE_CONTACT "wisp developers <wisp@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Your local development site, one click away")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL wisp)
set(CPACK_STRIP_FILES TRUE)
if(APPLE)
    set(CPACK_GENERATOR DragNDrop)
    set(CPACK_DMG_VOLUME_NAME wisp)
    set(CPACK_DMG_FORMAT UDZO)
    set(CPACK_PACKAGE_FILE_NAME wisp-${PROJECT_VERSION})
    # The signature is made by the install step; stripping afterwards would break it.
    set(CPACK_STRIP_FILES FALSE)
else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION devel)
    set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Status-bar utility for web developers
wisp finds the development projects in one folder, knows each project's kind, start
command and port, and keeps the selected project's local site one click or one global
shortcut away: it opens the site in the browser, starts the development server when
nothing listens on its port, and stops the old server when you switch projects.")
    # The shared libraries the binary links, the Qt plugins it loads (the xcb platform, the SVG
    # image format), and the tools it runs: lsof for ports, ps and kill (procps) for stopping.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS
        "libc6, libstdc++6, libgcc-s1, libqt6core6 (>= 6.4), libqt6gui6 (>= 6.4), \
libqt6widgets6 (>= 6.4), libqt6network6 (>= 6.4), libqt6svg6 (>= 6.4), libqt6dbus6 (>= 6.4), \
libqt6concurrent6 (>= 6.4), \
libqt6websockets6 (>= 6.4), qt6-qpa-plugins, libqcoro6core0, libqcoro6network0, \
libqcoro6websockets0, libx11-6, libxcb1, libxcb-xtest0, lsof, procps")
    # The default browser is asked through xdg-settings.
    set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils")
endif()
include(CPack)
