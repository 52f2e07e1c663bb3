// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "support/msan/memory.h"

namespace {

using digest = std::array<uint8_t, 32>;

TEST(Sha256Oracle, RandomMessagesOfRandomLengthsAgreeWithOpenssl) {
  std::mt19937 random(1);
  for (int i = 0; i < 3000; ++i) {
    std::vector<uint8_t> message(random() % (i % 10 == 0 ? 5000 : 300));
    for (uint8_t &byte : message) byte = static_cast<uint8_t>(random());
    digest ours, theirs;
    sha256(message.data(), static_cast<uint32_t>(message.size()), ours.data());
    {
      const libsec::test::other_library openssl;
      ASSERT_EQ(EVP_Digest(message.data(), message.size(), theirs.data(), nullptr, EVP_sha256(), nullptr), 1);
      libsec::test::other_library::wrote(theirs.data(), theirs.size());
    }
    ASSERT_EQ(ours, theirs) << message.size() << " bytes";
  }
}

}  // namespace
