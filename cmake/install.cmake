# Installs the library, its headers, the CMake package and the pkg-config file. Each component becomes a package in
# packages.cmake.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/platform_adaptation)
set(PLATFORM_LIBS "")
set(platform_library "")
if(NOT PLATFORM_SDK)
  set(platform_library simulated_television)
  set(platform_component platform)
elseif(TARGET platform_adapter)
  set(platform_library platform_adapter)
  set(platform_component runtime)
endif()

install(TARGETS platform_adaptation platform EXPORT platform_adaptation
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(platform_library)
  set(PLATFORM_LIBS " -l${platform_library}")
  # Both libraries are installed in the same folder, which may be any.
  set_target_properties(platform_adaptation PROPERTIES INSTALL_RPATH $ORIGIN)
  install(TARGETS ${platform_library} EXPORT platform_adaptation
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${platform_component} NAMELINK_COMPONENT dev
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
install(DIRECTORY include/platform_adaptation DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
if(NOT PLATFORM_SDK)
  install(DIRECTORY platform/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/platform_adaptation/platform
    COMPONENT dev)
  install(TARGETS television_control EXPORT platform_adaptation)
  install(DIRECTORY platform/simulated/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/platform_adaptation/television_control COMPONENT dev)
  install(FILES platform/catalogue/include/catalogue/key_definition.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/platform_adaptation/television_control/catalogue COMPONENT dev)
  if(TARGET aipq-video-pipeline)
    install(TARGETS aipq-video-pipeline DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/platform_adaptation
      COMPONENT simulator)
  endif()
endif()

install(EXPORT platform_adaptation NAMESPACE platform_adaptation:: DESTINATION ${package_dir}
  FILE platform_adaptation-targets.cmake COMPONENT dev)
configure_package_config_file(cmake/platform_adaptation-config.cmake.in platform_adaptation-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(platform_adaptation-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/platform_adaptation-config.cmake
  ${PROJECT_BINARY_DIR}/platform_adaptation-config-version.cmake DESTINATION ${package_dir} COMPONENT dev)

# The path from the pkg-config file to the prefix is relative, because the packages use another prefix than the
# configuration.
file(RELATIVE_PATH PREFIX_FROM_PKGCONFIG
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/platform_adaptation.pc.in platform_adaptation.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/platform_adaptation.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
