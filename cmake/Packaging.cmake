# `make package`: a Debian package of the program with its desktop entry, AppStream metainfo and
# icons. Libraries it links come from dpkg-shlibdeps; the Qt plugins it loads at run time (the
# window system and the SQLite driver) and libsecret, which QtKeychain loads to reach the keyring,
# are named by hand, as no linker sees them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME verrinplus)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "VerrinPlus developers")
set(CPACK_PACKAGE_CONTACT "VerrinPlus developers <verrinplus@verrin.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Desktop time tracker that books computer time to Verrin tasks")
set(CPACK_PACKAGE_DESCRIPTION
    "VerrinPlus records, once a second, which application is in front and the title of its
window, and shows each day as a tree of applications and titles with their time. Time
can be linked to tasks of the Verrin time-tracking service by hand, by dragging, or by
rules, and idle time becomes away time that can be described.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://www.verrin.com/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6sql6-sqlite, libsecret-1-0")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland, gnome-keyring | kwalletmanager")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
include(CPack)
