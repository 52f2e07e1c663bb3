# SPDX-License-Identifier: MIT
libsec_unit_test(
  session
  key_file_test.cc
  records_test.cc
  secrets_test.cc
  states_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_kernel_random.cc
  ${CMAKE_SOURCE_DIR}/tests/support/heap.cc
  ${CMAKE_SOURCE_DIR}/tests/support/packets.cc)
target_link_options(session_test PRIVATE -Wl,--wrap=malloc,--wrap=free)
