// SPDX-License-Identifier: MIT
// The key exchange, with OpenSSL as the peer.
#include "support/protocol_test.h"
#include "support/recorded_session.h"
#include "support/signer.h"

namespace libsec::test {
namespace {

class Exchange : public ProtocolTest {
 protected:
  Exchange() { load_test_key(&security_sessions); }

  // One session from WAKE to ACK2, with a key that the library never told.
  void run_session(const char *wake, uint32_t id, const char *prime, const bytes &secret) {
    exchange(from_hex(wake));
    const bytes public_value = payload_of(peer.receive());
    EXPECT_EQ(public_value, mod_exp({4}, value_of(security_sessions.x), from_hex(prime)));
    const bytes key = mod_exp(public_value, secret, from_hex(prime));
    EXPECT_EQ(key_of(security_sessions), key);

    expect_consumed(lgin(id, key), "");
    EXPECT_EQ(opened(payload_of(peer.receive()), key).content(), joined({text("LOGGEDIN"), be32(id), {0, 180}}));
    EXPECT_EQ(exchange(encr(id, text("request"), key)).delivered(), text("request"));
    bytes reply = text("the reply");
    EXPECT_EQ(ZOLT_send(context.get(), reply.data(), 9), 0);
    EXPECT_EQ(opened(payload_of(peer.receive()), key).content(), reply);
    expect_consumed(lout(id, key), "");
    EXPECT_EQ(opened(payload_of(peer.receive()), key).content(), joined({text("LOGGEDOUT"), be32(id)}));
  }
};

TEST_F(Exchange, SessionsInARowWithPrimesOfDifferentLengthsAgreeOnTheirSecrets) {
  const bytes secret = from_hex(vectors::peer_secret);
  for (int round = 0; round < 3; ++round) {
    run_session(vectors::wake_short_prime, 0x55667788, vectors::short_prime, secret);
    run_session(vectors::wake, wake_session_id, vectors::prime, secret);
    run_session(vectors::wake_key_is_gx, 0x0BADCAFE, vectors::prime, {1});
  }
}

TEST_F(Exchange, TheRecordedSessionsKeyIsWhatItsPeerComputes) {
  const std::map<std::string, bytes> session = recorded_session();
  EXPECT_EQ(session.at("key"),
            mod_exp(payload_of(session.at("WRSP")), from_hex(vectors::peer_secret), from_hex(vectors::prime)));
}

}  // namespace
}  // namespace libsec::test
