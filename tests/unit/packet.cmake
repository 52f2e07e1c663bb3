# SPDX-License-Identifier: MIT
libsec_unit_test(
  packet
  codec_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/packets.cc)
