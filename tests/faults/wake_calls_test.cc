// SPDX-License-Identifier: MIT
// What one failed system call prints and returns while a WAKE is served, with each of its errors.
#include <memory>
#include <sstream>

#include "faults/failing_calls.h"
#include "support/protocol_test.h"

namespace libsec::test {
namespace {

const std::string accepted = "TCP connection accepted\n";
const std::string gathered = "All data received\nreceived 412\n";
// The text without its line number `index`, of those that the two functions print.
std::string without(const std::string &text, const char *printed_by, int index) {
  const bool formatted = printed_by == std::string("printf");
  std::string rest;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const bool is_format = line.starts_with("received ") || line.starts_with("Sent ") || line.starts_with("Error ");
    if (is_format != formatted || index-- != 0) rest += line + "\n";
  }
  return rest;
}

// After a packet the connection is asked for one more, until it was silent for five seconds.
const std::string silent =
    "There is already an active TCP session\nNo more data was in the buffer\nreceived 0\nno data\n";

class WakeCalls : public ProtocolTest {
 protected:
  WakeCalls() : failing(calls, clock) {
    reset_sessions();
    full_encryption = 1;
    load_test_key(&security_sessions);
  }

  static std::string number_and_text(int error) { return std::to_string(error) + " - " + std::strerror(error) + "\n"; }
  static std::string in_brackets(int error) { return "(" + std::string(std::strerror(error)) + ")\n"; }

  // One WAKE, the given use of the call failing. `printed` makes the whole output of the error.
  template <typename F>
  void expect_over(bool tcp, const char *name, int index, bool answered, F printed) {
    for (const fallible_call &call : fallible_calls()) {
      if (call.name != std::string(name)) continue;
      for (const int error : call.errors) {
        SCOPED_TRACE(std::string(name) + " " + std::to_string(index) + ": " + std::strerror(error));
        reset_sessions();
        full_encryption = 1;
        load_test_key(&security_sessions);
        context->tcp_session_active = 0;
        while (peer.has_received()) peer.receive();
        std::unique_ptr<tcp_peer> connection;
        if (tcp) connection = std::make_unique<tcp_peer>(context);
        if (tcp) connection->send(wake);
        if (!tcp) peer.send(wake);
        failing.let_fail(name, index, how_long::once, error);
        const reception r = receive();
        EXPECT_TRUE(failing.failed());
        failing.let_all_work();
        EXPECT_EQ(r.result, -1);
        EXPECT_EQ(r.output, printed(error));
        // What ended in "no data" says so in both results, what ended in select() in neither.
        const bool no_data = r.output.ends_with("no data\n") || (tcp && answered);
        EXPECT_EQ(r.length, no_data ? -1 : reception::untouched_length);
        EXPECT_EQ(r.data, no_data ? nullptr : untouched_data());
        const bool has_received = tcp ? connection->has_received() : peer.has_received();
        const bytes wrsp = !has_received ? bytes{} : tcp ? connection->receive(144) : peer.receive();
        EXPECT_EQ(wrsp.size(), answered ? 144u : 0u);
        receive();  // what was not taken is taken now
        if (tcp) receive();
      }
    }
  }

  failing_calls failing;
  const bytes wake = from_hex(vectors::wake_key_is_gx);
};

TEST_F(WakeCalls, OverTcp) {
  const auto same = [](const std::string &text) { return [text](int) { return text; }; };
  const std::string good = accepted + gathered + "Sent 144\n" + silent;
  expect_over(true, "listen", 0, true, same(good));
  expect_over(true, "setsockopt", 0, true, same(good));
  expect_over(true, "select", 0, false, [](int error) { return "Error connecting " + number_and_text(error); });
  expect_over(true, "select", 1, false, same(accepted + "No more data was in the buffer\nreceived 0\nno data\n"));
  // The reply could not be sent: the WAKE stays admitted, the connection open.
  expect_over(true, "select", 2, false, same(accepted + gathered + "The tcp_send function failed\n" + silent));
  expect_over(true, "accept", 0, false, [](int error) {
    return "Error accepting connection: " + number_and_text(error) + accepted + "Error fcntl(..., F_GETFL) " +
           in_brackets(EBADF) + "received -1\nno data\n";
  });
  const auto failed = [](const std::string &before, const std::string &command) {
    return [=](int error) {
      return before + "Error fcntl(..., " + command + ") " + in_brackets(error) + "received -1\nno data\n";
    };
  };
  expect_over(true, "fcntl", 0, true, same(good));  // a connection is worth more than its close-on-exec mark
  expect_over(true, "fcntl", 1, false, failed(accepted, "F_GETFL"));
  expect_over(true, "fcntl", 2, false, failed(accepted, "F_SETFL"));
  expect_over(true, "fcntl", 3, false, failed(accepted + "All data received\n", "F_GETFL"));
  expect_over(true, "fcntl", 4, false, failed(accepted + "All data received\n", "F_SETFL"));
  // A read that brings nothing is tried again.
  expect_over(true, "recv", 0, true, same(good));
  // Whoever reads the log is worth less than the peer, and the clock is better than no randomness.
  for (int i = 0; i < 5; ++i) expect_over(true, "puts", i, true, same(without(good, "puts", i)));
  for (int i = 0; i < 3; ++i) expect_over(true, "printf", i, true, same(without(good, "printf", i)));
  for (const int i : {0, 7, 15}) expect_over(true, "getrandom", i, true, same(good));
  expect_over(true, "send", 0, false, same(accepted + gathered + "Sent -1\nThe tcp_send function failed\n" + silent));
}

TEST_F(WakeCalls, OverUdp) {
  const auto same = [](const std::string &text) { return [text](int) { return text; }; };
  const std::string good = std::string("received 412\n") + interrupted;
  expect_over(false, "listen", 0, true, same(good));
  expect_over(false, "select", 0, false, [](int error) { return "Error connecting " + number_and_text(error); });
  expect_over(false, "select", 1, false, same(std::string("received 412\nUDP send failed\n") + interrupted));
  expect_over(false, "printf", 0, true, same(interrupted));
  expect_over(false, "recvfrom", 0, false, same("received -1\nno data\n"));
  expect_over(false, "sendto", 0, false, same(std::string("received 412\nUDP send failed\n") + interrupted));
}

// An error without a text costs nothing but the text: the number is that of the call that failed.
TEST_F(WakeCalls, StrerrorFails) {
  static char unknown[] = "?";
  calls->strerror = [](int) {
    errno = EINVAL;
    return unknown;
  };
  for (const int error : {EMFILE, ECONNABORTED, 12345}) {
    const std::string text = std::to_string(error) + " - ?\n";
    failing.let_fail("select", 0, how_long::once, error);
    EXPECT_EQ(receive().output, "Error connecting " + text);
    tcp_peer connection(context);
    failing.let_fail("accept", 0, how_long::once, error);
    EXPECT_EQ(receive().output, "Error accepting connection: " + text + accepted +
                                    "Error fcntl(..., F_GETFL) (?)\nreceived -1\nno data\n");
    failing.let_all_work();
    receive();
    receive();
  }
}

}  // namespace
}  // namespace libsec::test
