# cmake -DCXX=compiler -DINCLUDES=dir|dir -DSOURCE=file -DCASE=NAME -DEXPECT=text -P check.cmake
# Compiles SOURCE with TOLVI_CASE_<NAME> defined. With an empty EXPECT it must compile; otherwise it
# must fail with exactly one error, whose text holds EXPECT.
string(REPLACE "|" ";" includes "${INCLUDES}")
list(TRANSFORM includes PREPEND "-I")
execute_process(
  COMMAND ${CXX} -std=c++17 -fsyntax-only ${includes} -DTOLVI_CASE_${CASE} ${SOURCE}
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(EXPECT STREQUAL "")
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${CASE} does not compile:\n${out}${err}")
  endif()
  return()
endif()
string(REGEX MATCHALL "[^\n]*error:[^\n]*" errors "${err}")
list(LENGTH errors count)
list(GET errors 0 first)
string(FIND "${first}" "${EXPECT}" at)
if(rc EQUAL 0 OR NOT count EQUAL 1 OR at EQUAL -1)
  message(FATAL_ERROR "${CASE}: expected one error saying\n  ${EXPECT}\ngot ${count}:\n${err}")
endif()
