# SPDX-License-Identifier: MIT
# The counts of executed instructions: they repeat exactly, so they can be held against ceilings.
find_program(LIBSEC_HOST_CC NAMES gcc cc)
find_program(LIBSEC_COUNTING_QEMU qemu-${CMAKE_SYSTEM_PROCESSOR})
if(NOT LIBSEC_HOST_CC OR NOT LIBSEC_COUNTING_QEMU)
  message(STATUS "Instruction counts are skipped: they need gcc and qemu-${CMAKE_SYSTEM_PROCESSOR} (Debian packages gcc, qemu-user)")
  return()
endif()

# The plug-in runs inside the emulator, on this machine.
set(plugin ${CMAKE_BINARY_DIR}/tests/insn_count.so)
add_custom_command(
  OUTPUT ${plugin}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/tests
  COMMAND ${LIBSEC_HOST_CC} -O2 -Wall -Wextra -Werror -shared -fPIC -o ${plugin}
          ${CMAKE_CURRENT_SOURCE_DIR}/insn_count.c
  DEPENDS insn_count.c
  VERBATIM)
add_custom_target(insn_count ALL DEPENDS ${plugin})

list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)

# counting_program(<name> <source>...): a program with regions; <name>_counts is the command that counts them.
function(counting_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE libsec_flags ${CMAKE_DL_LIBS})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  set(${name}_counts ${CMAKE_CURRENT_SOURCE_DIR}/count_instructions.sh ${emulator} ${plugin} $<TARGET_FILE:${name}>
                     $<TARGET_FILE:sec> PARENT_SCOPE)
endfunction()

# The rows that count_peers.sh counts beside other libraries, here of libsec alone.
counting_program(count_rows peers/count.cc peers/rows.cc peers/libsec.cc)
set_source_files_properties(peers/count.cc PROPERTIES COMPILE_DEFINITIONS LIBSEC_PEERS=)
add_test(NAME bench.the_rows_of_the_peers_count_the_same_twice
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/same_counts.sh ${count_rows_counts})
if(NOT CMAKE_SYSTEM_PROCESSOR STREQUAL mips)
  return()
endif()

counting_program(mips_regions mips_regions.cc same_chance.cc)
add_test(NAME bench.instructions_stay_below_their_ceilings
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_ceilings.sh ${CMAKE_CURRENT_SOURCE_DIR}/ceilings.txt
                 ${mips_regions_counts})
add_test(NAME bench.two_runs_count_the_same
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/same_counts.sh ${mips_regions_counts})

# What an exponentiation modulo 1024 bits runs through fits half of a small device's instruction cache.
set(objects $<FILTER:$<TARGET_OBJECTS:sec_objects>,INCLUDE,/\(exp_1024\|montgomery\|num_exp_mod\)\\.cc>)
add_test(NAME bench.the_hot_code_of_the_exponentiation_fits
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/hot_code.sh ${CMAKE_NM} 16384 ${objects} COMMAND_EXPAND_LISTS)
