# SPDX-License-Identifier: MIT
libsec_unit_test(
  crypto
  clock_test.cc
  crc16_test.cc
  havege_test.cc
  xtea_buffer_test.cc
  xtea_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_kernel_random.cc)
