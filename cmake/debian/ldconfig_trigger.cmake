# SPDX-License-Identifier: Apache-2.0
# Run by cpack after it has built the packages: the library package refreshes the linker cache
# through dpkg's ldconfig trigger, as Debian asks, instead of the postinst and postrm that CPack
# writes to call ldconfig (CPack writes them for any package holding a shared library in
# /usr/lib). The package is unpacked, its two scripts replaced by a triggers file, and packed again.
foreach(deb IN LISTS CPACK_PACKAGE_FILES)
  get_filename_component(name "${deb}" NAME)
  if(NOT name MATCHES "^libperflib[0-9]+_")
    continue()
  endif()
  set(tree "${CPACK_TOPLEVEL_DIRECTORY}/ldconfig_trigger")
  file(REMOVE_RECURSE "${tree}")
  execute_process(COMMAND dpkg-deb -R "${deb}" "${tree}" COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE "${tree}/DEBIAN/postinst" "${tree}/DEBIAN/postrm")
  file(WRITE "${tree}/DEBIAN/triggers" "activate-noawait ldconfig\n")
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz -b "${tree}" "${deb}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE "${tree}")
endforeach()
