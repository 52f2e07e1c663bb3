// SPDX-License-Identifier: MIT
// The choice of the processor's own instructions for SHA-256.
#include "crypto/sha256_x86.h"

#include <gtest/gtest.h>

#if LIBSEC_SHA256_X86

#include <cpuid.h>

namespace {

// The bits as the processors' makers document them. Without this the instructions could fall out of use, and
// only the clock would tell.
TEST(Sha256X86, TheInstructionsAreUsedWhereTheProcessorHasThem) {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  const bool shuffles = __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx >> 9 & 1) != 0 && (ecx >> 19 & 1) != 0;
  const bool hashes = __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx >> 29 & 1) != 0;
  EXPECT_EQ(libsec::sha256_x86_works(), shuffles && hashes);
  EXPECT_EQ(libsec::sha256_x86_works(), shuffles && hashes) << "the answer is kept";
}

}  // namespace

#endif
