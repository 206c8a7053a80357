# Debian package of the tool (CPack, DEB generator): `cpack -G DEB` in a build
# directory packs everything that directory installs. scripts/package.sh makes
# the amd64 package from build/ and the arm64 one from build-aarch64/.

# The README and the bash completion belong to no library, so they are
# installed here; the binary and its man page install themselves.
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/completion/vellum
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vellum)
# The package carries the program's own version, the text --version prints.
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "vellum developers <vellum@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "command-line utility for TEC thermal label printers")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "vellum drives TEC thermal label printers through TPCL, their text command\n\
language, beside a CUPS print server: it feeds labels, reads the printer's\n\
status, sends TPCL, sets fine adjustments and network settings, edits the\n\
insertions of a queue's PPD file, and renders a TPCL job to a TIFF preview.")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

# dpkg --print-architecture names the build machine, which is wrong for a
# cross build, so the target's processor decides.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()

# libcups2 and zlib1g are named outright: the tool is built on both, and
# dpkg-shlibdeps lists only the libraries the linker kept as direct needs of
# the binary, with their versions (libc6, libstdc++6, libcups2, ...).
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libcups2, zlib1g")
find_program(VELLUM_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(VELLUM_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

include(CPack)
