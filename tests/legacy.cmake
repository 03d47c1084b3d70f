# The legacy C interface, tested the way its callers use it: from a C program linked against the
# shared library.
add_executable(legacy_c_test legacy_c_test.c)
target_link_libraries(legacy_c_test PRIVATE perflib::perflib standard_settings)
add_test(NAME legacy_c_test
  COMMAND legacy_c_test "${CMAKE_CURRENT_SOURCE_DIR}/legacy_reports_expected.txt")

# Every legacy entry point is exported from the shared library under its plain C name.
set(perflib_legacy_symbols
  perflib_createdata perflib_freedata setdata accumdata avgdata setdataminmax
  printstats printstatsex print_trelk3_lua compatible norm_names)
add_test(NAME legacy_exported_symbols
  COMMAND sh -c [=[
    nm="$0"; library="$1"; shift
    symbols=$("$nm" -D --defined-only "$library") || exit 1
    status=0
    for name in "$@"; do
      if ! printf '%s\n' "$symbols" | grep -q " [A-Z] $name\$"; then
        echo "not exported: $name"
        status=1
      fi
    done
    exit $status]=]
    "${CMAKE_NM}" "$<TARGET_FILE:perflib>" ${perflib_legacy_symbols})
