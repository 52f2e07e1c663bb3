# SPDX-License-Identifier: MIT
libsec_unit_test(
  crypto
  bytes_test.cc
  clock_test.cc
  crc16_test.cc
  havege_test.cc
  kernel_random_test.cc
  processor_test.cc
  sha256_arm_test.cc
  sha256_block_test.cc
  sha256_nist_test.cc
  sha256_test.cc
  sha256_x86_test.cc
  xtea_buffer_test.cc
  xtea_tables_test.cc
  xtea_test.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_clock.cc
  ${CMAKE_SOURCE_DIR}/tests/support/fake_kernel_random.cc)
target_compile_definitions(crypto_test PRIVATE LIBSEC_VECTORS="${CMAKE_SOURCE_DIR}/tests/vectors")
# sha256_block_test.cc lets the library believe that the processor lacks the instructions.
target_link_options(crypto_test PRIVATE LINKER:--wrap=_ZN6libsec16sha256_x86_worksEv
                                        LINKER:--wrap=_ZN6libsec16sha256_arm_worksEv)

find_path(LIBSEC_CRYPTO_HEADERS openssl/evp.h)
if(LIBSEC_CRYPTO AND LIBSEC_CRYPTO_HEADERS)
  target_sources(crypto_test PRIVATE sha256_oracle_test.cc)
  target_include_directories(crypto_test SYSTEM PRIVATE ${LIBSEC_CRYPTO_HEADERS})
  target_link_libraries(crypto_test PRIVATE ${LIBSEC_CRYPTO})
else()
  message(STATUS "crypto_test compares nothing with OpenSSL: libcrypto is missing (Debian package libssl-dev)")
endif()

find_library(LIBSEC_TOMCRYPT tomcrypt)
find_path(LIBSEC_TOMCRYPT_HEADERS tomcrypt.h)
if(LIBSEC_TOMCRYPT AND LIBSEC_TOMCRYPT_HEADERS)
  target_sources(crypto_test PRIVATE xtea_oracle_test.cc)
  target_include_directories(crypto_test SYSTEM PRIVATE ${LIBSEC_TOMCRYPT_HEADERS})
  target_link_libraries(crypto_test PRIVATE ${LIBSEC_TOMCRYPT})
else()
  message(STATUS "crypto_test compares nothing with libtomcrypt: it is missing (Debian package libtomcrypt-dev)")
endif()
