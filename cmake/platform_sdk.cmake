# A television's own platform: its headers in PLATFORM_SDK/include, laid out like platform/include, and every
# library in PLATFORM_SDK/lib.
if(NOT IS_DIRECTORY ${PLATFORM_SDK}/include)
  message(FATAL_ERROR "PLATFORM_SDK=${PLATFORM_SDK} has no folder include")
endif()
file(GLOB platform_libraries CONFIGURE_DEPENDS ${PLATFORM_SDK}/lib/*.so ${PLATFORM_SDK}/lib/*.a)
if(NOT platform_libraries)
  message(FATAL_ERROR "PLATFORM_SDK=${PLATFORM_SDK} has no library in lib")
endif()
target_include_directories(platform INTERFACE $<BUILD_INTERFACE:${PLATFORM_SDK}/include>)
target_link_libraries(platform INTERFACE $<BUILD_INTERFACE:${platform_libraries}>)
