# SPDX-License-Identifier: MIT
# What every musl toolchain shares: GCC for glibc is pointed at musl by a specs file, and at its own C++
# headers, which are used without their run-time library. Expects musl_gcc, musl_specs, and the folders
# of the C++ headers in musl_cxx.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${musl_gcc})
# The C driver compiles C++ as well, and links no C++ run-time library.
set(CMAKE_CXX_COMPILER ${musl_gcc})
list(TRANSFORM musl_cxx PREPEND "-isystem ")
string(JOIN " " CMAKE_CXX_FLAGS_INIT "-specs=${musl_specs}" -nostdinc++ "-isystem ${CMAKE_CURRENT_LIST_DIR}/musl-c++"
       ${musl_cxx})
set(CMAKE_C_FLAGS_INIT "-specs=${musl_specs}")
set(CMAKE_EXE_LINKER_FLAGS_INIT -static-libgcc)
# musl's loader knows the older hash tables on every machine; GNU hash tables crash it on MIPS.
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -Wl,--hash-style=sysv")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# GoogleTest needs a C++ run-time library, which is not there.
set(LIBSEC_NO_CXX_RUNTIME ON)
