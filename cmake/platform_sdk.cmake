# The platform of a real television: headers in PLATFORM_SDK/include, libraries in PLATFORM_SDK/lib. If its interfaces
# differ from platform/include, PLATFORM_ADAPTER adapts them; see docs/porting.md.
if(NOT IS_DIRECTORY ${PLATFORM_SDK}/include)
  message(FATAL_ERROR "PLATFORM_SDK=${PLATFORM_SDK} has no folder include")
endif()
file(GLOB platform_libraries CONFIGURE_DEPENDS ${PLATFORM_SDK}/lib/*.so ${PLATFORM_SDK}/lib/*.a)
if(NOT platform_libraries)
  message(FATAL_ERROR "PLATFORM_SDK=${PLATFORM_SDK} has no library in lib")
endif()
if(PLATFORM_ADAPTER)
  file(GLOB adapter_sources CONFIGURE_DEPENDS ${PLATFORM_ADAPTER}/*.cpp)
  if(NOT adapter_sources)
    message(FATAL_ERROR "PLATFORM_ADAPTER=${PLATFORM_ADAPTER} has no source, *.cpp")
  endif()
endif()

# Search for each header in the adapter, then in the SDK, then in this project. Ignore warnings in the SDK's headers.
set(adapter_include_dir "")
if(IS_DIRECTORY ${PLATFORM_ADAPTER}/include)
  set(adapter_include_dir ${PLATFORM_ADAPTER}/include)
endif()
set(sdk_include_dirs ${PLATFORM_SDK}/include ${PROJECT_SOURCE_DIR}/platform/include)
set(PLATFORM_INCLUDE_DIR ${adapter_include_dir} ${sdk_include_dirs})
target_include_directories(platform INTERFACE $<BUILD_INTERFACE:${adapter_include_dir}>)
target_include_directories(platform SYSTEM INTERFACE "$<BUILD_INTERFACE:${sdk_include_dirs}>")
target_link_libraries(platform INTERFACE "$<BUILD_INTERFACE:${platform_libraries}>")

# If the SDK lacks a header, the adapter must implement the header of platform/include. The capture block and the log
# levels are the same on every platform.
file(GLOB_RECURSE platform_headers RELATIVE ${PROJECT_SOURCE_DIR}/platform/include
  ${PROJECT_SOURCE_DIR}/platform/include/*.h)
list(REMOVE_ITEM platform_headers csp/log_level.h video/capture_block.h)
set(own_headers "")
foreach(header IN LISTS platform_headers)
  find_file(found ${header} PATHS ${PLATFORM_INCLUDE_DIR} NO_DEFAULT_PATH NO_CACHE NO_CMAKE_FIND_ROOT_PATH)
  if(found STREQUAL ${PROJECT_SOURCE_DIR}/platform/include/${header})
    string(APPEND own_headers "\n  ${header}")
  endif()
  unset(found)
endforeach()
if(own_headers AND NOT PLATFORM_ADAPTER)
  message(FATAL_ERROR "PLATFORM_SDK=${PLATFORM_SDK} lacks in include:${own_headers}\n"
    "Add these headers, or implement them in a PLATFORM_ADAPTER; see docs/porting.md.")
elseif(own_headers)
  message(STATUS "The adapter implements these headers of platform/include:${own_headers}")
endif()

if(PLATFORM_ADAPTER)
  # A shared library, so that its state exists only once in a process.
  add_library(platform_adapter SHARED ${adapter_sources})
  target_include_directories(platform_adapter PRIVATE ${adapter_include_dir})
  target_include_directories(platform_adapter SYSTEM PRIVATE ${sdk_include_dirs})
  target_link_libraries(platform_adapter PRIVATE
    $<BUILD_INTERFACE:project_options> Boost::headers Threads::Threads ${platform_libraries})
  target_link_options(platform_adapter PRIVATE LINKER:--no-undefined)
  target_link_libraries(platform INTERFACE platform_adapter)
endif()
