// SPDX-License-Identifier: MIT
// Digests that stand here without a source in the name were computed with OpenSSL.
#include <gtest/gtest.h>
#include <libsec/crypto.h>
#include <sys/mman.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "crypto/sha256_x86.h"

namespace {

using bytes = std::vector<uint8_t>;

std::string hex(const uint8_t *data, size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text += "0123456789abcdef"[data[i] >> 4];
    text += "0123456789abcdef"[data[i] & 15];
  }
  return text;
}

bytes digest_of(const bytes &message) {
  bytes digest(32);
  sha256(message.data(), static_cast<uint32_t>(message.size()), digest.data());
  return digest;
}

std::string digest_text(const bytes &message) {
  return hex(digest_of(message).data(), 32);
}

std::string digest_text(const std::string &message) {
  return digest_text(bytes(message.begin(), message.end()));
}

// The message whose byte i is 7 i + 3.
bytes pattern(size_t length) {
  bytes message(length);
  for (size_t i = 0; i < length; ++i) message[i] = static_cast<uint8_t>(7 * i + 3);
  return message;
}

// A stream that holds `message`, read from `position` on.
std::string file_digest_text(const bytes &message, long position = 0) {
  FILE *stream = std::tmpfile();
  EXPECT_NE(stream, nullptr);
  EXPECT_EQ(std::fwrite(message.data(), 1, message.size(), stream), message.size());
  EXPECT_EQ(std::fseek(stream, position, SEEK_SET), 0);
  std::array<uint8_t, 32> digest;
  sha256_file(stream, digest.data());
  EXPECT_EQ(std::fclose(stream), 0);  // still open: it stays the caller's
  return hex(digest.data(), 32);
}

constexpr char empty_digest[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

TEST(Sha256, TheEmptyMessage) {
  std::array<uint8_t, 32> digest;
  sha256(nullptr, 0, digest.data());
  EXPECT_EQ(hex(digest.data(), 32), empty_digest);
}

TEST(Sha256, TheExamplesOfTheStandard) {
  EXPECT_EQ(digest_text(std::string("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(digest_text(std::string("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(digest_text(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256, FiftyFiveBytesEndInOneBlockAndFiftySixNeedASecond) {
  EXPECT_EQ(digest_text(pattern(55)), "e7313d333c272e639f790978283f9eb392e843d0f29b7016828bb1daa4aac70b");
  EXPECT_EQ(digest_text(pattern(56)), "4324d65f3c103567f5589c710bc08f8523f929a9272e3af36fc968e52abc6c27");
}

TEST(Sha256, SixtyThreeAndSixtyFourBytesStandAroundTheWholeBlock) {
  EXPECT_EQ(digest_text(pattern(63)), "81c80242132f230c3bd41b3e63bbcff16107339549214a99614ff26664625055");
  EXPECT_EQ(digest_text(pattern(64)), "39e3d7b6b5d075d37d053ad89b24b41bef4f3c29760c84447cab3f3be1882241");
  EXPECT_EQ(digest_text(pattern(65)), "aacca6ff74fdbb296d165a45cecfa04e5127bc008770fbbdd48006f2d2fae95e");
}

TEST(Sha256, EveryLengthUpTo512) {
  bytes all;
  for (size_t length = 0; length <= 512; ++length) {
    const bytes digest = digest_of(pattern(length));
    for (const uint8_t byte : digest) all.push_back(byte);
  }
  EXPECT_EQ(digest_text(all), "937f2ba6c9fdc0ee96a3b9ad52ab2ddb7c0af8d9f69ed197c4aa88bc46ae2c92");
}

TEST(Sha256, LongMessages) {
  EXPECT_EQ(digest_text(pattern(282)), "289b6fe4e019c730dbb31421ca1ef4e459507d5e995def4eb1c042c33dd0c4f7");
  EXPECT_EQ(digest_text(pattern(412)), "6d8f8899caa71c628386af20a59d49f7f7dbc293c428377e98e8f6e5b06ceddb");
  EXPECT_EQ(digest_text(pattern(40000)), "58d781cc597bca703812517d600f71acae3a22beb8ef6759384281a860d037eb");
}

// The bit length ends modulo 2^32. What else can hash 2 GiB takes too long.
TEST(Sha256, TwoGibibytesAndAByteEndWithALengthOfEightBits) {
#if LIBSEC_SHA256_X86
  if (libsec::sha256_x86_works()) {
    constexpr uint32_t length = 0x80000001;
    void *const zeros = mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    std::array<uint8_t, 32> digest;
    sha256(static_cast<const uint8_t *>(zeros), length, digest.data());
    munmap(zeros, length);
    EXPECT_EQ(hex(digest.data(), 32), "984127f6e562ac1482f142dc0f31ef516aeb449214e0d1cb576428ca44bdc409");
    return;
  }
#endif
  GTEST_SKIP() << "this processor has no instructions for SHA-256";
}

TEST(Sha256, TheMonteCarloChain) {
  // Each seed leads through 1000 digests, each over the three before it, to the next seed.
  bytes seed(32);
  std::iota(seed.begin(), seed.end(), uint8_t{0});
  for (const char *expected : {"0d0a4b6dc0ba9a5e7089a00eb0042f465641fa860944bcb074a88d76e8df7893",
                               "88cb2447640f5a4e7684eb7d06fe8a6ec175b492114bb88c7ab489d5eefd1bd9",
                               "1deadaf3ae7e06c457a072cc1fe8aa23e956ecccdb912b43f7dd59cc6c0ebdda",
                               "74462d9146265c1f3a240d2ba0079dd1bb62886fda4b2dba7f93ccb4eaa9269f"}) {
    bytes last[3] = {seed, seed, seed};
    for (int i = 0; i < 1000; ++i) {
      bytes message;
      for (const bytes &digest : last) message.insert(message.end(), digest.begin(), digest.end());
      last[0] = last[1];
      last[1] = last[2];
      last[2] = digest_of(message);
    }
    seed = last[2];
    EXPECT_EQ(hex(seed.data(), 32), expected);
  }
}

TEST(Sha256, AMessageMayStandAtAnyAddress) {
  for (size_t offset = 0; offset < 8; ++offset) {
    bytes shifted(offset);
    const bytes message = pattern(200);
    for (const uint8_t byte : message) shifted.push_back(byte);
    std::array<uint8_t, 33> digest;
    sha256(shifted.data() + offset, 200, &digest[1]);
    EXPECT_EQ(hex(&digest[1], 32), digest_text(message)) << offset;
  }
}

TEST(Sha256, InitLoadsTheHashAndLeavesTheBuffer) {
  sha256_context context;
  std::memset(&context, 0xA5, sizeof context);
  sha256_init(&context);
  EXPECT_EQ(context.state[0], 0x6a09e667u);
  EXPECT_EQ(context.state[7], 0x5be0cd19u);
  EXPECT_EQ(context.bit_count_low, 0u);
  EXPECT_EQ(context.bit_count_high, 0u);
  EXPECT_EQ(context.block_count, 0u);
  EXPECT_EQ(context.tail_length, 0u);
  for (const uint8_t byte : context.buffer) EXPECT_EQ(byte, 0xA5);
}

TEST(Sha256, ProcessCompressesOneBlockAndCountsNothing) {
  sha256_context context;
  std::memset(&context, 0xA5, sizeof context);
  sha256_init(&context);
  const sha256_context before = context;
  uint8_t block[65] = {0, 'a', 'b', 'c', 0x80};  // "abc" with its padding, at an odd address
  block[64] = 24;
  sha256_process(&context, block + 1);
  EXPECT_EQ(context.state[0], 0xba7816bfu);
  EXPECT_EQ(context.state[7], 0xf20015adu);
  EXPECT_EQ(context.bit_count_low, 0u);
  EXPECT_EQ(context.block_count, 0u);
  EXPECT_EQ(context.tail_length, 0u);
  EXPECT_EQ(std::memcmp(context.buffer, before.buffer, sizeof before.buffer), 0);
}

TEST(Sha256File, GivesTheDigestOfTheSameBytes) {
  for (const size_t length : {0u, 1u, 55u, 56u, 63u, 64u, 65u, 128u, 282u, 5000u}) {
    EXPECT_EQ(file_digest_text(pattern(length)), digest_text(pattern(length))) << length;
  }
}

TEST(Sha256File, AStreamAtItsEndIsTheEmptyMessage) {
  EXPECT_EQ(file_digest_text(pattern(100), 100), empty_digest);
}

TEST(Sha256File, TakesWhatIsLeftOfTheStream) {
  const bytes message = pattern(300);
  EXPECT_EQ(file_digest_text(message, 130), digest_text(bytes(message.begin() + 130, message.end())));
}

TEST(Sha256File, AReadErrorEndsTheInput) {
  FILE *stream = std::fopen("/dev/null", "w");  // cannot be read from
  ASSERT_NE(stream, nullptr);
  std::array<uint8_t, 32> digest;
  sha256_file(stream, digest.data());
  EXPECT_EQ(hex(digest.data(), 32), empty_digest);
  std::fclose(stream);
}

TEST(Sha256Record, IsLaidOutAsDocumented) {
  EXPECT_EQ(offsetof(sha256_context, state), 0u);
  EXPECT_EQ(offsetof(sha256_context, bit_count_low), 32u);
  EXPECT_EQ(offsetof(sha256_context, bit_count_high), 36u);
  EXPECT_EQ(offsetof(sha256_context, block_count), 40u);
  EXPECT_EQ(offsetof(sha256_context, tail_length), 44u);
  EXPECT_EQ(offsetof(sha256_context, buffer), 48u);
  EXPECT_EQ(sizeof(sha256_context), 112u);
}

}  // namespace
