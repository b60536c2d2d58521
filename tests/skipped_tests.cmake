# Run by ctest after the tests (CTestCustom.cmake): one line telling how many
# tests skipped because the real sessions they read are not there, and why.
#   cmake -DLOG=<Testing/Temporary/LastTest.log> -DSHARED=<../shared> -P skipped_tests.cmake
# While ctest runs this, the log of the run is still being written under a .tmp name.
if(EXISTS "${LOG}.tmp")
  set(LOG "${LOG}.tmp")
elseif(NOT EXISTS "${LOG}")
  return()
endif()
file(STRINGS "${LOG}" lines)
set(count 0)
set(skippedLine FALSE)
foreach(line IN LISTS lines)
  # GoogleTest prints "<file>:<line>: Skipped", then the reason on the next line.
  if(skippedLine AND line MATCHES "^no .*session")
    math(EXPR count "${count} + 1")
  endif()
  if(line MATCHES ": Skipped$")
    set(skippedLine TRUE)
  else()
    set(skippedLine FALSE)
  endif()
endforeach()
if(count GREATER 0)
  set(folder "${SHARED}/sessions")
  if(DEFINED ENV{TRELLUM_SESSIONS})
    set(folder "$ENV{TRELLUM_SESSIONS}")
  endif()
  message("${count} test(s) skipped for want of real sessions: none in ${folder} "
          "(the big ones: ${SHARED}/bench). Set TRELLUM_SESSIONS to a folder of sessions to run them.")
endif()
