# Regenerates the parameter reference and compares it with the committed one.
execute_process(COMMAND ${TOOL} docs ${GENERATED} RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "pellucid docs failed (${rc}): ${err}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${GENERATED} ${COMMITTED} RESULT_VARIABLE differs)
if(differs)
  message(FATAL_ERROR "docs/parameters.md is out of date: run pellucid docs docs/parameters.md "
                      "(compare ${GENERATED})")
endif()
