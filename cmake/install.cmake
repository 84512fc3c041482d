# The library and its headers for whoever builds against it: CMake package and pkg-config file included.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/platform_adaptation)
set(installed_targets platform_adaptation platform)
set(PLATFORM_LIBS "")
if(NOT PLATFORM_SDK)
  list(APPEND installed_targets simulated_television)
  set(PLATFORM_LIBS " -lsimulated_television")
  # The two lie side by side, wherever that is.
  set_target_properties(platform_adaptation PROPERTIES INSTALL_RPATH $ORIGIN)
endif()

install(TARGETS ${installed_targets} EXPORT platform_adaptation
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/platform_adaptation DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(NOT PLATFORM_SDK)
  install(DIRECTORY platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/platform_adaptation/platform)
  if(TARGET aipq-video-pipeline)
    install(TARGETS aipq-video-pipeline DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/platform_adaptation)
  endif()
endif()

install(EXPORT platform_adaptation NAMESPACE platform_adaptation:: DESTINATION ${package_dir}
  FILE platform_adaptation-targets.cmake)
configure_package_config_file(cmake/platform_adaptation-config.cmake.in platform_adaptation-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(platform_adaptation-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/platform_adaptation-config.cmake
  ${PROJECT_BINARY_DIR}/platform_adaptation-config-version.cmake DESTINATION ${package_dir})

configure_file(cmake/platform_adaptation.pc.in platform_adaptation.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/platform_adaptation.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
