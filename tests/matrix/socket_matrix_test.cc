// SPDX-License-Identifier: MIT
// The malformed packets over real sockets on the real port: in each live state, over UDP and TCP, with and
// without a key file. A model of the protocol says what is printed and what is kept; that nothing is answered
// and no running session touched is asked apart from it.
//
// All of it is some 170,000 packets: LIBSEC_MATRIX=full plays them all. Otherwise each of the 28 combinations
// plays one in five of them, every combination others.
#include <gtest/gtest.h>

#include <cstdlib>
#include <tuple>

#include "matrix/agent.h"
#include "matrix/wrong_packets.h"
#include "model/device_model.h"
#include "support/private_network.h"

namespace libsec::test {
namespace {

constexpr uint32_t live_id = 0xA1B2C3D4;
constexpr size_t one_in = 5;

bytes live_record() {
  const auto *first = reinterpret_cast<const uint8_t *>(&security_sessions);
  return bytes(first, first + sizeof security_sessions);
}

class SocketMatrix : public testing::TestWithParam<std::tuple<bool, bool, uint32_t>> {
 protected:
  void SetUp() override {
    NEEDS_PRIVATE_NETWORK();
    std::tie(key_file, tcp, state) = GetParam();
    device = std::make_unique<agent>(key_file);
    const char *wanted = std::getenv("LIBSEC_MATRIX");
    if (wanted != nullptr && std::string(wanted) == "full") stride = 1;
    turn = (key_file ? 0 : 14) + (tcp ? 7 : 0) + state;
  }

  // The live session, put there; the peer of each packet is one who knows its identifier and its key.
  void start_session() {
    security_sessions.state = state;
    security_sessions.session_id = live_id;
    set_key(&security_sessions, test_key());
    get_timer(&security_sessions.timer, 1);
    security_session_tmp.session_id = 0;
    (*device)->encrypt_replies = 0;
    (*device)->tcp_session_active = 0;
  }

  // The model in the agent's place.
  device_model model_of_it() const {
    device_model model;
    model.full_encryption = key_file;
    model.now_us = model.live.answered_us = device->now_us();
    model.live.state = state;
    model.live.id = live_id;
    model.live.key = test_key();
    model.buffer.assign((*device)->packet, (*device)->packet + device_model::buffer_bytes);
    model.version = (*device)->protocol_version;
    model.signature_is_good = [](const bytes &) { return false; };
    return model;
  }

  outcome meet(const bytes &packet) { return tcp ? device->meet_over_tcp(packet) : device->meet_over_udp(packet); }

  // One wrong packet.
  void refuse(const bytes &packet, const std::string &what) {
    if (count++ % stride != turn % stride) return;
    SCOPED_TRACE(what);
    start_session();
    device_model model = model_of_it();
    const bytes before = live_record(), key = key_of(security_sessions);
    const outcome of_library = meet(packet);
    arrival one;
    one.tcp = tcp;
    if (!packet.empty() || !tcp) one.pieces = {packet};
    one.pause_us = agent::pause_us;
    arrivals coming{one};
    const outcome of_model = model.receive(coming);
    EXPECT_EQ(of_library.output, of_model.output);
    EXPECT_EQ(of_library.result, of_model.result);
    EXPECT_EQ(of_library.stores, of_model.stores);
    EXPECT_EQ(of_library.delivered, of_model.delivered);
    EXPECT_EQ(security_sessions.state, model.live.state);
    EXPECT_EQ(security_sessions.session_id, model.live.id);
    EXPECT_EQ((*device)->packet_failed, packet.empty() ? (*device)->packet_failed : model.refused ? 1u : 0u);
    EXPECT_EQ(device->now_us(), model.now_us);

    // Whatever the model thinks of it:
    EXPECT_TRUE(of_library.deeds.empty()) << "answered";
    EXPECT_EQ(key_of(security_sessions), key);
    const bool is_wake = packet.size() >= 4 && std::equal(packet.begin(), packet.begin() + 4, "WAKE");
    EXPECT_TRUE(is_wake || live_record() == before);
    // Without a key file the host gets what has no known name, as it came.
    if (of_library.delivers) {
      EXPECT_FALSE(key_file);
      EXPECT_EQ(of_library.delivered, packet);
    }
  }

  void refuse_each_length(const bytes &good) {
    each_wrong_length(good, [this](const bytes &packet, const std::string &what) { refuse(packet, what); });
  }

  std::unique_ptr<agent> device;
  bool key_file = false, tcp = false;
  uint32_t state = 0;
  size_t stride = one_in, turn = 0, count = 0;
};

TEST_P(SocketMatrix, EachByteOfAWake) {
  each_wrong_byte(from_hex(vectors::wake), 412,
                  [this](const bytes &packet, const std::string &what) { refuse(packet, what); });
}

TEST_P(SocketMatrix, EachLengthOfAWake) {
  refuse_each_length(from_hex(vectors::wake));
}

TEST_P(SocketMatrix, EachHeaderByteAndLengthOfALogin) {
  const bytes good = lgin(live_id, test_key());
  each_wrong_byte(good, 16, [this](const bytes &packet, const std::string &what) { refuse(packet, what); });
  refuse_each_length(good);
}

TEST_P(SocketMatrix, EachHeaderByteAndLengthOfARequest) {
  const bytes good = encr(live_id, text("what is your name?"), test_key());
  each_wrong_byte(good, 16, [this](const bytes &packet, const std::string &what) { refuse(packet, what); });
  refuse_each_length(good);
}

TEST_P(SocketMatrix, EachHeaderByteAndLengthOfALogout) {
  const bytes good = lout(live_id, test_key());
  each_wrong_byte(good, 16, [this](const bytes &packet, const std::string &what) { refuse(packet, what); });
  refuse_each_length(good);
}

// What was made wrong above is taken when it is right, in the states that take it.
TEST_P(SocketMatrix, TheGoodPacketsAreServed) {
  const auto answered = [this](const bytes &packet) {
    start_session();
    return meet(packet).deeds.size() == 1;
  };
  EXPECT_EQ(answered(lgin(live_id, test_key())), state == 2);
  EXPECT_EQ(answered(lout(live_id, test_key())), state != 0);
  EXPECT_EQ(answered(from_hex(vectors::wake)), key_file && state == 0);
  start_session();
  EXPECT_EQ(meet(encr(live_id, text("request"), test_key())).delivered, state >= 4 ? text("request") : bytes{});
}

std::string name_of(const testing::TestParamInfo<std::tuple<bool, bool, uint32_t>> &info) {
  const auto [key_file, tcp, state] = info.param;
  return std::string(key_file ? "WithKeyFile" : "WithoutKeyFile") + (tcp ? "OverTcp" : "OverUdp") + "InState" +
         std::to_string(state);
}

INSTANTIATE_TEST_SUITE_P(, SocketMatrix,
                         testing::Combine(testing::Bool(), testing::Bool(), testing::Range(uint32_t{0}, uint32_t{7})),
                         name_of);

}  // namespace
}  // namespace libsec::test
