# The capture block and its queue have one name in an IPC namespace. The command prefix CAPTURE_LAUNCHER gives a test its
# own namespace. Where the system refuses that, the properties CAPTURE_LOCK run these tests one after the other.
set(CAPTURE_LAUNCHER "")
set(CAPTURE_LOCK RESOURCE_LOCK capture_block)
foreach(user IN ITEMS "" "--user;--map-current-user")
  execute_process(COMMAND unshare ${user} --ipc -- true RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(status EQUAL 0)
    set(CAPTURE_LAUNCHER unshare ${user} --ipc --)
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
