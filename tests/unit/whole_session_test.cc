// SPDX-License-Identifier: MIT
// One whole session, byte for byte. With the clock at rest and no randomness from the kernel the private
// exponent comes out the same on every run and every machine, and so does all that follows from it.
//
// To record the session anew after a deliberate change:
//   LIBSEC_RECORD_SESSION=session.txt protocol_test --gtest_filter='WholeSession.*'
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "support/fake_kernel_random.h"
#include "support/protocol_test.h"
#include "support/recorded_session.h"

namespace libsec::test {
namespace {

// hardclock() counts from its first call in the process: made here, before main(), some time before the
// fixture's clock. (A clock that shows zero all the time would leave the generator's walk at zeros.)
const uint32_t first_hardclock = [] {
  fake_clock clock(999'876, 543'210);
  return hardclock();
}();

constexpr char order[][16] = {"WAKE", "WRSP", "key", "LGIN", "ACK1", "ENCR request", "ENCR reply", "LOUT", "ACK2"};

void record(const char *path, const std::map<std::string, bytes> &session) {
  std::ofstream file(path);
  file << "# One session, as tests/unit/whole_session_test.cc runs it: public key, prime and peer's secret are those\n"
          "# of packet_vectors.h, and the session's key is shown, which never leaves either side.\n";
  for (const char *name : order) file << name << ": " << to_hex(session.at(name)) << "\n";
}

class WholeSession : public ProtocolTest {
 protected:
  WholeSession() { load_test_key(&security_sessions); }

  // What the peer says is built outside the library, under the key that the session came to.
  std::map<std::string, bytes> run() {
    std::map<std::string, bytes> s;
    const fake_kernel_random none(fake_kernel_random::mode::nothing_works);
    s["WAKE"] = from_hex(vectors::wake);
    exchange(s["WAKE"]);
    s["WRSP"] = peer.receive();
    s["key"] = key_of(security_sessions);
    s["LGIN"] = lgin(wake_session_id, s["key"]);
    exchange(s["LGIN"]);
    s["ACK1"] = peer.receive();
    s["ENCR request"] = encr(wake_session_id, text("what is your name?"), s["key"]);
    EXPECT_EQ(exchange(s["ENCR request"]).delivered(), text("what is your name?"));
    bytes reply = text("localhost");
    EXPECT_EQ(ZOLT_send(context.get(), reply.data(), static_cast<int32_t>(reply.size())), 0);
    s["ENCR reply"] = peer.receive();
    s["LOUT"] = lout(wake_session_id, s["key"]);
    exchange(s["LOUT"]);
    s["ACK2"] = peer.receive();
    return s;
  }
};

TEST_F(WholeSession, IsTheRecordedOneByteForByte) {
  EXPECT_EQ(first_hardclock, 0u);
  const std::map<std::string, bytes> session = run();
  if (const char *path = std::getenv("LIBSEC_RECORD_SESSION")) record(path, session);
  const std::map<std::string, bytes> expected = recorded_session();
  ASSERT_EQ(expected.size(), std::size(order));
  for (const char *name : order) EXPECT_EQ(to_hex(session.at(name)), to_hex(expected.at(name))) << name;
}

TEST_F(WholeSession, OverTcpTakesOneConnectionFromWakeToAck2) {
  tcp_peer tcp(context);
  tcp.send(from_hex(vectors::wake_key_is_gx));
  constexpr uint32_t id = 0x0BADCAFE;
  std::vector<std::string> outputs;
  // The peer answers each packet of the library's by its own next one, so that one call serves them all.
  bytes key;
  int sent = 0;
  calls->send = [&](int descriptor, const void *from, size_t length, int flags) {
    const ssize_t result = real_send(descriptor, from, length, flags);
    const bytes packet = tcp.receive(length);
    outputs.push_back(to_hex(header_of(packet)));
    if (sent == 0) {
      key = payload_of(packet);  // the peer's secret is 1
      tcp.send(lgin(id, key));
    } else if (sent == 1) {
      EXPECT_EQ(opened(payload_of(packet), key).content(), joined({text("LOGGEDIN"), be32(id), {0, 180}}));
      tcp.send(encr(id, text("request"), key));
    } else if (sent == 2) {
      EXPECT_EQ(opened(payload_of(packet), key).content(), text("the reply"));
      tcp.send(lout(id, key));
    } else {
      EXPECT_EQ(opened(payload_of(packet), key).content(), joined({text("LOGGEDOUT"), be32(id)}));
    }
    ++sent;
    return result;
  };

  const reception request = receive();
  EXPECT_EQ(request.delivered(), text("request"));
  EXPECT_EQ(request.output,
            "TCP connection accepted\nAll data received\nreceived 412\nSent 144\n"
            "There is already an active TCP session\nAll data received\nreceived 32\nSent 40\n"
            "There is already an active TCP session\nAll data received\nreceived 32\n");
  bytes reply = text("the reply");
  EXPECT_EQ(captured([&] { EXPECT_EQ(ZOLT_send(context.get(), reply.data(), 9), 0); }), "Sent 32\n");
  expect_served(receive(), "There is already an active TCP session\nAll data received\nreceived 32\nSent 40\n");
  EXPECT_EQ(outputs, (std::vector<std::string>{to_hex(header("WRSP", 144, id)), to_hex(header("ACK1", 40, id)),
                                               to_hex(header("ENCR", 32, id)), to_hex(header("ACK2", 40, id))}));
  EXPECT_TRUE(tcp.is_closed());
  EXPECT_EQ(security_sessions.state, SESSION_DORMANT);
  EXPECT_EQ(context->tcp_client_socket, -1);
}

}  // namespace
}  // namespace libsec::test
