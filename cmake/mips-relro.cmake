# SPDX-License-Identifier: MIT
# MIPS keeps every address that code uses in the global offset table, and the linker's own script puts
# that table behind what is made read-only after loading. The same script with the table in front of
# the border makes it read-only too; symbols are bound at load time, so nobody writes to it later.

# libsec_relro_script(<variable> <option>): the path of such a script for links with the option, or
# nothing when the linker's script has another form.
function(libsec_relro_script variable option)
  set(${variable} "" PARENT_SCOPE)
  separate_arguments(flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
  execute_process(
    COMMAND ${CMAKE_CXX_COMPILER} ${flags} ${option} -nostdlib -Wl,-z,relro,-z,now,--verbose -x c++ /dev/null -o /dev/null
    OUTPUT_VARIABLE said ERROR_QUIET)
  set(table "  . = .; HIDDEN (_gp = ALIGN (16) + 0x7ff0);\n  .got            : { *(.got) }\n")
  set(border "  . = DATA_SEGMENT_RELRO_END (0, .);\n")
  string(FIND "${said}" "${border}" border_at)
  string(FIND "${said}" "${table}" table_at)
  if(border_at LESS 0 OR table_at LESS border_at)
    message(STATUS "The global offset table stays writable: the linker's script for ${option} has an unknown form")
    return()
  endif()
  # The script stands between two lines of equal signs.
  string(REGEX REPLACE "^.*\n=====+\n(.*)\n=====+\n.*$" "\\1" script "${said}")
  string(REPLACE "${table}" "" script "${script}")
  string(REPLACE "${border}" "${table}${border}" script "${script}")
  set(file ${CMAKE_BINARY_DIR}/cmake/relro${option}.ld)
  file(WRITE ${file} "${script}")
  set(${variable} ${file} PARENT_SCOPE)
endfunction()

libsec_relro_script(libsec_relro_shared -shared)
libsec_relro_script(libsec_relro_pie -pie)
if(libsec_relro_shared AND libsec_relro_pie)
  set(type $<TARGET_PROPERTY:TYPE>)
  target_link_options(
    libsec_device INTERFACE $<$<STREQUAL:${type},SHARED_LIBRARY>:-Wl,-T,${libsec_relro_shared}>
    $<$<STREQUAL:${type},EXECUTABLE>:-Wl,-T,${libsec_relro_pie}>)
else()
  set(LIBSEC_WRITABLE_GOT ON)
endif()
