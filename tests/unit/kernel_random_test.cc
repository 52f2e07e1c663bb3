// SPDX-License-Identifier: MIT
// The kernel's randomness as it may come: in pieces, interrupted, not at all, and from a device that is none.
#include "crypto/kernel_random.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "support/fake_kernel_random.h"

namespace {

using libsec::kernel_random;

constexpr size_t some = 100;
constexpr uint8_t from_getrandom = 0x11;

size_t given = 0;
bool interrupted = false;

ssize_t give(uint8_t *bytes, size_t length) {
  std::fill_n(bytes, length, from_getrandom);
  given += length;
  return static_cast<ssize_t>(length);
}

ssize_t fail(int error) {
  errno = error;
  return -1;
}

// Seven bytes at most, and a signal before each piece.
ssize_t in_pieces(uint8_t *bytes, size_t length) {
  interrupted = !interrupted;
  return interrupted ? fail(EINTR) : give(bytes, std::min<size_t>(length, 7));
}

ssize_t ten_bytes(uint8_t *bytes, size_t length) {
  return given < 10 ? give(bytes, std::min(length, 10 - given)) : fail(ENOSYS);
}

ssize_t nothing(uint8_t *, size_t) {
  return fail(ENOSYS);
}

class KernelRandom : public testing::Test {
 protected:
  ~KernelRandom() override {
    libsec::test::getrandom_hook = nullptr;
    libsec::test::random_device = nullptr;
  }

  // Asks for `some` bytes and returns how many came; behind them is one that must stay.
  size_t ask(ssize_t (*getrandom)(uint8_t *, size_t), const char *device) {
    libsec::test::getrandom_hook = getrandom;
    libsec::test::random_device = device;
    given = 0;
    interrupted = false;
    bytes.assign(some + 1, 0xEE);
    const size_t count = kernel_random(bytes.data(), some);
    EXPECT_EQ(bytes[some], 0xEE);
    return count;
  }
  auto count_of(uint8_t value) { return static_cast<size_t>(std::count(bytes.begin(), bytes.end() - 1, value)); }

  std::vector<uint8_t> bytes;
};

int lowest_free_descriptor() {
  const int descriptor = open("/dev/null", O_RDONLY);
  close(descriptor);
  return descriptor;
}

TEST_F(KernelRandom, BytesThatComeAtOnceAreAllThereIs) {
  EXPECT_EQ(ask(give, "/dev/zero"), some);
  EXPECT_EQ(given, some);
  EXPECT_EQ(count_of(from_getrandom), some);
}

TEST_F(KernelRandom, BytesThatComeInPiecesBetweenSignalsArePutTogether) {
  EXPECT_EQ(ask(in_pieces, "/dev/zero"), some);
  EXPECT_EQ(given, some);
  EXPECT_EQ(count_of(from_getrandom), some);
}

TEST_F(KernelRandom, TheDeviceGivesWhatGetrandomDidNot) {
  EXPECT_EQ(ask(ten_bytes, "/dev/zero"), some);
  EXPECT_EQ(count_of(from_getrandom), 10u);
  EXPECT_EQ(count_of(0), 90u);
  EXPECT_EQ(bytes[9], from_getrandom);
  EXPECT_EQ(bytes[10], 0);
}

TEST_F(KernelRandom, NothingIsWrittenWhereThereIsNeither) {
  EXPECT_EQ(ask(nothing, "/nowhere"), 0u);
  EXPECT_EQ(count_of(0xEE), some);
}

TEST_F(KernelRandom, ADeviceThatIsAnEmptyFileEndsTheReading) {
  EXPECT_EQ(ask(nothing, "/dev/null"), 0u);
}

TEST_F(KernelRandom, TheDeviceIsOpenedForReadingAndIsNoChilds) {
  EXPECT_EQ(ask(nothing, "/dev/zero"), some);
  EXPECT_EQ(libsec::test::random_device_flags, O_RDONLY | O_CLOEXEC);
}

TEST_F(KernelRandom, TheDeviceIsClosedAgain) {
  const int before = lowest_free_descriptor();
  EXPECT_EQ(ask(nothing, "/dev/zero"), some);
  EXPECT_EQ(lowest_free_descriptor(), before);
}

}  // namespace
