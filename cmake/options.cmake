# Warnings and hardening of our own code; what is linked with project_options gets them.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wcast-qual -Wformat=2 -Wundef -Wunused
  -Wdouble-promotion -Wimplicit-fallthrough -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wno-psabi>
  # With other optimisations, it warns of what the standard library never does.
  $<$<CONFIG:Release,MinSizeRel>:-Wnull-dereference>
  -fstack-protector-strong
  # No path of the building machine in what is built; __FILE__ is relative to the project.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_compile_definitions(project_options INTERFACE $<$<CONFIG:Release,MinSizeRel>:_FORTIFY_SOURCE=2>)
target_link_options(project_options INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:--as-needed)
