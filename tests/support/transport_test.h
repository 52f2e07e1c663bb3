// SPDX-License-Identifier: MIT
// What the tests of the transport and of the protocol start from: fresh sessions, a loopback context, a
// clock that stands still, and a select() that does not wait.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "support/calls.h"
#include "support/captured.h"
#include "support/fake_clock.h"
#include "support/loopback.h"
#include "support/sessions.h"

namespace libsec::test {

// What ended a ZOLT_receive() that was left without packets: see TransportTest.
inline constexpr char interrupted[] = "Error connecting 4 - Interrupted system call\n";

// One call of ZOLT_receive(). Both out arguments start with values that no call stores.
struct reception {
  static constexpr int32_t untouched_length = -77;
  int32_t result;
  uint8_t *data;
  int32_t length;
  std::string output;

  bytes delivered() const { return result == 0 ? bytes(data, data + length) : bytes{}; }
};

struct asked_wait {
  int count;              // one more than the highest descriptor
  std::vector<int> read;  // descriptors
  std::vector<int> write;
  bool has_timeout;
  long seconds;
  long microseconds;
};

class TransportTest : public SessionTest {
 protected:
  TransportTest() {
    calls->select = [this](int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
      return hurried_select(count, read, write, except, timeout);
    };
  }

  // Without waiting: a select() that would wait for ever ends as interrupted, one that would time out
  // moves the clock on instead. Every one is noted down.
  int hurried_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout) {
    waits.push_back(note(count, read, write, timeout));
    timeval at_once{};
    const int result = real_select(count, read, write, except, &at_once);
    if (result != 0) return result;
    if (timeout == nullptr) return fail(EINTR);
    clock.advance_us(int64_t{timeout->tv_sec} * 1'000'000 + timeout->tv_usec);
    return 0;
  }

  static uint8_t *untouched_data() {
    static uint8_t byte;
    return &byte;
  }

  reception receive() {
    reception r{-99, untouched_data(), reception::untouched_length, {}};
    r.output = captured([&] { r.result = ZOLT_receive(context.get(), &r.data, &r.length); });
    return r;
  }

  // A call that served what there was and had nothing for the host.
  void expect_served(const reception &r, const std::string &output) {
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.data, untouched_data());
    EXPECT_EQ(r.length, reception::untouched_length);
    EXPECT_EQ(r.output, output + interrupted);
  }

  // A call that ended because a read brought nothing.
  void expect_no_data(const reception &r, const std::string &output) {
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.data, nullptr);
    EXPECT_EQ(r.length, -1);
    EXPECT_EQ(r.output, output);
    EXPECT_EQ(context->tcp_session_active, 0);
  }

  fake_clock clock{1'000'000};
  loopback context;
  hooked_calls calls;
  std::vector<asked_wait> waits;

 private:
  static std::vector<int> members(int count, const fd_set *set) {
    std::vector<int> list;
    for (int i = 0; set != nullptr && i < count; ++i) {
      if (FD_ISSET(i, set)) list.push_back(i);
    }
    return list;
  }

  static asked_wait note(int count, const fd_set *read, const fd_set *write, const timeval *timeout) {
    const bool timed = timeout != nullptr;
    return {count,
            members(count, read),
            members(count, write),
            timed,
            timed ? static_cast<long>(timeout->tv_sec) : 0,
            timed ? static_cast<long>(timeout->tv_usec) : 0};
  }
};

// A packet that no signature fits: passed through without a key file, refused with one.
inline bytes plain_packet(size_t length, uint8_t fill = 'x') {
  bytes packet(length, fill);
  packet[4] = static_cast<uint8_t>(length >> 8);
  packet[5] = static_cast<uint8_t>(length);
  return packet;
}

}  // namespace libsec::test
