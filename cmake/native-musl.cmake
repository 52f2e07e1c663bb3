# SPDX-License-Identifier: MIT
# This machine with musl (Debian package musl-tools). What is built runs here: its loader is part of
# the package.
execute_process(COMMAND gcc -dumpmachine OUTPUT_VARIABLE gcc_machine OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX REPLACE "-gnu$" "-musl" musl_machine ${gcc_machine})
set(musl_gcc gcc)
set(musl_specs /usr/lib/${musl_machine}/musl-gcc.specs)
execute_process(COMMAND ${musl_gcc} -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
set(musl_cxx /usr/include/c++/${version} /usr/include/${gcc_machine}/c++/${version})
if(NOT EXISTS ${musl_specs})
  message(FATAL_ERROR "No musl for this machine: ${musl_specs} is missing (Debian package musl-tools)")
endif()
include(${CMAKE_CURRENT_LIST_DIR}/musl.cmake)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR ${gcc_machine})
set(CMAKE_FIND_ROOT_PATH /usr/${musl_machine})
