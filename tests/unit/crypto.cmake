# SPDX-License-Identifier: MIT
libsec_unit_test(
  crypto
  clock_test.cc
  crc16_test.cc
  havege_test.cc
  kernel_random_test.cc
  sha256_block_test.cc
  sha256_test.cc
  sha256_x86_test.cc
  xtea_buffer_test.cc
  xtea_tables_test.cc
  xtea_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_kernel_random.cc)

find_path(LIBSEC_CRYPTO_HEADERS openssl/evp.h)
if(LIBSEC_CRYPTO AND LIBSEC_CRYPTO_HEADERS)
  target_sources(crypto_test PRIVATE sha256_oracle_test.cc)
  target_include_directories(crypto_test SYSTEM PRIVATE ${LIBSEC_CRYPTO_HEADERS})
  target_link_libraries(crypto_test PRIVATE ${LIBSEC_CRYPTO})
else()
  message(STATUS "crypto_test compares nothing with OpenSSL: libcrypto is missing (Debian package libssl-dev)")
endif()
