# SPDX-License-Identifier: MIT
set(bignum_tests
    exp_1024_test.cc
    num_add_test.cc
    num_binary_test.cc
    num_bits_test.cc
    num_compare_test.cc
    num_div_test.cc
    num_exp_mod_test.cc
    num_model_test.cc
    num_mul_test.cc
    num_record_test.cc
    reduced_radix_test.cc
    scoped_num_test.cc)
if(LIBSEC_GMP)
  list(APPEND bignum_tests num_gmp_test.cc)
else()
  message(STATUS "The comparison of numbers with GMP is skipped: no GMP (Debian package libgmp-dev)")
endif()
libsec_unit_test(bignum ${bignum_tests})
if(LIBSEC_GMP)
  target_link_libraries(bignum_test PRIVATE ${LIBSEC_GMP})
endif()
# Memory can be made to fail, and what is freed is looked at first: support/heap.cc.
target_sources(bignum_test PRIVATE ../support/heap.cc)
target_link_options(bignum_test PRIVATE -Wl,--wrap=malloc,--wrap=free)
