# add_checked_test(name command…): a test of CTest's, whose cases tests/run-program counts.
set(run_program ${CMAKE_CURRENT_LIST_DIR}/run-program)

function(add_checked_test name)
  add_test(NAME ${name} COMMAND ${run_program} ${name} ${ARGN})
  # Longer than any takes: a machine with other work to do may be ten times slower.
  set_tests_properties(${name} PROPERTIES TIMEOUT 900 SKIP_RETURN_CODE 77)
endfunction()
