# SPDX-License-Identifier: MIT
include(${CMAKE_SOURCE_DIR}/tests/support/calls.cmake)
libsec_unit_test(
  protocol
  dispatch_test.cc
  encr_test.cc
  lgin_test.cc
  lout_test.cc
  wake_test.cc
  whole_session_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_kernel_random.cc
  ${CMAKE_SOURCE_DIR}/tests/support/loopback.cc
  ${CMAKE_SOURCE_DIR}/tests/support/packets.cc)
target_link_libraries(protocol_test PRIVATE test_calls)
# A loop that polls a clock at rest would never end.
set_tests_properties(unit.protocol PROPERTIES TIMEOUT 120)
target_compile_definitions(protocol_test PRIVATE LIBSEC_VECTORS="${CMAKE_SOURCE_DIR}/tests/vectors")
if(LIBSEC_CRYPTO)
  target_sources(protocol_test PRIVATE exchange_oracle_test.cc ../support/signer.cc)
  target_link_libraries(protocol_test PRIVATE ${LIBSEC_CRYPTO})
else()
  message(STATUS "The key exchange is not tested against OpenSSL: no libcrypto (Debian package libssl-dev)")
endif()
