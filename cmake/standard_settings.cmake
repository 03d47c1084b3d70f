# Warnings and sanitizer flags, linked PRIVATE by every target of the project.
add_library(standard_settings INTERFACE)
target_compile_options(standard_settings INTERFACE -Wall -Wextra -Wpedantic)
if(VEXIL_WERROR)
  target_compile_options(standard_settings INTERFACE -Werror)
endif()
if(VEXIL_SANITIZE)
  target_compile_options(standard_settings INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(standard_settings INTERFACE -fsanitize=address,undefined)
  # GCC's flow analysis gives false "maybe uninitialized" reports on instrumented standard headers.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(standard_settings INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()
