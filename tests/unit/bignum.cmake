# SPDX-License-Identifier: MIT
set(bignum_tests num_binary_test.cc num_bits_test.cc num_compare_test.cc num_record_test.cc)
libsec_unit_test(bignum ${bignum_tests})
# Memory can be made to fail, and what is freed is looked at first: support/heap.cc.
target_sources(bignum_test PRIVATE ../support/heap.cc)
target_link_options(bignum_test PRIVATE -Wl,--wrap=malloc,--wrap=free)
