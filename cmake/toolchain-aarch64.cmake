# Cross build for 64-bit Arm Linux (Debian's aarch64-linux-gnu toolchain).
#
# The target's libraries are Debian multiarch packages (libcups2-dev:arm64,
# zlib1g-dev:arm64, libgtest-dev:arm64), so they live beside the host's in
# /usr/lib/aarch64-linux-gnu and share the headers in /usr/include, with the
# architecture-specific ones in /usr/include/aarch64-linux-gnu. There is no
# separate sysroot to re-root the searches into. scripts/cross-build.sh
# installs all of this.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(VELLUM_CROSS_TRIPLET aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${VELLUM_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VELLUM_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${VELLUM_CROSS_TRIPLET})

# Debian's cross compiler already searches /usr/include/aarch64-linux-gnu and
# /usr/include after its own headers. Naming them as implicit keeps CMake from
# turning an imported target's /usr/include into -isystem, which would put the
# shared headers in front of the cross libstdc++ and break its #include_next.
list(APPEND CMAKE_C_IMPLICIT_INCLUDE_DIRECTORIES /usr/include/${VELLUM_CROSS_TRIPLET} /usr/include)
list(APPEND CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES /usr/include/${VELLUM_CROSS_TRIPLET} /usr/include)

# Libraries and package configs come from the target's multiarch directory
# (CMAKE_LIBRARY_ARCHITECTURE puts it first); the host's must never be picked
# up by mistake, as they would link but not run.
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu
    /usr/lib/x86_64-linux-gnu/cmake /usr/include/x86_64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${VELLUM_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig)

# Target programs run through user-mode emulation: gtest_discover_tests lists
# the tests at build time with it, and ctest runs every test target with it.
# The target's root is this machine's own: libc6:arm64 puts the aarch64
# loader in /lib and the libraries in /usr/lib/aarch64-linux-gnu. (Pointing
# -L at the cross toolchain's /usr/aarch64-linux-gnu instead runs simple
# programs too, but there a forked child hangs in qemu 7.2 before it gets to
# exec, which stalls every test that starts a process.)
find_program(VELLUM_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static)
if(VELLUM_QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VELLUM_QEMU_AARCH64} -L /)
  # A program that a test starts in turn (the vellum binary, say) is not run
  # through qemu by ctest, and with no binfmt handler registered it fails with
  # "Exec format error". ctest therefore exports the command line as
  # VELLUM_EMULATOR, for such a test to put in front of the program's path;
  # in a native build the variable is unset.
  if(NOT CMAKE_PROJECT_NAME STREQUAL "CMAKE_TRY_COMPILE")
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " vellum_emulator_line)
    file(WRITE ${CMAKE_BINARY_DIR}/vellum_emulator.cmake
         "set(ENV{VELLUM_EMULATOR} \"${vellum_emulator_line}\")\n")
    get_property(vellum_test_includes DIRECTORY PROPERTY TEST_INCLUDE_FILES)
    if(NOT ${CMAKE_BINARY_DIR}/vellum_emulator.cmake IN_LIST vellum_test_includes)
      set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_BINARY_DIR}/vellum_emulator.cmake)
    endif()
  endif()
else()
  message(WARNING "qemu-aarch64 not found: the tests cannot be listed or run "
                  "(scripts/cross-build.sh installs qemu-user)")
endif()
