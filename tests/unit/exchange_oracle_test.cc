// SPDX-License-Identifier: MIT
// The key exchange, with OpenSSL as the peer.
#include <openssl/bn.h>

#include <memory>

#include "support/protocol_test.h"
#include "support/recorded_session.h"

namespace libsec::test {
namespace {

struct free_number {
  void operator()(BIGNUM *number) const { BN_free(number); }
};
using number = std::unique_ptr<BIGNUM, free_number>;

number read(const bytes &data) {
  return number(BN_bin2bn(data.data(), static_cast<int>(data.size()), nullptr));
}

// base^exponent mod modulus, in 128 bytes.
bytes power(const bytes &base, const bytes &exponent, const bytes &modulus) {
  const std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> scratch(BN_CTX_new(), BN_CTX_free);
  const number result(BN_new());
  EXPECT_EQ(BN_mod_exp(result.get(), read(base).get(), read(exponent).get(), read(modulus).get(), scratch.get()), 1);
  bytes out(128);
  EXPECT_EQ(BN_bn2binpad(result.get(), out.data(), 128), 128);
  return out;
}

class Exchange : public ProtocolTest {
 protected:
  Exchange() { load_test_key(&security_sessions); }

  // One session from WAKE to ACK2, with a key that the library never told.
  void run_session(const char *wake, uint32_t id, const char *prime, const bytes &secret) {
    exchange(from_hex(wake));
    const bytes public_value = payload_of(peer.receive());
    EXPECT_EQ(public_value, power({4}, value_of(security_sessions.x), from_hex(prime)));
    const bytes key = power(public_value, secret, from_hex(prime));
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
            power(payload_of(session.at("WRSP")), from_hex(vectors::peer_secret), from_hex(vectors::prime)));
}

}  // namespace
}  // namespace libsec::test
