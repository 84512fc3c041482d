# cpack runs this after it has built the packages. It adds the field Multi-Arch, which cpack supports only since CMake 3.31.
# It removes the scripts that call ldconfig, because the packages' triggers call it.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(folder ${package}.folder)
  execute_process(COMMAND sh -c "umask 022; dpkg-deb --raw-extract ${package} ${folder}" COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND sh -c "grep -ls ldconfig DEBIAN/postinst DEBIAN/postrm | xargs -r rm"
    WORKING_DIRECTORY ${folder} COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${folder}/DEBIAN/control control)
  string(STRIP "${control}" control)
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER CPACK_DEBIAN_${component}_PACKAGE variable)
    if(package MATCHES "/${${variable}_NAME}_[^/]*$" AND NOT control MATCHES "\nMulti-Arch:")
      string(APPEND control "\nMulti-Arch: ${${variable}_MULTIARCH}")
    endif()
  endforeach()
  file(WRITE ${folder}/DEBIAN/control "${control}\n")
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${folder} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
