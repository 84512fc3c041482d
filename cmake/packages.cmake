# Debian packages of the files that install.cmake and the folders of tools/ install. To build them, run
# cpack --config BUILD/CPackConfig.cmake, or build the target `package`. packaging/ has the recipes for a television's image.
if(PLATFORM_SDK)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME platform-adaptation)
set(CPACK_PACKAGE_VENDOR "platform_adaptation")
set(CPACK_PACKAGE_CONTACT "platform_adaptation maintainers <maintainers@platform-adaptation.invalid>")
# Each package defines its own summary, as the first line of its description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(debian_dir ${PROJECT_SOURCE_DIR}/packaging/debian)
# source_date.cmake sets SOURCE_DATE_EPOCH when cpack runs.
set(CPACK_PLATFORM_ADAPTATION_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_PROJECT_CONFIG_FILE ${debian_dir}/source_date.cmake)
set(CPACK_PLATFORM_ADAPTATION_STRIP ${CMAKE_STRIP})
set(CPACK_PRE_BUILD_SCRIPTS ${debian_dir}/finish_files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${debian_dir}/finish_packages.cmake)

# The newest entry of the changelog has the project's version and the packages' revision.
set(changelog ${debian_dir}/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})
file(STRINGS ${changelog} newest_entry LIMIT_COUNT 1)
if(NOT newest_entry MATCHES "^platform-adaptation \\(${PROJECT_VERSION}-([0-9]+)\\)")
  message(FATAL_ERROR "${changelog} does not begin with an entry of version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})

set(CPACK_COMPONENTS_ALL runtime platform dev)
if(PLATFORM_ADAPTATION_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL simulator tools python)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# With shlibs files, packages whose programs link the libraries depend on them.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# Each package requires the same version of the other packages, because they are built together.
set(library_package libplatform-adaptation${PROJECT_VERSION_MAJOR})
set(platform_package libsimulated-television${PROJECT_VERSION_MAJOR})
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(runtime_depends "${platform_package} ${same_version}")
set(platform_depends "")
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  # In a cross build, dpkg-shlibdeps reports the wrong package names for the cross compiler's libraries.
  set(platform_depends "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")
  string(APPEND runtime_depends ", ${platform_depends}")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # dpkg-shlibdeps finds these packages' libraries in this folder. The dependencies between the packages are explicit above.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${runtime_depends}")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "platform adaptation of a television's AI picture-quality service
The library through which the service reads the television's state, changes
picture settings, grabs frames, follows the lifecycle and switches channels.
This build talks to the simulated television.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian_dir}/triggers)

set(CPACK_DEBIAN_PLATFORM_PACKAGE_NAME ${platform_package})
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_PLATFORM_PACKAGE_DEPENDS "${platform_depends}")
# A program needs the television's programs only for a picture or to share a television with others.
set(CPACK_DEBIAN_PLATFORM_PACKAGE_SUGGESTS "aipq-television ${same_version}")
set(CPACK_DEBIAN_PLATFORM_DESCRIPTION "simulated television - shared library
The platform that the platform adaptation library calls on a PC. It connects a
program to a simulated television that runs, or contains the television itself.")
set(CPACK_DEBIAN_PLATFORM_PACKAGE_CONTROL_EXTRA ${debian_dir}/triggers)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libplatform-adaptation-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "${library_package} ${same_version}, ${platform_package} ${same_version}, libboost-dev (>= 1.71)")
set(CPACK_DEBIAN_DEV_DESCRIPTION "platform adaptation of a television - development files
Headers of the library, of the platform and of the simulated television, CMake
package and pkg-config file.
A program that is built with them runs on a television, too.")

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME aipq-television)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_MULTIARCH foreign)
# The television starts its own D-Bus daemon. The recommended plugins play films.
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "${platform_package} ${same_version}, dbus-daemon")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_RECOMMENDS
  "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, gstreamer1.0-plugins-bad, gstreamer1.0-libav")
set(CPACK_DEBIAN_SIMULATOR_DESCRIPTION "simulated television
The television that a program of the platform adaptation library talks to on a
PC, as a separate process, with a video pipeline and example scenarios.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME aipqctl)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_MULTIARCH foreign)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} ${same_version}, ${platform_package} ${same_version}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "aipq-television ${same_version}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "command line for a television's picture quality
Lists, reads, sets and watches what the platform adaptation library offers,
saves frames, and checks a platform with 'aipqctl doctor'.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-aipq-television)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_MULTIARCH foreign)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "aipq-television ${same_version}, python3 (>= 3.11), python3-jeepney")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "python3-pytest")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "tests on a simulated television in Python
A module that starts a private television for a test, changes its values, sets
faults, and waits for its notifications; and a pytest plugin with the fixture
'television'.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${debian_dir}/python/postinst ${debian_dir}/python/prerm)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER CPACK_DEBIAN_${component}_PACKAGE_NAME name)
  install(FILES ${changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${name}} RENAME changelog.Debian
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
