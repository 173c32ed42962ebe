# Installs the product, builds the extension that docs/extensions.md shows, as it stands there, and has a host find it.

# Where the build found its packages, besides the prefix that each project is given.
cmake_path(CONVERT "${PREFIXES}" TO_NATIVE_PATH_LIST native)
set(ENV{CMAKE_PREFIX_PATH} "${native}")

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(build project)
  run("${CMAKE_COMMAND}" -S "${project}" -B "${ARGV1}" -G "${GENERATOR}"
      "-DCMAKE_CXX_COMPILER=${COMPILER}"
      "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}"
      "-DFOUNDATION_WINDOWS_DEPENDENCIES=${WINDOWS_DEPENDENCIES}"
      "-DCMAKE_CXX_FLAGS=${FLAGS}"
      "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
      "-DCMAKE_PREFIX_PATH=${WORK}/prefix")
  run("${CMAKE_COMMAND}" --build "${ARGV1}")
endfunction()

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" --install "${PRODUCT_BUILD}" --prefix "${WORK}/prefix")

# Each file's name stands above its code block. Semicolons and brackets mean something to CMake's lists: no lists here.
file(READ "${PAGE}" page)
foreach(file IN ITEMS manifest.json my_extension.cpp CMakeLists.txt)
  if(NOT page MATCHES "\n`${file}`\n\n```[a-z]+\n([^`]+)```")
    message(FATAL_ERROR "${PAGE} has no code block for ${file}")
  endif()
  file(WRITE "${WORK}/my_extension/${file}" "${CMAKE_MATCH_1}")
endforeach()

build("${WORK}/my_extension" "${WORK}/build")
build("${SOURCE}" "${WORK}/user")
run("${CMAKE_COMMAND}" -E env "FOUNDATION_ROOT=${WORK}/build" ${EMULATOR} "${WORK}/user/extension_user${EXECUTABLE_SUFFIX}")
