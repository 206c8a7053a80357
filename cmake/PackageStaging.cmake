# Run by CPack (CPACK_PRE_BUILD_SCRIPTS) on the staging directory, after the
# install rules have filled it and before the package is made, so that every
# program that installs itself gets the same Debian treatment:
# - every manual page is compressed with gzip -9n, whatever rule installed it;
# - the Debian copyright file and the compressed changelog are added to the
#   package's documentation directory.
set(staging "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
set(prefix "${staging}${CPACK_PACKAGING_INSTALL_PREFIX}")

file(GLOB_RECURSE pages LIST_DIRECTORIES false "${prefix}/share/man/*")
foreach(page IN LISTS pages)
  if(NOT page MATCHES "\\.gz$")
    execute_process(COMMAND gzip -9nf "${page}" COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()

set(doc "${prefix}/share/doc/${CPACK_PACKAGE_NAME}")
file(MAKE_DIRECTORY "${doc}")
file(COPY_FILE "${CPACK_VELLUM_PACKAGING_DIR}/copyright" "${doc}/copyright")
file(COPY_FILE "${CPACK_VELLUM_PACKAGING_DIR}/changelog" "${doc}/changelog")
execute_process(COMMAND gzip -9nf "${doc}/changelog" COMMAND_ERROR_IS_FATAL ANY)
