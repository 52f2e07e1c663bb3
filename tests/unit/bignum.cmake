# SPDX-License-Identifier: MIT
set(bignum_tests
    exp_1024_test.cc
    ifma_radix_test.cc
    montgomery_test.cc
    num_add_test.cc
    num_binary_test.cc
    num_bits_test.cc
    num_compare_test.cc
    num_div_test.cc
    num_exp_mod_test.cc
    num_limits_test.cc
    num_model_basic_test.cc
    num_model_test.cc
    num_mul_test.cc
    num_record_test.cc
    reduced_radix_test.cc
    scoped_num_test.cc)
if(LIBSEC_GMP)
  list(APPEND bignum_tests num_gmp_basic_test.cc num_gmp_exp_test.cc num_gmp_test.cc)
else()
  message(STATUS "The comparison of numbers with GMP is skipped: no GMP (Debian package libgmp-dev)")
endif()
find_path(LIBSEC_CRYPTO_HEADERS openssl/evp.h)
if(LIBSEC_SANITIZE MATCHES "memory")
  message(STATUS "The comparison of numbers with OpenSSL is skipped: MemorySanitizer does not see what OpenSSL writes")
elseif(LIBSEC_CRYPTO AND LIBSEC_CRYPTO_HEADERS)
  list(APPEND bignum_tests num_openssl_test.cc)
else()
  message(STATUS "The comparison of numbers with OpenSSL is skipped: no libcrypto (Debian package libssl-dev)")
endif()
libsec_unit_test(bignum ${bignum_tests})
if(LIBSEC_GMP)
  target_link_libraries(bignum_test PRIVATE ${LIBSEC_GMP})
endif()
if(num_openssl_test.cc IN_LIST bignum_tests)
  target_include_directories(bignum_test SYSTEM PRIVATE ${LIBSEC_CRYPTO_HEADERS})
  target_link_libraries(bignum_test PRIVATE ${LIBSEC_CRYPTO})
endif()
# 20,000 operand sets of either spread natively; fewer where a sanitizer or an emulator makes each slow.
if(LIBSEC_SANITIZE OR CMAKE_CROSSCOMPILING)
  target_compile_definitions(bignum_test PRIVATE LIBSEC_USUAL_SETS=2000)
endif()
# The oracles' side takes most of the time.
foreach(file IN LISTS bignum_tests)
  if(file MATCHES "^num_(gmp|model|openssl|exp_mod)|^exp_1024|^reduced_radix")
    set_source_files_properties(${file} PROPERTIES COMPILE_OPTIONS -O1)
  endif()
endforeach()
# Memory can be made to fail, and what is freed is looked at first: support/heap.cc.
target_sources(bignum_test PRIVATE ../support/heap.cc)
target_link_options(bignum_test PRIVATE -Wl,--wrap=malloc,--wrap=free)
