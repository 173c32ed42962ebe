# Installs the product, builds the consumer project against the installed package and runs its programs.

# Where the build found its packages, besides the prefix that each project is given.
cmake_path(CONVERT "${PREFIXES}" TO_NATIVE_PATH_LIST native)
set(ENV{CMAKE_PREFIX_PATH} "${native}")

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" --install "${PRODUCT_BUILD}" --prefix "${WORK}/first")
# A package must not remember where it was first installed.
file(RENAME "${WORK}/first" "${WORK}/prefix")

# The README's example is compiled as it stands there.
file(READ "${README}" readme)
if(NOT readme MATCHES "```cpp\n([^`]+)```")
  message(FATAL_ERROR "README.md has no C++ example")
endif()
file(WRITE "${WORK}/readme_example.cpp" "${CMAKE_MATCH_1}")

run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${WORK}/build" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${COMPILER}"
    "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}"
    "-DFOUNDATION_WINDOWS_DEPENDENCIES=${WINDOWS_DEPENDENCIES}"
    "-DCMAKE_CXX_FLAGS=${FLAGS}"
    "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
    "-DCMAKE_PREFIX_PATH=${WORK}/prefix"
    "-DREADME_EXAMPLE=${WORK}/readme_example.cpp")
run("${CMAKE_COMMAND}" --build "${WORK}/build")
run(${EMULATOR} "${WORK}/build/consumer${EXECUTABLE_SUFFIX}")
run(${EMULATOR} "${WORK}/build/extension_user${EXECUTABLE_SUFFIX}" "${WORK}/build/extensions")
run(${EMULATOR} "${WORK}/build/readme_example${EXECUTABLE_SUFFIX}")
