# Run by cpack: files in packages are dated like the last commit, or if there is no history like the project's main file,
# so that the same sources give the same packages.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND git -C ${CPACK_PLATFORM_ADAPTATION_SOURCE_DIR} log -1 --format=%ct
    OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    file(TIMESTAMP ${CPACK_PLATFORM_ADAPTATION_SOURCE_DIR}/CMakeLists.txt date %s UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${date})
endif()
