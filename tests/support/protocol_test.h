// SPDX-License-Identifier: MIT
// What the tests of the protocol start from: a key file was read, and one peer speaks over UDP.
#pragma once

#include <libsec/packet.h>

#include <cstring>

#include "support/transport_test.h"

namespace libsec::test {

// A session that a test starts by hand; the vectors bring identifiers of their own.
constexpr uint32_t live_id = 0xA1B2C3D4;

class ProtocolTest : public TransportTest {
 protected:
  ProtocolTest() { full_encryption = 1; }

  // The live session as a peer with test_key() left it, its timer starting now.
  static void start_session(uint32_t state) {
    security_sessions.state = state;
    security_sessions.session_id = live_id;
    set_key(&security_sessions, test_key());
    get_timer(&security_sessions.timer, 1);
  }

  // The peer sends the packet over UDP, and one call serves it.
  reception exchange(const bytes &packet) {
    peer.send(packet);
    return receive();
  }

  // The peer's packet was answered or refused inside the library.
  void expect_consumed(const bytes &packet, const std::string &output) {
    expect_served(exchange(packet), "received " + std::to_string(packet.size()) + "\n" + output);
  }

  // packet_process() on a packet that lies in the context, without any transport.
  std::string process(const bytes &packet, int32_t expected) {
    libsec::test::receive(context.get(), packet);
    return captured([&] { EXPECT_EQ(packet_process(context.get()), expected); });
  }

  udp_peer peer{context};
};

// What a packet holds behind its header of sixteen bytes.
inline bytes payload_of(const bytes &packet) {
  return packet.size() < 16 ? bytes{} : bytes(packet.begin() + 16, packet.end());
}

inline bytes header_of(const bytes &packet) {
  return packet.size() < 16 ? packet : bytes(packet.begin(), packet.begin() + 16);
}

// A sealed block with a bit of its check value turned.
inline bytes with_bad_crc(bytes packet, const bytes &key) {
  bytes plain = plain_decrypt(payload_of(packet), key);
  plain[0] ^= 1;
  return joined({header_of(packet), plain_encrypt(plain, key)});
}

}  // namespace libsec::test
