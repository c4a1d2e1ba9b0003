# The Debian package: CPack's settings, and the files that only the package contains.

# Nobody reads mail sent to this address: set your own if you build the package for others.
set(QUENSTAL_MAINTAINER "The Quenstal developers <developers@quenstal.app>" CACHE STRING "Maintainer of the package")

execute_process(COMMAND date --utc --rfc-email --date=${release_date}
    OUTPUT_VARIABLE release_time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(debian/changelog.in ${made}/debian/changelog @ONLY)
quenstal_compressed(${made}/debian/changelog changelog.Debian)
install(FILES ${made}/changelog.Debian.gz ${made}/changelog.gz debian/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/quenstal)
install(FILES debian/lintian-overrides RENAME quenstal DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quenstal)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR})
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${QUENSTAL_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Dependencies that cannot be derived from libraries: the modules that the views import, directly or not; the settings
# without which no PipeWire client starts; and the program that creates the key service's user.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "qml6-module-qtquick, qml6-module-qtqml-workerscript, pipewire-bin, systemd | systemd-standalone-sysusers")
# A session bus, for a single instance per session; polkit, which decides who may use the key service; the sound server;
# the font that the panel is designed for; and support for windows where there is no X server.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "default-dbus-session-bus | dbus-session-bus, polkitd, pipewire, wireplumber, fonts-inter, qt6-wayland")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "volume keys for monitors that play sound")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Quenstal makes the keyboard's volume keys work for monitors on HDMI and
DisplayPort, which desktops see as outputs of a fixed volume. Each press goes
to the monitor's own speakers over DDC/CI, or through a gain, an equalizer and
meters in software; outputs with their own volume control keep it.
.
It lives in the tray and opens a small panel with a dial and an equalizer.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/conffiles
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
include(CPack)
