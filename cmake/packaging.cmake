# Installation, the CMake package, pkg-config and the Debian package.
#
# `cmake --install` lays out the usual tree: bin/vexil and bin/vexil-plot, the versioned
# lib/libperflib.so with its SONAME link and development link, the public headers under include/,
# the CMake package under lib/cmake/perflib, lib/pkgconfig/perflib.pc, the manual pages under
# share/man/man1, the bash completions under share/bash-completion/completions and the example
# unit file share/doc/vexil/examples/vexil.service with the system user it runs as,
# lib/sysusers.d/vexil.conf. Nothing installed
# records the build tree or the configure-time prefix, so the same build installs correctly into
# any prefix given to `cmake --install --prefix` and into the Debian package built by CPack.
include(CMakePackageConfigHelpers)

set(PERFLIB_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/perflib")

# vexil and vexil-plot find libperflib relative to themselves, so a private prefix needs no
# LD_LIBRARY_PATH and a system prefix needs no ldconfig run before the first start.
file(RELATIVE_PATH vexil_to_libdir "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set_target_properties(vexil vexil_plot PROPERTIES INSTALL_RPATH "$ORIGIN/${vexil_to_libdir}")

install(TARGETS vexil vexil_plot RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS perflib EXPORT perflibTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
# The chief header `perflib`, the per-concept headers it includes and the legacy C header.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/perflib/include/"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES "${PROJECT_SOURCE_DIR}/docs/vexil.1" "${PROJECT_SOURCE_DIR}/docs/vexil-plot.1"
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
# bash-completion loads a command's completion from a file named after the command.
install(FILES "${PROJECT_SOURCE_DIR}/completions/vexil" "${PROJECT_SOURCE_DIR}/completions/vexil-plot"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
# An example unit file for running vexil -t as a service, and its system user: systemd-sysusers
# reads lib/sysusers.d (not the multiarch library directory), where the package's postinst finds
# it.
install(FILES "${PROJECT_SOURCE_DIR}/examples/systemd/vexil.service"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")
install(FILES "${PROJECT_SOURCE_DIR}/examples/systemd/vexil.sysusers"
  DESTINATION lib/sysusers.d RENAME vexil.conf)

# find_package(perflib) and perflib::perflib.
install(EXPORT perflibTargets NAMESPACE perflib:: DESTINATION "${PERFLIB_CMAKE_DIR}")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/perflibConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/perflibConfig.cmake"
  INSTALL_DESTINATION "${PERFLIB_CMAKE_DIR}")
# The library keeps its binary interface within a major version (the SONAME carries it).
write_basic_package_version_file("${PROJECT_BINARY_DIR}/perflibConfigVersion.cmake"
  VERSION "${PROJECT_VERSION}" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/perflibConfig.cmake"
  "${PROJECT_BINARY_DIR}/perflibConfigVersion.cmake" DESTINATION "${PERFLIB_CMAKE_DIR}")

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
")
install(FILES "${perflib_pc_staged}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# The Debian package: `cpack` in the build directory writes vexil_<version>_<arch>.deb.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vexil)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "vexil developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "merge the performance statistics logs of several engine instances")
set(CPACK_PACKAGE_DESCRIPTION
  "vexil reads the periodic statistics logs that packet-inspection engine
instances write, one CSV line per sample, and merges them into one CSV line
per time bucket; vexil-plot draws the merged statistics as charts with
gnuplot. The package also holds perflib, the statistics library underneath
them, with its headers, CMake package and pkg-config file.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "vexil developers")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
# vexil-plot draws with gnuplot; without it vexil-plot says how to install it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS gnuplot-nox)
# The shlibs file and the ldconfig trigger that go with a shared library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# postinst makes the system user of the example unit (and runs ldconfig); mode 0755 whatever the
# checkout gave it.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/postinst")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
find_program(VEXIL_DPKG_SHLIBDEPS dpkg-shlibdeps)
mark_as_advanced(VEXIL_DPKG_SHLIBDEPS)
if(VEXIL_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  # Without dpkg-dev the runtime libraries are named by hand.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6, libisal2, libzstd1, liblzma5, libsystemd0")
endif()
include(CPack)
