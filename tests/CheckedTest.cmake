# add_checked_test(name command…): a test of CTest's, whose cases tests/run-program counts.
set(run_program ${CMAKE_CURRENT_LIST_DIR}/run-program)
# Begun first, so that none of them runs alone at the end.
set(longest_tests desk-terminal desk-stations desk-failures desk-every-call binary-deb binary-msi customer-framework
    secrets-tests host-tests docs-pages token-tests conformance-tests)

function(add_checked_test name)
  add_test(NAME ${name} COMMAND ${run_program} ${name} ${ARGN})
  # Longer than any takes: a machine with other work to do may be ten times slower.
  set_tests_properties(${name} PROPERTIES TIMEOUT 900 SKIP_RETURN_CODE 77)
  if(name IN_LIST longest_tests)
    set_tests_properties(${name} PROPERTIES COST 1)
  endif()
endfunction()
