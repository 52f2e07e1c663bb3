# SPDX-License-Identifier: MIT
# 32-bit big-endian MIPS Linux with musl, the device's kind: Debian's mips-linux-gnu-gcc and the C
# library that script/musl-sysroot builds.
if(DEFINED ENV{LIBSEC_MUSL_SYSROOT})
  set(sysroot $ENV{LIBSEC_MUSL_SYSROOT})
else()
  cmake_path(SET sysroot NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/cache/mips-musl)
endif()
if(NOT EXISTS ${sysroot}/lib/musl-gcc.specs)
  message(FATAL_ERROR "No musl in ${sysroot}: run script/musl-sysroot first")
endif()
set(musl_gcc mips-linux-gnu-gcc)
set(musl_specs ${sysroot}/lib/musl-gcc.specs)
execute_process(COMMAND ${musl_gcc} -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
set(musl_cxx /usr/mips-linux-gnu/include/c++/${version} /usr/mips-linux-gnu/include/c++/${version}/mips-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/musl.cmake)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_STRIP mips-linux-gnu-strip)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mips -L ${sysroot})
set(CMAKE_FIND_ROOT_PATH ${sysroot})
# See mips-glibc.cmake.
string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,-z,max-page-size=4096")
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-z,max-page-size=4096")
