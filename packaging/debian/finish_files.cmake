# cpack runs this before it builds the packages. It processes the files like Debian's packaging tools.

# Set the permissions of folders independently of the umask.
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)

# Move the zsh completions to the folder that Debian's zsh uses.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(zsh ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/zsh)
  if(IS_DIRECTORY ${zsh})
    file(RENAME ${zsh}/site-functions ${zsh}/vendor-completions)
  endif()
endforeach()

file(GLOB_RECURSE files LIST_DIRECTORIES FALSE ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(file IN LISTS files)
  if(IS_SYMLINK ${file})
    continue()
  endif()
  file(READ ${file} magic LIMIT 4 HEX)
  if(magic STREQUAL "7f454c46")
    execute_process(
      COMMAND ${CPACK_PLATFORM_ADAPTATION_STRIP} --strip-unneeded --remove-section=.comment --remove-section=.note ${file}
      COMMAND_ERROR_IS_FATAL ANY)
  elseif(file MATCHES "/share/man/|/changelog\\.Debian$")
    execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
