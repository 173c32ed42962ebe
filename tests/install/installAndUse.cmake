# Installs the product, builds the consumer project against the installed package and runs its programs.

include("${CMAKE_CURRENT_LIST_DIR}/../support/outsideProject.cmake")

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" --install "${PRODUCT_BUILD}" --prefix "${WORK}/first")
# A package must not remember where it was first installed.
file(RENAME "${WORK}/first" "${WORK}/prefix")

# The pages' examples are compiled as they stand there.
function(take_example page file)
  file(READ "${page}" text)
  if(NOT text MATCHES "```cpp\n([^`]+)```")
    message(FATAL_ERROR "${page} has no C++ example")
  endif()
  file(WRITE "${WORK}/${file}" "${CMAKE_MATCH_1}")
endfunction()
take_example("${README}" readme_example.cpp)
set(inspector_example "")
if(INSPECTOR_PAGE)  # The build has it.
  take_example("${INSPECTOR_PAGE}" inspector_example.cpp)
  set(inspector_example "${WORK}/inspector_example.cpp")
endif()

build("${SOURCE}" "${WORK}/build" "-DREADME_EXAMPLE=${WORK}/readme_example.cpp"
    "-DINSPECTOR_EXAMPLE=${inspector_example}")
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
if(INSPECTOR_PAGE)
  run(${EMULATOR} "${WORK}/build/inspector_example${EXECUTABLE_SUFFIX}")
endif()
