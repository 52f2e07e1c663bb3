// SPDX-License-Identifier: MIT
// wake.json, which other implementations may use too, against this one: key files are read from the disk,
// packets are served by packet_process(). README.md says what the vectors hold.
#include <gtest/gtest.h>
#include <libsec/packet.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "support/calls.h"
#include "support/captured.h"
#include "support/fake_clock.h"
#include "support/sessions.h"
#include "support/working_directory.h"

namespace libsec::test {
namespace {

using nlohmann::json;

const json &vectors_file() {
  static const json content = json::parse(std::ifstream(LIBSEC_VECTORS "/wake.json"));
  return content;
}

bytes hex_of(const json &object, const char *name) {
  return from_hex(object.at(name).get<std::string>());
}

// base^exponent mod modulus, in 128 bytes. The exponent 1 needs no arithmetic of the library's.
bytes power(const bytes &base, const bytes &exponent, const bytes &modulus) {
  if (std::all_of(exponent.begin(), exponent.end() - 1, [](uint8_t b) { return b == 0; }) && exponent.back() == 1) {
    return base;
  }
  num b, e, n;
  num_init(&b, &e, &n, static_cast<num *>(nullptr));
  EXPECT_EQ(num_read_binary(&b, base.data(), 128), 0);
  EXPECT_EQ(num_read_binary(&e, exponent.data(), 128), 0);
  EXPECT_EQ(num_read_binary(&n, modulus.data(), 128), 0);
  EXPECT_EQ(num_exp_mod(&b, &b, &e, &n, nullptr), 0);
  const bytes result = value_of(b);
  num_free(&b, &e, &n, static_cast<num *>(nullptr));
  return result;
}

class WakeVectors : public testing::Test {
 protected:
  WakeVectors() {
    calls->select = [](int, fd_set *, fd_set *, fd_set *, timeval *) { return 1; };
    calls->sendto = [this](int, const void *from, size_t n, int, const sockaddr *, socklen_t) {
      const auto *first = static_cast<const uint8_t *>(from);
      sent.assign(first, first + n);
      return static_cast<ssize_t>(n);
    };
    context->udp_socket = 40;
  }
  ~WakeVectors() override { reset_sessions(); }

  // A device that starts with the group's key file.
  void start(const json &group) {
    reset_sessions();
    session_init(0);
    EXPECT_EQ(full_encryption, group.at("loads").get<bool>() ? 1u : 0u);
    if (!group.at("loads").get<bool>()) return;
    EXPECT_EQ(value_of(security_sessions.rsa_n), hex_of(group, "modulus"));
    EXPECT_EQ(value_of(security_sessions.rsa_e, 3), hex_of(group, "exponent"));
  }

  std::string serve(const bytes &packet) {
    sent.clear();
    receive(context.get(), packet);
    return captured([&] { EXPECT_EQ(packet_process(context.get()), -1); });
  }

  void judge(const json &one) {
    if (one.contains("earlier")) {
      for (const json &before : one.at("earlier")) {
        serve(hex_of(before, "packet"));
        clock.advance_ms(before.at("then_ms").get<int64_t>());
      }
    }
    const bytes packet = hex_of(one, "packet"), key = key_of(security_sessions);
    EXPECT_EQ(serve(packet), one.at("output").get<std::string>());
    const bool accepted = one.at("result").get<std::string>() == "accept";
    EXPECT_EQ(context->packet_failed, accepted ? 0u : 1u);
    if (!accepted) {
      EXPECT_TRUE(sent.empty()) << "answered";
      EXPECT_EQ(key_of(security_sessions), key);
      return;
    }
    ASSERT_EQ(sent.size(), 144u) << "not answered";
    EXPECT_EQ(bytes(sent.begin(), sent.begin() + 16), header("WRSP", 144, read_be32(packet, 12)));
    EXPECT_EQ(security_sessions.state, uint32_t{SESSION_WRSP_SENT});
    const bytes prime(packet.begin() + 24, packet.begin() + 152), dh_gx(sent.begin() + 16, sent.end());
    const bytes expected =
        one.contains("session_key") ? hex_of(one, "session_key") : power(dh_gx, hex_of(one, "peer_secret"), prime);
    EXPECT_EQ(to_hex(key_of(security_sessions)), to_hex(expected));
  }

  fake_clock clock{1'000'000};
  hooked_calls calls;
  std::unique_ptr<zolt_context> context = make_context();
  bytes sent;
};

TEST_F(WakeVectors, EachIsAcceptedOrRefusedAsItSays) {
  const working_directory directory;
  size_t played = 0, accepted = 0;
  for (const json &group : vectors_file().at("groups")) {
    std::remove("publickeys.dat");
    if (!group.at("key_file").is_null()) directory.write("publickeys.dat", group.at("key_file").get<std::string>());
    for (const json &one : group.at("cases")) {
      SCOPED_TRACE(group.at("comment").get<std::string>() + ", case " + one.at("id").dump() + ": " +
                   one.at("comment").get<std::string>());
      start(group);
      judge(one);
      ++played;
      if (one.at("result").get<std::string>() == "accept") ++accepted;
    }
  }
  EXPECT_EQ(played, vectors_file().at("cases").get<size_t>());
  EXPECT_GT(accepted, played / 8);
}

// Whoever reads the file can rely on this.
TEST_F(WakeVectors, EveryFlagAndReasonIsExplained) {
  for (const json &group : vectors_file().at("groups")) {
    for (const json &one : group.at("cases")) {
      SCOPED_TRACE(one.at("id").dump());
      for (const json &flag : one.at("flags"))
        EXPECT_TRUE(vectors_file().at("flags").contains(flag.get<std::string>()));
      const bool accepted = one.at("result").get<std::string>() == "accept";
      EXPECT_EQ(one.contains("reason"), !accepted);
      EXPECT_EQ(one.contains("peer_secret") || one.contains("session_key"), accepted);
      EXPECT_TRUE(accepted || vectors_file().at("reasons").contains(one.at("reason").get<std::string>()));
    }
  }
}

}  // namespace
}  // namespace libsec::test
