# SPDX-License-Identifier: Apache-2.0
# The legacy C interface, tested the way its callers use it: from a C program linked against the
# shared library, and by its exported names.
add_executable(legacy_c_test legacy_c_test.c)
target_link_libraries(legacy_c_test PRIVATE perflib::perflib standard_settings)
add_test(NAME legacy_c_test
  COMMAND legacy_c_test "${CMAKE_CURRENT_SOURCE_DIR}/legacy_reports_expected.txt")
add_test(NAME legacy_exported_symbols
  COMMAND sh -c [=[
    symbols=$("$0" -D --defined-only "$1") || exit 1
    for name in perflib_createdata perflib_freedata setdata accumdata avgdata setdataminmax \
        printstats printstatsex print_trelk3_lua compatible norm_names; do
      printf '%s\n' "$symbols" | grep -q " [A-Z] $name\$" || { echo "not exported: $name"; exit 1; }
    done]=]
    "${CMAKE_NM}" "$<TARGET_FILE:perflib>")
