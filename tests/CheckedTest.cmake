# add_checked_test(name command…): a test of CTest's, whose cases tests/run-program counts.
set(run_program ${CMAKE_CURRENT_LIST_DIR}/run-program)
# Begun first, so that none of them runs alone at the end.
set(longest_tests desk-terminal desk-stations desk-issue desk-failures desk-rack desk-every-call desk-journal binary-deb
    binary-msi binary-life-cycle binary-package customer-framework watch-record-and-replay token-opencryptoki hostile-tests
    token-tests secrets-tests host-tests fault-matrix docs-pages conformance-tests)

# What ./test runs only when it is asked for "long": what takes a minute and more and seldom breaks, and what another
# tier shows every time.
string(JOIN "|" long_tests binary-reproducible binary-deb binary-msi customer-framework host-timeline-large fuzz-seeds
       token-tests-watched token-opencryptoki-watched desk-kills desk-every-single-call)
if(ZEL_SANITIZE MATCHES address)
  # The host takes longer to compile with the sanitizers than everything else together.
  string(APPEND long_tests "|unit-(host|desk|database)|(host|desk|watch|rack|card|threads|docs)-.*"
                           "|token-(card-life|doctor|examples).*|binary-(files|life-cycle|package)")
elseif(MINGW)
  # The tier msvc runs them on the same sources and the same Wine.
  string(APPEND long_tests "|unit-(framework|platform|util|crypto|client|host)|watch-tests|watch-record-and-replay"
                           "|conformance-tests|host-tests|hostile-tests|fault-matrix")
endif()
# Builds the programs of such tests.
add_custom_target(long-tests)

function(add_checked_test name)
  add_test(NAME ${name} COMMAND ${run_program} ${name} ${ARGN})
  # Longer than any takes: a machine with other work to do may be ten times slower.
  set_tests_properties(${name} PROPERTIES TIMEOUT 900 SKIP_RETURN_CODE 77)
  if(name IN_LIST longest_tests)
    set_tests_properties(${name} PROPERTIES COST 1)
  endif()
  if(name MATCHES "^(${long_tests})$")
    set_tests_properties(${name} PROPERTIES LABELS long)
  endif()
endfunction()
