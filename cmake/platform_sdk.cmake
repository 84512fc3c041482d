# A television's own platform: headers in PLATFORM_SDK/include, every library in PLATFORM_SDK/lib. What differs from
# platform/include is adapted by PLATFORM_ADAPTER. docs/porting.md tells how.
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

# The first that has a header counts: the adapter, the maker, this project. Warnings of the maker's are his business.
set(adapter_include_dir "")
if(IS_DIRECTORY ${PLATFORM_ADAPTER}/include)
  set(adapter_include_dir ${PLATFORM_ADAPTER}/include)
endif()
set(maker_include_dirs ${PLATFORM_SDK}/include ${PROJECT_SOURCE_DIR}/platform/include)
set(PLATFORM_INCLUDE_DIR ${adapter_include_dir} ${maker_include_dirs})
target_include_directories(platform INTERFACE $<BUILD_INTERFACE:${adapter_include_dir}>)
target_include_directories(platform SYSTEM INTERFACE "$<BUILD_INTERFACE:${maker_include_dirs}>")
target_link_libraries(platform INTERFACE "$<BUILD_INTERFACE:${platform_libraries}>")

# The maker's libraries know nothing of this project's headers: only an adapter can implement them. The capture block
# and the log levels are the same on every platform.
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
    "Provide them, or what adapts to them in a PLATFORM_ADAPTER; see docs/porting.md.")
elseif(own_headers)
  message(STATUS "The adapter implements these headers of platform/include:${own_headers}")
endif()

if(PLATFORM_ADAPTER)
  # Shared, so that its state is there once in a process, whoever calls it.
  add_library(platform_adapter SHARED ${adapter_sources})
  target_include_directories(platform_adapter PRIVATE ${adapter_include_dir})
  target_include_directories(platform_adapter SYSTEM PRIVATE ${maker_include_dirs})
  target_link_libraries(platform_adapter PRIVATE
    $<BUILD_INTERFACE:project_options> Boost::headers Threads::Threads ${platform_libraries})
  target_link_options(platform_adapter PRIVATE LINKER:--no-undefined)
  target_link_libraries(platform INTERFACE platform_adapter)
endif()
