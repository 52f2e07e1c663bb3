// SPDX-License-Identifier: MIT
// The choice of an Arm processor's own instructions for SHA-256.
#include "crypto/sha256_arm.h"

#include <gtest/gtest.h>

#if LIBSEC_SHA256_ARM

#include <fstream>

namespace {

// The word as the kernel hands it to the process: entry 16 of the auxiliary vector, in which bit 6 stands for
// SHA-256. Without this the instructions could fall out of use, and only the clock would tell.
TEST(Sha256Arm, TheInstructionsAreUsedWhereTheKernelOffersThem) {
  std::ifstream file("/proc/self/auxv", std::ios::binary);
  uint64_t entry[2] = {}, offered = 0;
  while (file.read(reinterpret_cast<char *>(entry), sizeof entry)) {
    if (entry[0] == 16) offered = entry[1];
  }
  ASSERT_NE(offered, 0U) << "the vector names no instructions at all";
  EXPECT_EQ(libsec::sha256_arm_works(), (offered >> 6 & 1) != 0);
  EXPECT_EQ(libsec::sha256_arm_works(), (offered >> 6 & 1) != 0) << "the answer is kept";
}

}  // namespace

#endif
