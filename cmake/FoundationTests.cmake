# How every test program of this repository is built and listed.

include(GoogleTest)

# What a test's own script is told, so that it can build for another system, and run programs there.
string(REPLACE ";" "\\;" emulator "${CMAKE_CROSSCOMPILING_EMULATOR}")
set(FOUNDATION_CROSS_ARGUMENTS
    "-DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}"
    "-DWINDOWS_DEPENDENCIES=${FOUNDATION_WINDOWS_DEPENDENCIES}"
    "-DEMULATOR=${emulator}"
    "-DEXECUTABLE_SUFFIX=${CMAKE_EXECUTABLE_SUFFIX}")

# foundation_add_tests(<name> SOURCES <file>... [LIBRARIES <library>...] [ENVIRONMENT <NAME=value>...])
#
# A GoogleTest program. Each case runs as a process of its own: process-wide state, such as the registry, which never
# empties, starts fresh in every case. What the developer's own environment sets for the library is not seen. Does
# nothing when the tests are not built.
function(foundation_add_tests name)
  if(NOT FOUNDATION_BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;ENVIRONMENT")
  add_executable(${name} ${arg_SOURCES})
  foundation_configure_target(${name})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")  # what they share: <support/...>
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name}
      TEST_PREFIX "${name}."
      NO_PRETTY_VALUES
      DISCOVERY_MODE PRE_TEST
      DISCOVERY_TIMEOUT 60
      PROPERTIES TIMEOUT 120 ENVIRONMENT "FOUNDATION_LOG=;QZ_FEATURE_Alpha=;QZ_FEATURE_Beta=;${arg_ENVIRONMENT}")
endfunction()
