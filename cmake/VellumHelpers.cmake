# vellum_add_library(NAME SOURCES... [DEPENDS libs...])
# A static library of one subsystem. Headers are included by their path under
# src/ ("core/exception.h"), so every library exposes src/ to its users.
function(vellum_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  if(ARG_DEPENDS)
    target_link_libraries(${name} PUBLIC ${ARG_DEPENDS})
  endif()
endfunction()

# vellum_add_test(NAME SOURCES... [DEPENDS libs...])
# One GoogleTest binary; each TEST becomes its own ctest entry.
function(vellum_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} GTest::gtest GTest::gtest_main)
  # Tests find bundled files and built programs through these, both as
  # compile-time paths and in the environment.
  target_compile_definitions(${name} PRIVATE VELLUM_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
                                             VELLUM_BINARY_DIR="${PROJECT_BINARY_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES ENVIRONMENT "VELLUM_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
endfunction()
