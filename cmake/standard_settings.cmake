# SPDX-License-Identifier: Apache-2.0
# Warnings and sanitizer flags, linked PRIVATE by every target of the project.
add_library(standard_settings INTERFACE)
target_compile_options(standard_settings INTERFACE -Wall -Wextra -Wpedantic)
# GCC notes that passing a union holding a long double changed ABI in GCC 4.6; it is not a warning.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(standard_settings INTERFACE -Wno-psabi)
endif()
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
# ThreadSanitizer cannot share a process with AddressSanitizer: a build of its own.
if(VEXIL_TSAN)
  if(VEXIL_SANITIZE)
    message(FATAL_ERROR "VEXIL_TSAN and VEXIL_SANITIZE exclude each other")
  endif()
  target_compile_options(standard_settings INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(standard_settings INTERFACE -fsanitize=thread)
endif()
