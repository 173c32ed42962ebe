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
  if(NOT MSVC)
    # Most of a build is tests, and each runs for milliseconds.
    target_compile_options(${name} PRIVATE -O0 $<$<NOT:$<CONFIG:Debug>>:-g1>)
  endif()
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")  # what they share: <support/...>
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name}
      TEST_PREFIX "${name}."
      NO_PRETTY_VALUES
      DISCOVERY_MODE PRE_TEST
      DISCOVERY_TIMEOUT 60
      PROPERTIES TIMEOUT 120 ENVIRONMENT "FOUNDATION_LOG=;QZ_FEATURE_Alpha=;QZ_FEATURE_Beta=;${arg_ENVIRONMENT}")
endfunction()

# foundation_add_fuzz_target(<name> SOURCES <file>... CORPUS <folder> [LIBRARIES <library>...])
#
# Sources with an LLVMFuzzerTestOneInput, which aborts at a finding: where FOUNDATION_FUZZING is on, a program of libFuzzer
# that `./dev fuzz` runs; everywhere else <name>_replay, a test that hands it each file of its corpus.
function(foundation_add_fuzz_target name)
  if(NOT FOUNDATION_BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "CORPUS" "SOURCES;LIBRARIES")
  get_filename_component(corpus "${arg_CORPUS}" ABSOLUTE)
  if(NOT FOUNDATION_FUZZING)
    foundation_add_tests(${name}_replay
        SOURCES ${arg_SOURCES} "${PROJECT_SOURCE_DIR}/tests/support/replay_test.cpp" LIBRARIES ${arg_LIBRARIES})
    target_compile_definitions(${name}_replay PRIVATE "CORPUS=\"${corpus}\"")
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  foundation_configure_target(${name})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/fuzzers")
  if(NOT TARGET fuzzers)
    add_custom_target(fuzzers)
  endif()
  add_dependencies(fuzzers ${name})
  # For ./dev fuzz, which looks through the names.
  file(WRITE "${PROJECT_BINARY_DIR}/fuzzers/${name}.corpus" "${corpus}\n")
endfunction()

# foundation_add_python_test(<name> SCRIPT <file.py> [ARGUMENTS <argument>...])
#
# A test in Python, for what other programs' libraries check; Debian's python3-jsonschema is there.
function(foundation_add_python_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SCRIPT" "ARGUMENTS")
  if(NOT FOUNDATION_PYTHON)
    # The system's own first: another one may lack the package.
    find_program(FOUNDATION_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    find_program(FOUNDATION_PYTHON NAMES python3 python NO_CMAKE_FIND_ROOT_PATH)
    execute_process(COMMAND "${FOUNDATION_PYTHON}" -c "import jsonschema" RESULT_VARIABLE result ERROR_QUIET)
    if(NOT result EQUAL 0)
      message(WARNING "${name} is left out: ${FOUNDATION_PYTHON} lacks jsonschema, in Debian python3-jsonschema")
      unset(FOUNDATION_PYTHON CACHE)
      return()
    endif()
  endif()
  add_test(NAME ${name} COMMAND "${FOUNDATION_PYTHON}" "${CMAKE_CURRENT_SOURCE_DIR}/${arg_SCRIPT}" ${arg_ARGUMENTS})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600 ENVIRONMENT "FOUNDATION_LOG=;FOUNDATION_ROOT=;PYTHONDONTWRITEBYTECODE=1")
endfunction()
