# Included by the preset "coverage" when the project has begun; acts when all targets are there. Only the plug-in and what
# it stands on count their lines: not optimised, so that a line of the source is a line of the machine. The tests stay as
# every other build has them.
function(count_lines)
  foreach(target plugin-objects util)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic -O0 -U_FORTIFY_SOURCE)
    target_link_options(${target} INTERFACE --coverage)
  endforeach()
endfunction()
cmake_language(DEFER CALL count_lines)
