# Copies the folder of PROGRAM to where the host would be installed, below a root whose name no code page holds, and runs
# it there: it must find all that it needs beside it, its extensions included.
set(root "${WORK}/größe Ж 日本")
file(REMOVE_RECURSE "${WORK}")
get_filename_component(folder "${PROGRAM}" DIRECTORY)
get_filename_component(name "${PROGRAM}" NAME)
file(COPY "${folder}/" DESTINATION "${root}/bin/win64")

if(EMULATOR)
  list(GET EMULATOR 0 run)
  set(EMULATOR "${run}" -)  # Without the folders of any libraries.
endif()
execute_process(COMMAND ${EMULATOR} "${root}/bin/win64/${name}" --only Depth --log foundation::feature::lookup=8
    WORKING_DIRECTORY "${root}" OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT output MATCHES "\nViewportDepthCueing " OR NOT errors MATCHES "installAndStarted 5")
  message(FATAL_ERROR "ended with ${result}\n${output}\n${errors}")
endif()
