// SPDX-License-Identifier: MIT
// What tests put in the place of the system leaves MemorySanitizer its sight: whatever of this the library passed
// on without having written it would be reported, be the call hooked or not.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "faults/failing_heap.h"

namespace libsec::test {
namespace {

#define EXPECT_REPORT(code) EXPECT_DEATH(code, "use-of-uninitialized-value")

class Sight : public testing::Test {
 protected:
  ~Sight() override { std::free(block); }

  // Memory of which only the first byte was written, as the library gets it from a heap that may fail.
  template <typename T>
  const T *unwritten() {
    *block = 0;
    return reinterpret_cast<const T *>(block);
  }

  hooked_calls calls;
  failing_heap heap{calls};
  char *block = static_cast<char *>(std::malloc(256));
};

TEST_F(Sight, OfWhatIsSent) {
  const sockaddr address{};
  for (const bool hooked : {false, true}) {
    if (hooked) {
      calls->send = [](int, const void *, size_t, int) { return ssize_t{-1}; };
      calls->sendto = [](int, const void *, size_t, int, const sockaddr *, socklen_t) { return ssize_t{-1}; };
    }
    EXPECT_EQ(send(-1, unwritten<char>(), 1, 0), -1);
    EXPECT_REPORT(send(-1, unwritten<char>(), 2, 0));
    EXPECT_EQ(sendto(-1, unwritten<char>(), 1, 0, &address, sizeof address), -1);
    EXPECT_REPORT(sendto(-1, unwritten<char>(), 2, 0, &address, sizeof address));
    EXPECT_REPORT(sendto(-1, "x", 1, 0, unwritten<sockaddr>(), sizeof address));
  }
}

TEST_F(Sight, OfAddressesAndOptions) {
  for (const bool hooked : {false, true}) {
    if (hooked) {
      calls->bind = [](int, const sockaddr *, socklen_t) { return -1; };
      calls->setsockopt = [](int, int, int, const void *, socklen_t) { return -1; };
    }
    EXPECT_REPORT(bind(-1, unwritten<sockaddr>(), sizeof(sockaddr)));
    EXPECT_REPORT(setsockopt(-1, SOL_SOCKET, SO_REUSEADDR, unwritten<int>(), sizeof(int)));
  }
}

TEST_F(Sight, OfWaits) {
  fd_set none;
  FD_ZERO(&none);
  timeval at_once{};
  EXPECT_EQ(select(0, &none, nullptr, nullptr, &at_once), 0);
  EXPECT_REPORT(select(0, const_cast<fd_set *>(unwritten<fd_set>()), nullptr, nullptr, &at_once));
  EXPECT_REPORT(select(0, &none, nullptr, nullptr, const_cast<timeval *>(unwritten<timeval>())));
}

TEST_F(Sight, OfBareNumbers) {
  EXPECT_REPORT(listen(-1, *unwritten<int>()));
  EXPECT_EQ(fcntl(-1, F_GETFL), -1);
  EXPECT_REPORT(fcntl(-1, F_SETFL, *unwritten<int>()));
}

TEST_F(Sight, OfWhatIsPrintedAndOpened) {
  block[1] = 'x';
  EXPECT_REPORT(std::puts(unwritten<char>() + 1));
  EXPECT_REPORT(std::printf("%d\n", *unwritten<int>()));
  EXPECT_REPORT(std::printf("%d %s\n", 1, unwritten<char>() + 1));
  EXPECT_REPORT(std::fopen(unwritten<char>() + 1, "r"));
}

}  // namespace
}  // namespace libsec::test
