// SPDX-License-Identifier: MIT
// A device that misbehaves: every case has its exit class and its text, over both transports.
#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>

#include "support/peer_bench.h"

// The system's lookup, but that one host takes two seconds.
extern "C" int getaddrinfo(const char *host, const char *service, const addrinfo *hints, addrinfo **found) {
  static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  if (host != nullptr && std::string_view(host) == "slow.host.invalid") {
    std::this_thread::sleep_for(std::chrono::seconds(2));
    return EAI_AGAIN;
  }
  return real(host, service, hints, found);
}

namespace {

using fake::answer;
using fake::behaviour;
using peer::exit_code;
using peer::protocol;
using std::chrono::milliseconds;
using support::manager_key;
using support::options_for;

struct wrong_device {
  const char *name;
  std::function<void(behaviour &)> set;
  exit_code code;
  const char *step;
  const char *happened;  // part of the text
};

// Changes one kind of answer as it goes out.
std::function<void(behaviour &)> packet(answer which, std::function<void(fake::bytes &)> change) {
  return [=](behaviour &how) {
    how.packet = [=](answer kind, fake::bytes &bytes) {
      if (kind == which) change(bytes);
    };
  };
}

std::function<void(behaviour &)> content(answer which, std::function<void(fake::bytes &)> change) {
  return [=](behaviour &how) {
    how.content = [=](answer kind, fake::bytes &bytes) {
      if (kind == which) change(bytes);
    };
  };
}

std::function<void(behaviour &)> block(answer which, std::function<void(fake::bytes &)> change) {
  return [=](behaviour &how) {
    how.block = [=](answer kind, fake::bytes &bytes) {
      if (kind == which) change(bytes);
    };
  };
}

std::function<void(behaviour &)> deliver(answer which, std::function<void(fake::delivery &)> change) {
  return [=](behaviour &how) {
    how.deliver = [=](answer kind, int, fake::delivery &delivery) {
      if (kind == which) change(delivery);
    };
  };
}

std::function<void(behaviour &)> public_value(std::function<void(fake::bytes &, const fake::bytes &)> change) {
  return [=](behaviour &how) { how.public_value = change; };
}

// Adds to the number that `bytes` hold, big-endian, without a carry.
void add_to_last(fake::bytes &bytes, int change) {
  bytes.back() = static_cast<uint8_t>(bytes.back() + change);
}

const auto silence = [](fake::delivery &how) { how.times = 0; };
const auto late = [](fake::delivery &how) { how.delay = milliseconds(1000); };
const auto shorter = [](fake::bytes &bytes) { bytes.pop_back(); };
const auto longer = [](fake::bytes &bytes) { bytes.push_back(0); };
const auto doubled = [](fake::bytes &bytes) {
  fake::bytes once = bytes;
  bytes.insert(bytes.end(), once.begin(), once.end());
};
// A size that the length field agrees with.
const auto grown = [](fake::bytes &bytes) {
  bytes.insert(bytes.end(), 8, 0);
  bytes[5] = static_cast<uint8_t>(bytes[5] + 8);
};
const auto shrunk = [](fake::bytes &bytes) {
  bytes.resize(bytes.size() - 8);
  bytes[5] = static_cast<uint8_t>(bytes[5] - 8);
};
auto flip(size_t at) {
  return [at](fake::bytes &bytes) { bytes[at] ^= 1; };
}

const wrong_device both[] = {
    {"NoWrsp", deliver(answer::wrsp, silence), exit_code::no_answer, "WAKE", "no WRSP from 127.0.0.1:"},
    {"NoAck1", deliver(answer::ack1, silence), exit_code::no_answer, "LGIN", "no ACK1 from 127.0.0.1:"},
    {"NoReply", deliver(answer::reply, silence), exit_code::no_answer, "ENCR", "no ENCR from 127.0.0.1:"},
    {"NoAck2", deliver(answer::ack2, silence), exit_code::no_answer, "LOUT", "no ACK2 from 127.0.0.1:"},
    {"LateWrsp", deliver(answer::wrsp, late), exit_code::no_answer, "WAKE", "within 0.5 s"},
    {"LateReply", deliver(answer::reply, late), exit_code::no_answer, "ENCR", "within 0.5 s"},
    {"GxZero", public_value([](auto &value, auto &) { value.assign(128, 0); }), exit_code::verification, "WAKE",
     "(dh_gx) that is 0"},
    {"GxOne", public_value([](auto &value, auto &) {
       value.assign(128, 0);
       value.back() = 1;
     }),
     exit_code::verification, "WAKE", "(dh_gx) that is 1"},
    {"GxPrimeLessOne", public_value([](auto &value, auto &prime) {
       value = prime;
       add_to_last(value, -1);
     }),
     exit_code::verification, "WAKE", "the prime less 1"},
    {"GxPrime", public_value([](auto &value, auto &prime) { value = prime; }), exit_code::verification, "WAKE",
     "not below the prime"},
    {"GxAbovePrime", public_value([](auto &value, auto &) { value.assign(128, 0xff); }), exit_code::verification,
     "WAKE", "not below the prime"},
    {"WrspName", packet(answer::wrsp, flip(0)), exit_code::verification, "WAKE", "a packet \"VRSP\""},
    {"WrspVersion", packet(answer::wrsp, flip(7)), exit_code::verification, "WAKE", "protocol version 257"},
    {"WrspBlockSize", packet(answer::wrsp, flip(11)), exit_code::verification, "WAKE", "65 bits"},
    {"WrspSession", packet(answer::wrsp, flip(15)), exit_code::verification, "WAKE", "answers to session"},
    {"WrspGrown", packet(answer::wrsp, grown), exit_code::verification, "WAKE", "WRSP has 152 bytes"},
    {"WrspShrunk", packet(answer::wrsp, shrunk), exit_code::verification, "WAKE", "WRSP has 136 bytes"},
    {"Ack1Name", packet(answer::ack1, flip(3)), exit_code::verification, "LGIN", "a packet \"ACK0\""},
    {"Ack1Session", packet(answer::ack1, flip(12)), exit_code::verification, "LGIN", "answers to session"},
    {"Ack1Grown", packet(answer::ack1, grown), exit_code::verification, "LGIN", "ACK1 has 48 bytes"},
    {"Ack1Crc", block(answer::ack1, flip(0)), exit_code::verification, "LGIN", "CRC"},
    {"Ack1Damaged", packet(answer::ack1, flip(30)), exit_code::verification, "LGIN", "CRC"},
    {"Ack1ContentLength", block(answer::ack1, flip(2)), exit_code::verification, "LGIN", "are content"},
    {"Ack1Text", content(answer::ack1, flip(0)), exit_code::verification, "LGIN", "ACK1 holds 4d4f4747"},
    {"Ack1Inside", content(answer::ack1, flip(8)), exit_code::verification, "LGIN", "ACK1 holds"},
    {"Ack1Lifetime", content(answer::ack1, flip(13)), exit_code::verification, "LGIN", "00b5"},
    {"Ack1NoLifetime", content(answer::ack1, [](auto &bytes) { bytes.resize(12); }), exit_code::verification, "LGIN",
     "ACK1 holds"},
    {"ReplyName", packet(answer::reply, flip(0)), exit_code::verification, "ENCR", "a packet \"DNCR\""},
    {"ReplySession", packet(answer::reply, flip(14)), exit_code::verification, "ENCR", "answers to session"},
    {"ReplyVersion", packet(answer::reply, flip(6)), exit_code::verification, "ENCR", "protocol version 0"},
    {"ReplyCrc", block(answer::reply, flip(1)), exit_code::verification, "ENCR", "CRC"},
    {"ReplyContentLength", block(answer::reply, flip(2)), exit_code::verification, "ENCR", "are content"},
    {"ReplyNoPayload",
     packet(answer::reply,
            [](auto &bytes) {
              bytes.resize(16);
              bytes[4] = 0;
              bytes[5] = 16;
            }),
     exit_code::verification, "ENCR", "ENCR has 16 bytes"},
    {"ReplyPartOfABlock",
     packet(answer::reply,
            [](auto &bytes) {
              bytes.push_back(0);
              bytes[5]++;
            }),
     exit_code::verification, "ENCR", "payload has 9 bytes"},
    {"Ack2Text", content(answer::ack2, flip(8)), exit_code::verification, "LOUT", "ACK2 holds"},
    {"Ack2Crc", block(answer::ack2, flip(0)), exit_code::verification, "LOUT", "CRC"},
    {"Ack2Session", packet(answer::ack2, flip(15)), exit_code::verification, "LOUT", "answers to session"},
};

const wrong_device udp_only[] = {
    {"WrspShort", packet(answer::wrsp, shorter), exit_code::verification, "WAKE",
     "says that it has 144 bytes but has 143"},
    {"WrspLong", packet(answer::wrsp, longer), exit_code::verification, "WAKE",
     "says that it has 144 bytes but has 145"},
    {"WrspHalfHeader", deliver(answer::wrsp, [](auto &how) { how.cut = 10; }), exit_code::verification, "WAKE",
     "the answer has 10 bytes"},
    {"WrspEmpty", deliver(answer::wrsp, [](auto &how) { how.cut = 0; }), exit_code::verification, "WAKE",
     "the answer has 0 bytes"},
    {"Ack1Half", deliver(answer::ack1, [](auto &how) { how.cut = 20; }), exit_code::verification, "LGIN", "but has 20"},
};

const wrong_device tcp_only[] = {
    {"WrspHalf", deliver(answer::wrsp, [](auto &how) { how.cut = 100; }), exit_code::no_answer, "WAKE",
     "stopped after 100 of 144 bytes"},
    {"WrspHalfHeader", deliver(answer::wrsp, [](auto &how) { how.cut = 5; }), exit_code::no_answer, "WAKE",
     "stopped after 5 bytes"},
    {"WrspHalfThenClosed",
     deliver(answer::wrsp,
             [](auto &how) {
               how.cut = 100;
               how.then_close = true;
             }),
     exit_code::verification, "WAKE", "closed the connection after 100 of 144 bytes"},
    {"ClosedWithoutWrsp",
     deliver(answer::wrsp,
             [](auto &how) {
               how.times = 0;
               how.then_close = true;
             }),
     exit_code::refused, "WAKE", "the device closed the connection"},
    {"ResetWithoutWrsp",
     deliver(answer::wrsp,
             [](auto &how) {
               how.times = 0;
               how.then_reset = true;
             }),
     exit_code::refused, "WAKE", "reset"},
    {"ClosedWithoutReply",
     deliver(answer::reply,
             [](auto &how) {
               how.times = 0;
               how.then_close = true;
             }),
     exit_code::agent, "ENCR", "the device closed the connection"},
    {"ResetWithoutReply",
     deliver(answer::reply,
             [](auto &how) {
               how.times = 0;
               how.then_reset = true;
             }),
     exit_code::agent, "ENCR", "reset"},
    {"WrspSaysZero", packet(answer::wrsp, [](auto &bytes) { bytes[4] = bytes[5] = 0; }), exit_code::verification,
     "WAKE", "says that it has 0 bytes"},
    {"WrspSaysTooMuch", packet(answer::wrsp, [](auto &bytes) { bytes[4] = 0xff; }), exit_code::verification, "WAKE",
     "says that it has 65424 bytes"},
    {"WrspSaysMore", packet(answer::wrsp, [](auto &bytes) { bytes[5]++; }), exit_code::no_answer, "WAKE",
     "stopped after 144 of 145 bytes"},
    {"WrspLong", packet(answer::wrsp, longer), exit_code::verification, "LGIN", "1 bytes came behind the last answer"},
    {"DoubledAck1", packet(answer::ack1, doubled), exit_code::verification, "ENCR",
     "40 bytes came behind the last answer"},
};

// The first failure of a session with two requests.
peer::failure first_failure(const fake::device &device, protocol over) {
  peer::session session(manager_key(), options_for(device, over, 500));
  if (peer::status opened = session.open(); !opened) return opened.error();
  for (const char *text : {"one", "two"}) {
    if (peer::result<peer::bytes> reply = session.request(peer::bytes_of(text)); !reply) return reply.error();
  }
  if (peer::status closed = session.close(); !closed) return closed.error();
  return {exit_code::ok, {}, {}, {}, {}, {}};
}

struct misbehaviour {
  wrong_device wrong;
  protocol over;
};

std::vector<misbehaviour> all() {
  std::vector<misbehaviour> cases;
  for (const wrong_device &wrong : both) {
    cases.push_back({wrong, protocol::udp});
    cases.push_back({wrong, protocol::tcp});
  }
  for (const wrong_device &wrong : udp_only) cases.push_back({wrong, protocol::udp});
  for (const wrong_device &wrong : tcp_only) cases.push_back({wrong, protocol::tcp});
  return cases;
}

// Most cases are waiting, so all of them wait at the same time, before the first is looked at.
const std::vector<peer::failure> &outcomes() {
  static const std::vector<peer::failure> results = [] {
    std::vector<misbehaviour> cases = all();
    std::vector<peer::failure> made(cases.size());
    std::vector<std::thread> threads;
    manager_key();
    for (size_t index = 0; index < cases.size(); index++) {
      threads.emplace_back([&, index] {
        behaviour how;
        cases[index].wrong.set(how);
        fake::device device(*manager_key().publickeys(), how);
        made[index] = first_failure(device, cases[index].over);
      });
    }
    for (std::thread &thread : threads) thread.join();
    return made;
  }();
  return results;
}

class PeerMisbehaviour : public testing::TestWithParam<size_t> {};

TEST_P(PeerMisbehaviour, EndsTheSessionWithItsClassAndText) {
  const wrong_device wrong = all()[GetParam()].wrong;
  const peer::failure &failure = outcomes()[GetParam()];
  std::string text = peer::describe(failure);
  EXPECT_EQ(failure.code, wrong.code) << text;
  EXPECT_EQ(failure.step, wrong.step) << text;
  EXPECT_NE(failure.happened.find(wrong.happened), std::string::npos) << text;
  for (const std::string &part : {failure.expected, failure.causes, failure.advice}) EXPECT_FALSE(part.empty()) << text;
}

std::string case_name(const testing::TestParamInfo<size_t> &number) {
  misbehaviour chosen = all()[number.param];
  return std::string(chosen.wrong.name) + (chosen.over == protocol::tcp ? "Tcp" : "Udp");
}

INSTANTIATE_TEST_SUITE_P(Of, PeerMisbehaviour, testing::Range(size_t{0}, all().size()), case_name);

class PeerRefusal : public testing::TestWithParam<protocol> {};

TEST_P(PeerRefusal, APortWithoutAServiceRefuses) {
  uint16_t port = 0;
  {
    fake::device gone(*manager_key().publickeys(), {});
    port = gone.port();
  }
  peer::session_options options;
  options.device = {"127.0.0.1", port, GetParam()};
  peer::session session(manager_key(), options);
  peer::status opened = session.open();
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().code, exit_code::refused);
  EXPECT_EQ(opened.error().step, GetParam() == protocol::tcp ? "connect" : "WAKE");
  EXPECT_NE(opened.error().causes.find("no agent listens"), std::string::npos);
}

TEST_P(PeerRefusal, AnotherKeyGetsNoAnswer) {
  peer::result<peer::private_key> other = peer::private_key::generate();
  ASSERT_TRUE(other);
  fake::device device(*other->publickeys(), {});
  peer::failure failure = first_failure(device, GetParam());
  EXPECT_EQ(failure.code, exit_code::no_answer);
  EXPECT_NE(failure.causes.find("key not accepted"), std::string::npos);
  EXPECT_TRUE(device.idle());
}

TEST_P(PeerRefusal, ABusyDeviceGetsTheBlameToo) {
  fake::device device(*manager_key().publickeys(), {});
  peer::session first(manager_key(), options_for(device, protocol::udp));
  ASSERT_TRUE(first.open());
  peer::failure failure = first_failure(device, GetParam());
  EXPECT_EQ(failure.code, exit_code::no_answer);
  EXPECT_NE(failure.causes.find("another manager"), std::string::npos);
  EXPECT_TRUE(first.close());
}

TEST(PeerHost, AHostWithoutAnAddressIsNamed) {
  peer::session_options options;
  options.device = {"no.such.host.invalid", 161, protocol::udp};
  peer::session session(manager_key(), options);
  peer::status opened = session.open();
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().code, exit_code::other);
  EXPECT_NE(opened.error().happened.find("no.such.host.invalid"), std::string::npos);
}

// A name server that is not there makes the system's lookup take its own time.
TEST(PeerHost, ALookupThatTakesTooLongEndsInTime) {
  peer::session_options options;
  options.device = {"slow.host.invalid", 161, protocol::udp};
  options.timeout = milliseconds(200);
  peer::session session(manager_key(), options);
  auto started = std::chrono::steady_clock::now();
  peer::status opened = session.open();
  EXPECT_LT(std::chrono::steady_clock::now() - started, milliseconds(1500));
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().code, exit_code::other);
  EXPECT_NE(opened.error().happened.find("no name server answered in time"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Over, PeerRefusal, testing::Values(protocol::udp, protocol::tcp), support::name_of);

// A flood of wrong datagrams, faster than this side looks at them, must end at the deadline all the same.
TEST(PeerFlood, EndsInTime) {
  struct slow_reader : peer::session_observer {
    void on_packet(bool, peer::byte_view) override { std::this_thread::sleep_for(milliseconds(2)); }
  } reader;
  behaviour how;
  how.public_value = [](auto &value, auto &) { value.assign(128, 0); };
  how.deliver = [](answer, int, fake::delivery &delivery) { delivery.flood = milliseconds(2000); };
  fake::device device(*manager_key().publickeys(), how);
  peer::session_options options = options_for(device, protocol::udp, 500);
  options.observer = &reader;
  peer::session session(manager_key(), options);
  auto started = std::chrono::steady_clock::now();
  peer::status opened = session.open();
  auto took = std::chrono::steady_clock::now() - started;
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().code, exit_code::verification);
  EXPECT_LT(took, milliseconds(1500));
}

}  // namespace
