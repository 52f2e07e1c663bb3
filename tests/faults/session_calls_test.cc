// SPDX-License-Identifier: MIT
// Whole sessions while one system call fails, at each of its uses and with each of its errors. What one
// failure prints and returns is wake_calls_test.cc's matter; here it is that the library goes on: every
// call of it ends, prints whole known lines, keeps at most one connection, and serves the next session.
#include <poll.h>

#include <memory>
#include <optional>
#include <sstream>

#include "faults/failing_calls.h"
#include "support/protocol_test.h"

namespace libsec::test {
namespace {

constexpr uint32_t id = 0x0BADCAFE;  // of vectors::wake_key_is_gx, whose peer has the secret 1: the key is gx

constexpr const char *whole_lines[] = {"TCP connection accepted",
                                       "There is already an active TCP session",
                                       "All data received",
                                       "No more data was in the buffer",
                                       "no data",
                                       "The tcp_send function failed",
                                       "UDP send failed",
                                       "Error getting session",
                                       "timeout",
                                       "There was a problem with the ack1 process",
                                       "There was a problem sending the ENCR packet",
                                       "Quitting after ACK2",
                                       "CRC error with data",
                                       "The packet wasn't recognised",
                                       "Session has elapsed",
                                       "Session state is dormant",
                                       "Session is not allowed in this state",
                                       "Session should not be ENCR at this point",
                                       "failed to swap to the correct session",
                                       "Something was wrong with the LGIN packet. Resetting...",
                                       "Something was wrong with the ENCR packet. Resetting...",
                                       "Something was wrong with the LOUT packet. Resetting..."};
constexpr const char *beginnings[] = {
    "received ",
    "Sent ",
    "Error connecting ",
    "Error accepting connection: ",
    "Error fcntl(..., F_GETFL) (",
    "Error fcntl(..., F_SETFL) (",
};
#if defined(LIBSEC_EVERY_ERROR)
constexpr bool every_error = true;
#else
constexpr bool every_error = false;
#endif
#if defined(LIBSEC_SANITIZED)
constexpr bool every_use = false;
#else
constexpr bool every_use = every_error;
#endif

// Not a line of its own: the next text follows on the same one.
constexpr char late[] = "timed out waiting for the whole packet";

bool is_known(const std::string &line) {
  if (line.starts_with(late)) return line != late && is_known(line.substr(sizeof late - 1));
  if (line.find_first_not_of("0123456789") == std::string::npos) return true;  // follows "CRC error with data"
  for (const char *whole : whole_lines) {
    if (line == whole) return true;
  }
  for (const char *beginning : beginnings) {
    if (line.starts_with(beginning)) return true;
  }
  return false;
}

class SessionCalls : public ProtocolTest, public testing::WithParamInterface<bool> {
 protected:
  SessionCalls() : failing(calls, clock) {
    load_test_key(&security_sessions);
    context->transport_is_tcp = 0;
  }

  static bool over_tcp() { return GetParam(); }

  std::string receive_once() {
    const int made = failing.made();
    const reception r = receive();
    EXPECT_LT(failing.made() - made, 1000);
    if (r.result == 0) delivered = r.delivered();
    std::istringstream lines(r.output);
    for (std::string line; std::getline(lines, line);) EXPECT_TRUE(is_known(line)) << line;
    EXPECT_TRUE(r.output.empty() || r.output.ends_with('\n'));
    EXPECT_TRUE(r.result == 0 || r.result == -1);
    return r.output;
  }

  // What the peer gets for its packet within so many calls of ZOLT_receive(); empty when nothing.
  bytes answer(const bytes &packet, size_t expected, int patience, const bytes &reply = {}) {
    std::optional<tcp_peer> tcp;
    if (over_tcp()) {
      tcp.emplace(context);
      tcp->send(packet);
    } else {
      peer.send(packet);
    }
    for (int i = 0; i < patience; ++i) {
      delivered.clear();
      receive_once();
      if (!reply.empty() && !delivered.empty()) {
        bytes copy = reply;
        captured([&] { (void)ZOLT_send(context.get(), copy.data(), static_cast<int32_t>(copy.size())); });
      }
      if (tcp ? tcp->has_received() : peer.has_received()) return tcp ? tcp->receive(expected) : peer.receive();
    }
    return {};
  }

  // One session, as far as it goes.
  bool run_session(int patience) {
    bytes packet = answer(from_hex(vectors::wake_key_is_gx), 144, patience);
    const bytes key = key_of(security_sessions);
    bool good = packet.size() == 144 && payload_of(packet) == key;
    packet = answer(lgin(id, key), 40, patience);
    good = good && opened(payload_of(packet), key).content() == joined({text("LOGGEDIN"), be32(id), {0, 180}});
    packet = answer(encr(id, text("request"), key), 32, patience, text("reply"));
    good = good && delivered == text("request") && opened(payload_of(packet), key).content() == text("reply");
    packet = answer(lout(id, key), 40, patience);
    return good && opened(payload_of(packet), key).content() == joined({text("LOGGEDOUT"), be32(id)}) &&
           security_sessions.state == SESSION_DORMANT;
  }

  // What strangers and the broken session left in the system's queues.
  void empty_queues() {
    uint8_t byte;
    pollfd udp{context->udp_socket, POLLIN, 0};
    while (poll(&udp, 1, 0) == 1) (void)real_recv(context->udp_socket, &byte, 1, MSG_DONTWAIT);
    pollfd tcp{context->tcp_listen_socket, POLLIN, 0};
    while (poll(&tcp, 1, 0) == 1) real_close(real_accept(context->tcp_listen_socket, nullptr, nullptr));
    while (peer.has_received()) peer.receive();
  }

  void expect_next_session_works() {
    failing.let_all_work();
    failing.longest_read = failing.longest_write = SIZE_MAX;
    empty_queues();
    clock.advance_ms(181'000);
    EXPECT_TRUE(run_session(3));
    EXPECT_LE(open_descriptors(), descriptors + 1);
  }

  failing_calls failing;
  bytes delivered;
  const size_t descriptors = open_descriptors();
};

TEST_P(SessionCalls, NoFailedCallStopsTheSessionAfterIt) {
  failing.ms_per_read = 1000;  // few polls of a silent connection: they are all alike
  ASSERT_TRUE(run_session(3));
  int runs = 0;
  for (const fallible_call &call : fallible_calls()) {
    for (const how_long length : both_lengths) {
      bool reached = true;
      for (int index = 0; reached; index += every_use ? 1 : call.stride) {
        // Where machines are slow, each error at the first use and one of them, in turn, at each further use.
        const size_t errors = every_error || index == 0 ? call.errors.size() : 1;
        for (size_t i = 0; i < errors && reached; ++i) {
          const int error = call.errors[(static_cast<size_t>(index) + i) % call.errors.size()];
          SCOPED_TRACE(std::string(call.name) + " " + std::to_string(index) + ": " + std::strerror(error));
          failing.let_fail(call.name, index, length, error);
          run_session(2);
          reached = failing.failed();
          ++runs;
          expect_next_session_works();
          if (HasFatalFailure() || HasNonfatalFailure()) return;
        }
      }
    }
  }
  EXPECT_GT(runs, every_use ? 1500 : every_error ? 400 : 150);
}

TEST_P(SessionCalls, ReadsAndWritesOfAnyLengthAreBorne) {
  for (const size_t length : {1u, 2u, 3u, 7u, 16u, 31u, 143u, 411u}) {
    SCOPED_TRACE(length);
    failing.longest_read = length;
    // A byte at a time, 412 bytes take longer than the five seconds that a packet has.
    EXPECT_EQ(run_session(2), !over_tcp() || length > 15);
    expect_next_session_works();
    if (length != 1 && length != 31) continue;  // each missing byte costs a second of waiting for it
    failing.longest_write = length;
    run_session(2);
    expect_next_session_works();
  }
}

INSTANTIATE_TEST_SUITE_P(Over, SessionCalls, testing::Bool(),
                         [](const auto &over) { return over.param ? "Tcp" : "Udp"; });

}  // namespace
}  // namespace libsec::test
