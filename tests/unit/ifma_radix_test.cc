// SPDX-License-Identifier: MIT
// The choice of the processor's own instructions for products on 52-bit digits.
#include "bignum/ifma_radix.h"

#include <gtest/gtest.h>

#if LIBSEC_IFMA

#include <cpuid.h>

namespace {

// The bits as the processors' makers document them. Without this the instructions could fall out of use, and
// only the clock would tell.
TEST(IfmaRadix, TheInstructionsAreUsedWhereProcessorAndSystemHaveThem) {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0, kept = 0;
  const bool tells = __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx >> 27 & 1) != 0;
  if (tells) asm volatile("xgetbv" : "=a"(kept), "=d"(edx) : "c"(0));
  const bool multiplies =
      __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx >> 16 & 1) != 0 && (ebx >> 21 & 1) != 0;
  EXPECT_EQ(libsec::ifma_works(), (kept & 0xE6) == 0xE6 && multiplies);
  EXPECT_EQ(libsec::ifma_works(), (kept & 0xE6) == 0xE6 && multiplies) << "the answer is kept";
}

}  // namespace

#endif
