# The capture block and its queue exist once per IPC namespace. The command prefix CAPTURE_LAUNCHER runs a test in its own
# namespace. If the system refuses this, the properties CAPTURE_LOCK run these tests one after the other.
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

# launch_with_captures(TARGET): runs the discovered tests of TARGET with the prefix.
function(launch_with_captures target)
  set(launcher ${CAPTURE_LAUNCHER} ${CMAKE_CROSSCOMPILING_EMULATOR})
  # CMake uses this property as the prefix of the tests also without cross compiling.
  set_target_properties(${target} PROPERTIES CROSSCOMPILING_EMULATOR "${launcher}")
endfunction()
