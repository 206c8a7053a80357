# Debian package of the tool (CPack, DEB generator): `cpack -G DEB` in a build
# directory packs everything that directory installs. scripts/package.sh makes
# the amd64 package from build/ and, when asked, the arm64 one from
# build-aarch64/, and checks both with lintian.
#
# A new program needs nothing here: its install() rules put it in the
# package, cmake/PackageStaging.cmake compresses every manual page installed,
# and dpkg-shlibdeps derives the dependencies from every binary.

# The README belongs to no library, so it is installed here; the binary, its
# man page and the bash completion install themselves.
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vellum)
# The package carries the program's own version, the text --version prints.
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(VELLUM_MAINTAINER "Vellum Maintainers <maintainers@vellum-labels.org>"
    CACHE STRING "The Maintainer field of the Debian package")
set(CPACK_PACKAGE_CONTACT "${VELLUM_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VELLUM_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "command-line utility for TEC thermal label printers")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "vellum drives TEC thermal label printers through TPCL, their text command\n\
language, beside a CUPS print server: it feeds labels, reads the printer's\n\
status, sends TPCL, sets fine adjustments and network settings, edits the\n\
insertions of a queue's PPD file, and renders a TPCL job to a TIFF preview.\n\
vellum-image turns pictures (PNG, JPEG, TIFF, PNM) into TPCL print jobs.\n\
The CUPS driver (the PPD file vellum/tec.ppd and the raster filter\n\
rastertovellum) prints pictures and documents on TEC printers.")
# The driver prints what cups-filters has rasterized; the tool itself needs
# neither.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "cups, cups-filters")
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

# The dependencies come from dpkg-shlibdeps alone, run once over every binary
# in the package: each library the binaries load (libc6, libstdc++6, libcups2,
# zlib1g, ...) is listed once, with the version its symbols need. Naming any of
# them here as well would list it twice.
find_program(VELLUM_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(VELLUM_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_VELLUM_PACKAGING_DIR ${PROJECT_SOURCE_DIR}/packaging)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackageStaging.cmake)

include(CPack)
