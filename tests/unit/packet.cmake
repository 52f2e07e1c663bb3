# SPDX-License-Identifier: MIT
libsec_unit_test(
  packet
  codec_test.cc
  header_fields_test.cc
  key_fields_test.cc
  layouts_test.cc
  payload_fields_test.cc
  peer_packets_test.cc
  signature_field_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_kernel_random.cc
  ${CMAKE_SOURCE_DIR}/tests/support/heap.cc
  ${CMAKE_SOURCE_DIR}/tests/support/packets.cc)
target_link_options(packet_test PRIVATE -Wl,--wrap=malloc,--wrap=free)

# OpenSSL signs packets that the known answers do not hold.
if(LIBSEC_CRYPTO)
  target_sources(packet_test PRIVATE signature_oracle_test.cc ../support/signer.cc)
  target_link_libraries(packet_test PRIVATE ${LIBSEC_CRYPTO})
else()
  message(STATUS "signature_oracle_test.cc is left out: no OpenSSL libcrypto for this target")
endif()
