# SPDX-License-Identifier: Apache-2.0
# Installation, the CMake package, pkg-config and the Debian packages.
#
# `cmake --install` lays out the usual tree: bin/vexil and bin/vexil-plot, the versioned
# lib/libperflib.so with its SONAME link and development link, the public headers under include/,
# the CMake package under lib/cmake/perflib, lib/pkgconfig/perflib.pc, the gzipped manual pages
# under share/man/man1, the bash completions under share/bash-completion/completions and the
# example unit file share/doc/vexil/examples/vexil.service. Nothing installed records the build tree or the configure-time prefix, so the same build installs correctly into
# any prefix given to `cmake --install --prefix` and into the Debian packages built by CPack.
#
# Every file belongs to one of three install components, one Debian package each, split as Debian
# splits a library and its users: `library` (libperflib8: the shared library and its SONAME link),
# `development` (libperflib-dev: headers, CMake package, pkg-config file, the unversioned link) and
# `programs` (vexil: the two programs with their manual pages, completions and example unit).
# What only a Debian package carries (the system user of the example unit, each package's
# copyright file and Debian changelog, lintian overrides) is EXCLUDE_FROM_ALL: CPack installs it
# component by component, a plain `cmake --install` leaves it out.
include(CMakePackageConfigHelpers)

set(PERFLIB_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/perflib")

# vexil and vexil-plot find libperflib relative to themselves, so a private prefix needs no
# LD_LIBRARY_PATH and a system prefix needs no ldconfig run before the first start.
file(RELATIVE_PATH vexil_to_libdir "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set_target_properties(vexil vexil_plot PROPERTIES INSTALL_RPATH "$ORIGIN/${vexil_to_libdir}")

install(TARGETS vexil vexil_plot RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT programs)
install(TARGETS perflib EXPORT perflibTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT library)
# The chief header `perflib`, the per-concept headers it includes and the legacy C header.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/perflib/include/"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
# The manual pages are installed compressed, as Debian policy asks (-n: no name or time stamp in
# the header, so the same source gives the same bytes).
function(vexil_gzip source target)
  add_custom_command(OUTPUT "${target}"
    COMMAND sh -c [[gzip -9n -c "$0" >"$1"]] "${source}" "${target}"
    DEPENDS "${source}" VERBATIM)
endfunction()
set(vexil_man_pages "")
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/man")
foreach(page vexil.1 vexil-plot.1)
  vexil_gzip("${PROJECT_SOURCE_DIR}/docs/${page}" "${PROJECT_BINARY_DIR}/man/${page}.gz")
  list(APPEND vexil_man_pages "${PROJECT_BINARY_DIR}/man/${page}.gz")
endforeach()
add_custom_target(man_pages ALL DEPENDS ${vexil_man_pages})
install(FILES ${vexil_man_pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT programs)
# bash-completion loads a command's completion from a file named after the command.
install(FILES "${PROJECT_SOURCE_DIR}/completions/vexil" "${PROJECT_SOURCE_DIR}/completions/vexil-plot"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT programs)
# An example unit file for running vexil -t as a service, and, in the package, its system user:
# systemd-sysusers reads lib/sysusers.d (not the multiarch library directory), where the
# package's postinst finds it.
install(FILES "${PROJECT_SOURCE_DIR}/examples/systemd/vexil.service"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT programs)
# A scrape configuration and alerting rules for --metrics-listen, with the rules' unit tests.
install(FILES "${PROJECT_SOURCE_DIR}/examples/prometheus/prometheus.yml"
  "${PROJECT_SOURCE_DIR}/examples/prometheus/vexil.rules.yml"
  "${PROJECT_SOURCE_DIR}/examples/prometheus/vexil.rules.test.yml"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples/prometheus" COMPONENT programs)
install(FILES "${PROJECT_SOURCE_DIR}/examples/systemd/vexil.sysusers"
  DESTINATION lib/sysusers.d RENAME vexil.conf COMPONENT programs EXCLUDE_FROM_ALL)

# find_package(perflib) and perflib::perflib.
install(EXPORT perflibTargets NAMESPACE perflib:: DESTINATION "${PERFLIB_CMAKE_DIR}"
  COMPONENT development)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/perflibConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/perflibConfig.cmake"
  INSTALL_DESTINATION "${PERFLIB_CMAKE_DIR}")
# The library keeps its binary interface within a major version (the SONAME carries it).
write_basic_package_version_file("${PROJECT_BINARY_DIR}/perflibConfigVersion.cmake"
  VERSION "${PROJECT_VERSION}" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/perflibConfig.cmake"
  "${PROJECT_BINARY_DIR}/perflibConfigVersion.cmake" DESTINATION "${PERFLIB_CMAKE_DIR}"
  COMPONENT development)

# perflib.pc names its prefix literally (pkg-config users expect prefix=/usr, not a path relative
# to the .pc file), so it is written at install time, when the real prefix is known.
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(perflib_pc_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(perflib_pc_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
set(perflib_pc_staged "${PROJECT_BINARY_DIR}/pkgconfig/perflib.pc")
install(CODE "
  set(PERFLIB_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(PERFLIB_PC_LIBDIR [[${perflib_pc_LIBDIR}]])
  set(PERFLIB_PC_INCLUDEDIR [[${perflib_pc_INCLUDEDIR}]])
  set(PERFLIB_PC_VERSION [[${PROJECT_VERSION}]])
  configure_file([[${PROJECT_SOURCE_DIR}/cmake/perflib.pc.in]] [[${perflib_pc_staged}]] @ONLY)
" COMPONENT development)
install(FILES "${perflib_pc_staged}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)

# The Debian packages: `cpack` in the build directory writes libperflib8_<version>_<arch>.deb,
# libperflib-dev_<version>_<arch>.deb and vexil_<version>_<arch>.deb.
set(vexil_deb_packages library libperflib${PROJECT_VERSION_MAJOR} development libperflib-dev
  programs vexil)
set(vexil_deb_version "${PROJECT_VERSION}-1")
set(vexil_maintainer "vexil developers <vexil@example.org>")
# Each package's documentation directory holds the copyright file and the Debian changelog.
configure_file("${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in" "${PROJECT_BINARY_DIR}/debian/changelog"
  @ONLY)
vexil_gzip("${PROJECT_BINARY_DIR}/debian/changelog" "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz")
add_custom_target(debian_changelog ALL DEPENDS "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz")
while(vexil_deb_packages)
  list(POP_FRONT vexil_deb_packages component package)
  string(TOUPPER "${component}" COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME "${package}")
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/debian/copyright"
    "${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component} EXCLUDE_FROM_ALL)
  # The packages are not uploaded to the Debian archive, so there is no bug that their first
  # changelog entry could close.
  file(WRITE "${PROJECT_BINARY_DIR}/debian/overrides/${package}"
    "# Not uploaded to the Debian archive: there is no bug the first upload could close.\n"
    "${package}: initial-upload-closes-no-bugs\n")
  install(FILES "${PROJECT_BINARY_DIR}/debian/overrides/${package}"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT ${component}
    EXCLUDE_FROM_ALL)
endwhile()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development programs)
set(CPACK_PACKAGE_NAME vexil)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGE_CONTACT "${vexil_maintainer}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${vexil_maintainer}")
set(CPACK_DEBIAN_PACKAGE_SOURCE vexil)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://vexil.example.org/")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
# Mode 0755 for the maintainer scripts whatever the checkout gave them.
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
find_program(VEXIL_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(VEXIL_DPKG_SHLIBDEPS)
if(VEXIL_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "performance statistics library of the vexil tools
perflib reads the periodic statistics logs that packet-inspection engine
instances write: fields and their kinds, column layouts, records and their
accumulation over time and across instances, derived columns, a log reader
for plain and compressed files, and a legacy C interface with text reports.
.
This package holds the shared library.")
# The shlibs file of the library package (only it holds a shared library), and the ldconfig
# trigger that goes with a shared library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# And its symbols file, recorded with the binary interface (perflib/abi, ./dev abi): a package
# built against perflib depends on the release that brought the newest symbol it uses.
configure_file("${PROJECT_SOURCE_DIR}/perflib/abi/libperflib${PROJECT_VERSION_MAJOR}.symbols"
  "${PROJECT_BINARY_DIR}/debian/library/symbols" COPYONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/library/symbols")
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/debian/ldconfig_trigger.cmake")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "performance statistics library of the vexil tools (development files)
perflib reads the periodic statistics logs that packet-inspection engine
instances write: fields and their kinds, column layouts, records and their
accumulation over time and across instances, derived columns, a log reader
for plain and compressed files, and a legacy C interface with text reports.
.
This package holds the C++ and C headers, the CMake package and the
pkg-config file.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libperflib${PROJECT_VERSION_MAJOR} (= ${vexil_deb_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "merge the performance statistics logs of several engine instances
vexil reads the periodic statistics logs that packet-inspection engine
instances write, one CSV line per sample, and merges them into one CSV line
per time bucket, from finished or compressed files or following live logs;
vexil-plot draws the merged statistics as charts with gnuplot.")
# dpkg-shlibdeps finds libperflib in the build tree, and the dependency on it is named here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/perflib")
# libmicrohttpd serves --metrics-listen; named here too, for a build without dpkg-shlibdeps.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS
  "libperflib${PROJECT_VERSION_MAJOR} (= ${vexil_deb_version}), libmicrohttpd12")
# vexil-plot draws with gnuplot (without it vexil-plot says how to install it); the completions
# use the helpers of bash-completion.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS "gnuplot-nox, bash-completion")
# postinst makes the system user of the example unit.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/postinst")
include(CPack)
