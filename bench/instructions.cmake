# SPDX-License-Identifier: MIT
# The counts of executed instructions: they repeat exactly, so they can be held against ceilings.
find_program(LIBSEC_HOST_CC NAMES gcc cc)
find_program(LIBSEC_QEMU_MIPS qemu-mips)
if(NOT LIBSEC_HOST_CC OR NOT LIBSEC_QEMU_MIPS)
  message(STATUS "Instruction counts are skipped: they need gcc and qemu-mips (Debian packages gcc, qemu-user)")
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

add_executable(mips_regions mips_regions.cc same_chance.cc)
target_link_libraries(mips_regions PRIVATE libsec_flags ${CMAKE_DL_LIBS})
target_include_directories(mips_regions PRIVATE ${CMAKE_SOURCE_DIR}/tests)
set_target_properties(mips_regions PROPERTIES ENABLE_EXPORTS ON RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)

set(count ${CMAKE_CURRENT_SOURCE_DIR}/count_instructions.sh ${CMAKE_FIND_ROOT_PATH} ${plugin}
          $<TARGET_FILE:mips_regions> $<TARGET_FILE:sec>)
add_test(NAME bench.instructions_stay_below_their_ceilings
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_ceilings.sh ${CMAKE_CURRENT_SOURCE_DIR}/ceilings.txt ${count})
add_test(NAME bench.two_runs_count_the_same COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/same_counts.sh ${count})

# What an exponentiation modulo 1024 bits runs through fits half of a small device's instruction cache.
set(objects $<FILTER:$<TARGET_OBJECTS:sec_objects>,INCLUDE,/\(exp_1024\|montgomery\|num_exp_mod\)\\.cc>)
add_test(NAME bench.the_hot_code_of_the_exponentiation_fits
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/hot_code.sh ${CMAKE_NM} 16384 ${objects} COMMAND_EXPAND_LISTS)
