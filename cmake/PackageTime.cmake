# CPack runs this first. The same sources make the same packages: the time in them is that of the commit, or without a
# repository of the list of changes. Stripped programs have it, too, and a ZIP has it as local time.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git -C ${CMAKE_CURRENT_LIST_DIR} log -1 --format=%ct OUTPUT_VARIABLE time
                  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    file(TIMESTAMP ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md time "%s" UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()
set(ENV{TZ} UTC)
