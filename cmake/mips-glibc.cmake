# SPDX-License-Identifier: MIT
# 32-bit big-endian MIPS Linux with the GNU C library: Debian's g++-mips-linux-gnu and qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mips -L /usr/mips-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/mips-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# A page of 4 KiB suits every small device; the linker's default of 64 KiB makes the file grow
# sevenfold.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-z,max-page-size=4096")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-z,max-page-size=4096")
# The stack protector's guard word lives in ld.so.1 here.
set(LIBSEC_GUARD_IN_LOADER ON)
