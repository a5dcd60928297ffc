# What identifies the macOS bundle and the sizes its icon comes in. Read by the build
# (cmake/WispPackaging.cmake) and by the check of the bundle files (cmake/checks/).

set(WISP_PACKAGING_DIR ${CMAKE_CURRENT_LIST_DIR}/../packaging)

# The bundle identifier is also the defaults domain that holds the settings.
set(WISP_BUNDLE_IDENTIFIER "io.wisp.wisp")
set(WISP_BUNDLE_EXECUTABLE "wisp")
# wisp.icns in Contents/Resources.
set(WISP_BUNDLE_ICON "wisp")

# The images of an .icns, as iconutil expects them in an .iconset folder: name, then pixels.
set(WISP_ICONSET_IMAGES
    icon_16x16.png 16 icon_16x16@2x.png 32
    icon_32x32.png 32 icon_32x32@2x.png 64
    icon_128x128.png 128 icon_128x128@2x.png 256
    icon_256x256.png 256 icon_256x256@2x.png 512
    icon_512x512.png 512 icon_512x512@2x.png 1024)

# The hicolor sizes of the Linux icon: menus and panels use the small ones, launchers and
# software centres the large ones; the SVG source is installed as the scalable one.
set(WISP_HICOLOR_SIZES 16 22 24 32 48 64 128 256 512)

# wisp_configure_info_plist(VERSION OUTPUT): the bundle's Info.plist from its template.
function(wisp_configure_info_plist version output)
    set(WISP_VERSION ${version})
    configure_file(${WISP_PACKAGING_DIR}/macos/Info.plist.in ${output} @ONLY)
endfunction()
