# For the tests that install the product and build projects of its users against it: running commands, and building.

# Where the build found its packages, besides the prefix that each project is given.
cmake_path(CONVERT "${PREFIXES}" TO_NATIVE_PATH_LIST native)
set(ENV{CMAKE_PREFIX_PATH} "${native}")

# run(<command>...)
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# build(<source> <build> [<argument>...]): configures with the arguments, against the product in ${WORK}/prefix, and builds.
function(build source build)
  run("${CMAKE_COMMAND}" -S "${source}" -B "${build}" -G "${GENERATOR}"
      "-DCMAKE_CXX_COMPILER=${COMPILER}"
      "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}"
      "-DFOUNDATION_WINDOWS_DEPENDENCIES=${WINDOWS_DEPENDENCIES}"
      "-DCMAKE_CXX_FLAGS=${FLAGS}"
      "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
      "-DCMAKE_PREFIX_PATH=${WORK}/prefix"
      ${ARGN})
  run("${CMAKE_COMMAND}" --build "${build}")
endfunction()
