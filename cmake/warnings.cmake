# Warnings are errors in everything that we write. Link this target PRIVATE.
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual
  -Werror)
