# Runs PROGRAM with WAY: it must end with 0, nothing on standard error, and its bundle stopped in time.
execute_process(COMMAND ${EMULATOR} "${PROGRAM}" "${WAY}"
    OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result)
set(expected "stopped with a static text of the bundle, longer than a short string")
if(WAY STREQUAL "inside a customizer")
  set(expected "")  # The bundle was still starting.
endif()
string(FIND "${output}" "${expected}" place)
if(NOT result EQUAL 0 OR NOT errors STREQUAL "" OR place EQUAL -1)
  message(FATAL_ERROR "${WAY}: ended with ${result}\n${output}\n${errors}")
endif()
