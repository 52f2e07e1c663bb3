# SPDX-License-Identifier: MIT
include(${CMAKE_SOURCE_DIR}/tests/support/calls.cmake)
libsec_unit_test(
  transport
  context_test.cc
  gather_test.cc
  receive_test.cc
  send_test.cc
  sockets_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/loopback.cc
  ${CMAKE_SOURCE_DIR}/tests/support/packets.cc
  ${CMAKE_SOURCE_DIR}/tests/support/private_network.cc)
target_link_libraries(transport_test PRIVATE test_calls)
# A loop that polls a clock at rest would never end.
set_tests_properties(unit.transport PROPERTIES TIMEOUT 120)
