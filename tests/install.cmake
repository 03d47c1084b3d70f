# SPDX-License-Identifier: Apache-2.0
# The installed tree as another project sees it: install this build into a temporary prefix, build
# examples/consumer against it through find_package and through pkg-config, and run it. A
# sanitized perflib needs a sanitized consumer, so the consumer gets the same instrumentation.
set(install_test_flags "")
if(VEXIL_SANITIZE)
  set(install_test_flags "-fsanitize=address,undefined -fno-sanitize-recover=all")
endif()
foreach(mode find_package pkg-config)
  add_test(NAME install_consumer_${mode}
    COMMAND bash "${CMAKE_CURRENT_SOURCE_DIR}/install_test.sh" "${mode}" "${CMAKE_COMMAND}"
      "${CMAKE_GENERATOR}" "${PROJECT_BINARY_DIR}" "${CMAKE_INSTALL_LIBDIR}" "${PROJECT_VERSION}"
      "${PROJECT_SOURCE_DIR}/examples/consumer" "${CMAKE_CXX_COMPILER}" "${install_test_flags}")
  # Both install the same build tree, which cmake --install writes into (install_manifest.txt).
  set_tests_properties(install_consumer_${mode} PROPERTIES SKIP_RETURN_CODE 77 RESOURCE_LOCK build_tree_install)
endforeach()

# The manual pages render without a single groff warning.
add_test(NAME man_page_renders
  COMMAND sh -c [=[
    command -v groff >/dev/null || { echo "groff is not installed (./dev deps installs it)"; exit 77; }
    warnings=$(groff -man -Tutf8 -ww -z "$0" "$@" 2>&1) || { printf '%s\n' "$warnings"; exit 1; }
    [ -z "$warnings" ] || { printf '%s\n' "$warnings"; exit 1; }]=]
    "${PROJECT_SOURCE_DIR}/docs/vexil.1" "${PROJECT_SOURCE_DIR}/docs/vexil-plot.1")
set_tests_properties(man_page_renders PROPERTIES SKIP_RETURN_CODE 77)

# The example unit file passes systemd-analyze verify without a warning (on a copy whose
# ExecStart= names the vexil just built), and the system user it runs as is well defined.
add_test(NAME systemd_unit_verifies
  COMMAND sh -c [=[
    command -v systemd-analyze >/dev/null || { echo "systemd-analyze is not installed"; exit 77; }
    dir=$(mktemp -d) && trap 'rm -rf "$dir"' EXIT
    sed "s|/usr/bin/vexil|$1|" "$0/vexil.service" >"$dir/vexil.service"
    warnings=$(systemd-analyze verify --man=no "$dir/vexil.service" 2>&1) && [ -z "$warnings" ] \
      || { printf '%s\n' "$warnings"; exit 1; }
    systemd-sysusers --dry-run --root="$dir" "$0/vexil.sysusers" >/dev/null]=]
    "${PROJECT_SOURCE_DIR}/examples/systemd" "$<TARGET_FILE:vexil>")
set_tests_properties(systemd_unit_verifies PROPERTIES SKIP_RETURN_CODE 77)
