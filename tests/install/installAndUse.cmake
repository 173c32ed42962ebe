# Installs the product, builds the consumer project against the installed package and runs its programs.

include("${CMAKE_CURRENT_LIST_DIR}/../support/outsideProject.cmake")

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

build("${SOURCE}" "${WORK}/build" "-DREADME_EXAMPLE=${WORK}/readme_example.cpp")
run(${EMULATOR} "${WORK}/build/consumer${EXECUTABLE_SUFFIX}")
run(${EMULATOR} "${WORK}/build/extension_user${EXECUTABLE_SUFFIX}" "${WORK}/build/extensions")
run(${EMULATOR} "${WORK}/build/readme_example${EXECUTABLE_SUFFIX}")

# The tool finds its libraries, and what comes with it is there.
if(TOOLS)
  file(WRITE "${WORK}/features.json" [=[[{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}]]=])
  run("${WORK}/prefix/bin/fctrl" check "${WORK}/features.json")
  foreach(file IN ITEMS bash-completion/completions/fctrl foundation_feature/schema/manifest.schema.json
      foundation_feature/schema/feature-controls.schema.json)
    if(NOT EXISTS "${WORK}/prefix/share/${file}")
      message(FATAL_ERROR "share/${file} is not installed")
    endif()
  endforeach()
endif()
