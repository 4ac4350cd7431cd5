# `cpack` in the build folder makes Debian packages of the installed files: one of the program, one
# of the kit for wallpapers, and one of each extension that was built.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumivera)
set(CPACK_PACKAGE_VENDOR Lumivera)
set(CPACK_PACKAGE_CONTACT "Lumivera maintainers <lumivera@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Live wallpaper: petals that fall over a picture")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Cherry blossoms fall over a picture behind the windows, drift and spin, and
scatter from a tap. It needs no GPU and hardly any processor time, and runs on
X11 and on Wayland, in a window or without a display. A new wallpaper is a
folder of pictures.")
set(CPACK_DEBIAN_PACKAGE_SECTION x11)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS ffmpeg)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_NAME lumivera)
set(CPACK_DEBIAN_PLASMA_PACKAGE_NAME lumivera-plasma)
set(CPACK_DEBIAN_PLASMA_PACKAGE_SECTION kde)
set(CPACK_DEBIAN_PLASMA_DESCRIPTION
    "Adds Lumivera to the types of wallpapers of Plasma's desktop, with a page of its
settings. Plasma shows what the program lumivera draws, behind its icons, its
widgets and its menu.")
set(CPACK_DEBIAN_PLASMA_PACKAGE_DEPENDS
    "lumivera, plasma-workspace (>= 4:5.27), qml-module-org-kde-kquickcontrols")
set(CPACK_DEBIAN_PLASMA_PACKAGE_SUGGESTS "")
set(CPACK_DEBIAN_KIT_PACKAGE_NAME liblumivera-dev)
set(CPACK_DEBIAN_KIT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_KIT_DESCRIPTION
    "What a wallpaper for Lumivera with code of its own is made with: headers, files for
CMake and pkg-config, and a wallpaper to begin with, which `lumivera new --code` copies.")
set(CPACK_DEBIAN_KIT_PACKAGE_DEPENDS "lumivera (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_KIT_PACKAGE_SUGGESTS "cmake (>= 3.25), g++ (>= 4:12)")
# dpkg-shlibdeps reads from the programs which packages they need, and looks for our own libraries in
# the build folder.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

include(CPack)
