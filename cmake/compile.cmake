# SPDX-License-Identifier: MIT
# How everything is compiled and linked: two interface targets.

# Our own code: warnings, and the sanitizers of the preset.
add_library(libsec_flags INTERFACE)
target_compile_options(libsec_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                                              $<$<BOOL:${LIBSEC_WERROR}>:-Werror>)
# No path of the machine that builds ends up in what is built.
target_compile_options(libsec_flags INTERFACE -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
target_include_directories(libsec_flags INTERFACE ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/src)
if(LIBSEC_TRAP_UNDEFINED)
  # Without a run-time library, so for every target: what is undefined ends in a trap. Null pointers
  # trap by themselves; with their checks GCC no longer takes a function's address for a constant.
  target_compile_options(libsec_flags INTERFACE -fsanitize=undefined -fsanitize-undefined-trap-on-error
                                                -fno-sanitize=null,nonnull-attribute,returns-nonnull-attribute)
  target_compile_definitions(libsec_flags INTERFACE LIBSEC_TRAP_UNDEFINED)
endif()
if(LIBSEC_SANITIZE)
  add_compile_options(-fsanitize=${LIBSEC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${LIBSEC_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # The check of a called function's type needs run-time type information, which the library goes without.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=function>)
  endif()
  if(LIBSEC_SANITIZE MATCHES "memory")
    add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-include ${CMAKE_SOURCE_DIR}/tests/support/msan/templates.h>")
  endif()
endif()

if(LIBSEC_COVERAGE)
  # The tests as well: of an inline function that both use, the linker keeps one copy only.
  target_compile_options(libsec_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fprofile-instr-generate> $<$<COMPILE_LANGUAGE:CXX>:-fcoverage-mapping>)
  add_link_options(-fprofile-instr-generate)
endif()

if(LIBSEC_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()

# What runs on the device: C++ without its run-time library, linked with the C library alone.
# Exported names are chosen in the headers; everything else is hidden.
add_library(libsec_device INTERFACE)
target_link_libraries(libsec_device INTERFACE libsec_flags)
target_compile_options(
  libsec_device INTERFACE -fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden -fstack-protector-strong
                          -ffunction-sections -fdata-sections)
target_link_options(libsec_device INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack -Wl,--gc-sections -Wl,--build-id=none)
if(NOT LIBSEC_SANITIZE AND NOT LIBSEC_COVERAGE)
  # Sanitizers and counters bring a run-time library of their own, which needs the default ones.
  target_link_options(libsec_device INTERFACE -nodefaultlibs)
  if(LIBSEC_GUARD_IN_LOADER)
    # On some machines glibc keeps the guard word of the stack protector in its loader, and the linker
    # would record the loader as a second needed library. Every process has it: naming libc.so.6 alone
    # and leaving that word to the loader gives the same, and libsec_check_linked() sees to it that
    # nothing else is left.
    target_link_libraries(libsec_device INTERFACE gcc -Wl,-z,undefs,--unresolved-symbols=ignore-all -l:libc.so.6 gcc)
  else()
    target_link_options(libsec_device INTERFACE -Wl,-z,defs)
    target_link_libraries(libsec_device INTERFACE gcc c gcc)
  endif()
endif()

if(CMAKE_SYSTEM_PROCESSOR STREQUAL mips)
  include(${CMAKE_CURRENT_LIST_DIR}/mips-relro.cmake)
endif()

# libsec_check_linked(<target> <undefined list> [<list of exports>]) looks at the file after each link:
# what it needs, leaves undefined and exports, and that its memory is locked down. A file that fails is
# not left behind. Sanitizers and counters need more than a device has, so their builds are exempt.
function(libsec_check_linked target undefined)
  if(LIBSEC_SANITIZE OR LIBSEC_COVERAGE)
    return()
  endif()
  list(TRANSFORM ARGN PREPEND ${CMAKE_SOURCE_DIR}/abi/)
  add_custom_command(
    TARGET ${target}
    POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E env WRITABLE_GOT=$<BOOL:${LIBSEC_WRITABLE_GOT}> sh ${CMAKE_SOURCE_DIR}/cmake/check_linked.sh ${CMAKE_READELF} $<TARGET_FILE:${target}>
            ${CMAKE_SOURCE_DIR}/abi/${undefined} ${ARGN}
    VERBATIM)
endfunction()
