# Reruns a table generator into the build tree and fails when its output
# differs from the committed table, so a hand edit or a stale table shows.
#   cmake -DPYTHON=... -DGENERATOR=... -DCOMMITTED=... -DOUTPUT=... -P compare_generated.cmake
execute_process(COMMAND ${PYTHON} ${GENERATOR} ${OUTPUT} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${GENERATOR} failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${COMMITTED} ${OUTPUT} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${COMMITTED} differs from what ${GENERATOR} writes now")
endif()
