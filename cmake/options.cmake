# Warnings and hardening options for the project's own code: each of its targets links project_options.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wcast-qual -Wformat=2 -Wundef -Wunused
  -Wdouble-promotion -Wimplicit-fallthrough -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wno-psabi>
  # Without these optimisations, this warning has false positives in the standard library.
  $<$<CONFIG:Release,MinSizeRel>:-Wnull-dereference>
  -fstack-protector-strong
  # Keep paths of the building machine out of the binaries; __FILE__ is relative to the project.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_compile_definitions(project_options INTERFACE $<$<CONFIG:Release,MinSizeRel>:_FORTIFY_SOURCE=2>)
target_link_options(project_options INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:--as-needed)
