// SPDX-License-Identifier: MIT
// Every form of the compression function against the standard's wording.
#include "crypto/sha256_block.h"

#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include <algorithm>
#include <random>
#include <vector>

#include "crypto/sha256_arm.h"
#include "crypto/sha256_constants.h"
#include "crypto/sha256_x86.h"
#include "support/plain_sha256.h"

// The library asks this program whether the processor has the instructions.
static bool processor_denied = false;
#if LIBSEC_SHA256_X86
extern "C" bool __real__ZN6libsec16sha256_x86_worksEv();
extern "C" bool __wrap__ZN6libsec16sha256_x86_worksEv();
extern "C" bool __wrap__ZN6libsec16sha256_x86_worksEv() {
  return !processor_denied && __real__ZN6libsec16sha256_x86_worksEv();
}
#elif LIBSEC_SHA256_ARM
extern "C" bool __real__ZN6libsec16sha256_arm_worksEv();
extern "C" bool __wrap__ZN6libsec16sha256_arm_worksEv();
extern "C" bool __wrap__ZN6libsec16sha256_arm_worksEv() {
  return !processor_denied && __real__ZN6libsec16sha256_arm_worksEv();
}
#endif

namespace {

using blocks_function = void (*)(uint32_t *state, const uint8_t *blocks, size_t count);

void compare_with_the_standard(blocks_function compress) {
  std::mt19937 random(1);
  for (size_t i = 0; i < 2000; ++i) {
    const size_t count = i == 0 ? 300 : i % 6, offset = i % 5;
    alignas(16) uint32_t room[8 + 3];
    uint32_t *const state = room + i % 4, expected[8];  // a state stands at any word
    for (size_t k = 0; k < 8; ++k) state[k] = expected[k] = static_cast<uint32_t>(random());
    std::vector<uint8_t> bytes(offset + 64 * count);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
    for (size_t k = 0; k < count; ++k) {
      libsec::test::plain_sha256_block(expected, bytes.data() + offset + 64 * k, libsec::sha256_constants);
    }
    compress(state, bytes.data() + offset, count);
    ASSERT_TRUE(std::equal(state, state + 8, expected)) << count << " blocks";
  }
}

TEST(Sha256Blocks, PlainInstructionsAgreeWithTheStandard) {
  compare_with_the_standard(libsec::sha256_plain_blocks);
}

TEST(Sha256Blocks, TheChosenFormAgreesWithTheStandard) {
  compare_with_the_standard(libsec::sha256_blocks);
}

TEST(Sha256Blocks, APlainFormIsChosenWhereTheProcessorHasNone) {
  processor_denied = true;
  compare_with_the_standard(libsec::sha256_blocks);
  processor_denied = false;
}

TEST(Sha256Blocks, TheProcessorsOwnInstructionsAgreeWithTheStandard) {
#if LIBSEC_SHA256_X86
  if (libsec::sha256_x86_works()) return compare_with_the_standard(libsec::sha256_x86_blocks);
#elif LIBSEC_SHA256_ARM
  if (libsec::sha256_arm_works()) return compare_with_the_standard(libsec::sha256_arm_blocks);
#endif
  GTEST_SKIP() << "this processor has no instructions for SHA-256";
}

}  // namespace
