# cpack runs this. It dates the files in packages like the last commit, or, without a Git history, like the main
# CMakeLists.txt. So the same sources produce identical packages.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND git -C ${CPACK_PLATFORM_ADAPTATION_SOURCE_DIR} log -1 --format=%ct
    OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    file(TIMESTAMP ${CPACK_PLATFORM_ADAPTATION_SOURCE_DIR}/CMakeLists.txt date %s UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${date})
endif()
