# SPDX-License-Identifier: MIT
# Run by cmake --install: the units name programs by their whole paths, which are known only now, because
# --prefix may have changed them.
#
# install.cmake sets source and scratch (folders), units (names), and libdir, bindir, sbindir below the prefix.
foreach(folder libdir bindir sbindir)
  cmake_path(ABSOLUTE_PATH ${folder} BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
endforeach()
file(READ ${source}/hardening.conf hardening)
string(STRIP "${hardening}" hardening)
foreach(unit IN LISTS units)
  configure_file(${source}/${unit}.in ${scratch}/${unit} @ONLY)
  file(INSTALL ${scratch}/${unit} DESTINATION ${CMAKE_INSTALL_PREFIX}/lib/systemd/system)
endforeach()
