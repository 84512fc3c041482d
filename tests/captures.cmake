# The capture block and its queue have one name in an IPC namespace. A test that uses them gets a namespace of its own,
# by the command prefix CAPTURE_LAUNCHER; where the system allows none, it runs alone, by the properties CAPTURE_LOCK.
set(CAPTURE_LAUNCHER "")
set(CAPTURE_LOCK RESOURCE_LOCK capture_block)
foreach(user IN ITEMS "" "--user;--map-current-user")
  set(launcher unshare ${user} --ipc --)
  execute_process(COMMAND ${launcher} true RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(status EQUAL 0)
    set(CAPTURE_LAUNCHER ${launcher})
    set(CAPTURE_LOCK "")
    break()
  endif()
endforeach()

# launch_with_captures(TARGET): the tests that are discovered in TARGET run with the prefix.
function(launch_with_captures target)
  set(launcher ${CAPTURE_LAUNCHER} ${CMAKE_CROSSCOMPILING_EMULATOR})
  # CMake takes this property as the prefix of any executable's tests, not only in a cross build.
  set_target_properties(${target} PROPERTIES CROSSCOMPILING_EMULATOR "${launcher}")
endfunction()
