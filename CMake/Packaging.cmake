# `cpack` in the build folder makes a Debian package of the installed files.

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
# dpkg-shlibdeps reads from the programs which packages they need, and looks for our own libraries in
# the build folder.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

include(CPack)
