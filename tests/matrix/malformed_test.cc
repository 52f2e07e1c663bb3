// SPDX-License-Identifier: MIT
// Good packets made wrong in one place: each byte with each of six values, and each length. None of them
// may be answered, change the session's key or its state, or print anything but its own lines.
#include "matrix/wrong_packets.h"
#include "support/protocol_test.h"

namespace libsec::test {
namespace {

constexpr char refused_wake[] = "Something was wrong with the WAKE packet. Resetting...\n";
constexpr char unknown[] = "The packet wasn't recognised\nError getting session\n";

std::string length_error(const bytes &packet) {
  return "packet length error\nreported length = " + std::to_string(read_be16(packet, 4)) +
         ", actual length = " + std::to_string(packet.size());
}

class Malformed : public ProtocolTest {
 protected:
  Malformed() { (void)exchange(text("hello")); }  // answers would go to this peer

  // A session in this state, not too old for anything.
  void start(uint32_t state) {
    start_session(state);
    security_session_tmp.session_id = 0;
  }

  void start_dormant() {
    reset_sessions();
    full_encryption = 1;
    load_test_key(&security_sessions);
    set_key(&security_sessions, test_key());
    clock.advance_ms(1);
  }

  // Serves the packet, which must be refused; what it printed.
  std::string refused(const bytes &packet) {
    const bytes key = key_of(security_sessions);
    const std::string output = process(packet, -1);
    EXPECT_EQ(context->packet_failed, 1u);
    EXPECT_EQ(key_of(security_sessions), key);
    EXPECT_FALSE(peer.has_received());
    return output;
  }

  // In a running session, nothing of the live record may change.
  std::string refused_in_session(const bytes &packet) {
    const bytes before(reinterpret_cast<uint8_t *>(&security_sessions),
                       reinterpret_cast<uint8_t *>(&security_sessions + 1));
    const std::string output = refused(packet);
    const bytes after(reinterpret_cast<uint8_t *>(&security_sessions),
                      reinterpret_cast<uint8_t *>(&security_sessions + 1));
    EXPECT_TRUE(before == after) << output;
    return output;
  }
};

TEST_F(Malformed, EachByteOfAWake) {
  const bytes good = from_hex(vectors::wake);
  for (size_t at = 0; at < good.size(); ++at) {
    for (const uint8_t value : wrong_values(good[at])) {
      SCOPED_TRACE(std::to_string(at) + " is " + std::to_string(value));
      bytes packet = good;
      packet[at] = value;
      start_dormant();
      const std::string expected = at < 4               ? unknown
                                   : at == 4 || at == 5 ? length_error(packet) + refused_wake
                                                        : refused_wake;
      EXPECT_EQ(refused(packet), expected);
      EXPECT_LE(security_sessions.state, uint32_t{SESSION_WAKE_ADMITTED});
    }
  }
  start_dormant();
  EXPECT_EQ(process(good, -1), "");
  EXPECT_EQ(security_sessions.state, uint32_t{SESSION_WRSP_SENT});
}

TEST_F(Malformed, EachLengthOfAWake) {
  const bytes good = from_hex(vectors::wake);
  for (size_t length = 0; length <= 420; ++length) {
    for (const bool told : {false, true}) {  // whether its length field tells the wrong length
      if (length == good.size() || (told && length < 6)) continue;
      SCOPED_TRACE(length);
      bytes packet = good;
      packet.resize(length);
      if (told) {
        packet[4] = static_cast<uint8_t>(length >> 8);
        packet[5] = static_cast<uint8_t>(length);
      }
      start_dormant();
      const std::string expected = length < 4     ? "Error getting session\n"
                                   : length < 412 ? ""
                                   : told         ? refused_wake  // the length is signed
                                                  : length_error(packet) + refused_wake;
      EXPECT_EQ(refused(packet), expected);
    }
  }
}

TEST_F(Malformed, NoWakeTakesARunningSessionOver) {
  const bytes good = from_hex(vectors::wake);
  for (uint32_t state = 1; state <= 6; ++state) {
    start(state);
    EXPECT_EQ(refused_in_session(good), "Error getting session\n") << state;
  }
}

struct sealed_packet {
  const char *kind;
  bytes (*make)();
};
const sealed_packet sealed_packets[] = {{"LGIN", [] { return lgin(live_id, test_key()); }},
                                        {"ENCR", [] { return encr(live_id, text("what is your name?"), test_key()); }},
                                        {"LOUT", [] { return lout(live_id, test_key()); }}};

TEST_F(Malformed, EachHeaderByteOfASealedPacketInEachState) {
  for (const sealed_packet &of : sealed_packets) {
    const bytes good = of.make();
    const std::string refusal = std::string("Something was wrong with the ") + of.kind + " packet. Resetting...\n";
    for (uint32_t state = 0; state <= 6; ++state) {
      for (size_t at = 0; at < 16; ++at) {
        for (const uint8_t value : wrong_values(good[at])) {
          SCOPED_TRACE(of.kind + std::string(" in state ") + std::to_string(state) + ", byte " + std::to_string(at) +
                       " is " + std::to_string(value));
          bytes packet = good;
          packet[at] = value;
          start(state);
          const std::string expected = at < 4               ? unknown
                                       : at == 4 || at == 5 ? length_error(packet) + refusal
                                       : at >= 12           ? "failed to swap to the correct session\n" + refusal
                                                            : refusal;
          EXPECT_EQ(refused_in_session(packet), expected);
        }
      }
    }
  }
}

TEST_F(Malformed, EachLengthOfASealedPacketInEachState) {
  for (const sealed_packet &of : sealed_packets) {
    const bytes good = of.make();
    for (uint32_t state = 0; state <= 6; ++state) {
      for (size_t length = 0; length <= 420; ++length) {
        for (const bool told : {false, true}) {
          if (length == good.size() || (told && length < 6)) continue;
          SCOPED_TRACE(of.kind + std::string(" in state ") + std::to_string(state) + ", " + std::to_string(length));
          bytes packet = good;
          packet.resize(length);
          if (told) {
            packet[4] = static_cast<uint8_t>(length >> 8);
            packet[5] = static_cast<uint8_t>(length);
          }
          start(state);
          const std::string output = refused_in_session(packet);
          EXPECT_EQ(output == "Error getting session\n", length < 4);
          EXPECT_TRUE(output.ends_with('\n'));
        }
      }
    }
  }
}

// Without a key file, what has no known signature goes to the host as it is; nothing else changes.
TEST_F(Malformed, WithoutAKeyFileOnlyUnknownPacketsPass) {
  reset_sessions();
  for (const char *kind : {"WAKE", "LGIN", "ENCR", "LOUT"}) {
    for (size_t length = 4; length <= 420; ++length) {
      SCOPED_TRACE(kind + std::string(" ") + std::to_string(length));
      bytes packet = text(kind);
      packet.resize(length, 'x');
      (void)refused(packet);
      packet[0] ^= 1;
      EXPECT_EQ(process(packet, 0), "The packet wasn't recognised\n");
      EXPECT_EQ(generated(context.get()), packet);
    }
  }
}

}  // namespace
}  // namespace libsec::test
