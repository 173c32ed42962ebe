# Installs the product, builds the extension that docs/extensions.md shows, as it stands there, and has a host find it.

include("${CMAKE_CURRENT_LIST_DIR}/../support/outsideProject.cmake")

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
