# SPDX-License-Identifier: MIT
# What `cmake --install` puts in place: the library, its headers, and two ways to find them, a CMake
# package (find_package(libsec), target libsec::sec) and a pkg-config file. Both find the rest of the
# tree from where they lie, so the tree may be moved.
include(CMakePackageConfigHelpers)

target_include_directories(sec INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS sec EXPORT libsec LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/libsec DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/libsec)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/libsec-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES cmake/libsec-config.cmake ${CMAKE_BINARY_DIR}/libsec-config-version.cmake DESTINATION ${package_dir})
install(EXPORT libsec NAMESPACE libsec:: FILE libsec-targets.cmake DESTINATION ${package_dir})

install(FILES docs/man/libsec.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /prefix/${pkgconfig_dir} /prefix)
configure_file(cmake/libsec.pc.in ${CMAKE_BINARY_DIR}/libsec.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/libsec.pc DESTINATION ${pkgconfig_dir})

# systemd's units of the programs that are built.
set(units)
if(TARGET zolt-host)
  list(APPEND units zolt-host.service)
endif()
if(TARGET zolt)
  list(APPEND units zolt-tunnel@.service)
endif()
install(
  CODE "
    set(source \"${CMAKE_SOURCE_DIR}/tools/service\")
    set(scratch \"${CMAKE_BINARY_DIR}/units\")
    set(units \"${units}\")
    set(libdir \"${CMAKE_INSTALL_LIBDIR}\")
    set(bindir \"${CMAKE_INSTALL_BINDIR}\")
    set(sbindir \"${CMAKE_INSTALL_SBINDIR}\")")
install(SCRIPT cmake/install_units.cmake)

# The dissector, where the packaged Wireshark looks for those of the whole machine. It is the management
# station's, as zolt is.
if(TARGET zolt)
  install(FILES wireshark/zolt.lua DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins)
  install(FILES wireshark/README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/zolt RENAME wireshark.md)
endif()
