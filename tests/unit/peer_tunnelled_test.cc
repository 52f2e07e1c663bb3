// SPDX-License-Identifier: MIT
// What a tunnel asks of a session: replies that belong to their requests, patience after failures, and an
// end at any time.
#include <unistd.h>

#include "peer/snmp.h"
#include "support/peer_bench.h"

namespace {

using fake::answer;
using peer::protocol;
using std::chrono::milliseconds;
using support::listener;
using support::manager_key;
using support::options_for;

class Tunnelled : public testing::TestWithParam<protocol> {
 protected:
  static std::string publickeys() { return *manager_key().publickeys(); }
};

// When each packet left.
struct watch : peer::session_observer {
  void on_packet(bool outgoing, peer::byte_view) override {
    if (outgoing) sent.push_back(peer::clock::now());
  }
  std::vector<peer::clock::time_point> sent;
};

// A pipe that becomes readable after a while.
class alarm_clock {
 public:
  explicit alarm_clock(milliseconds after) {
    EXPECT_EQ(::pipe(ends_), 0);
    thread_ = std::thread([=, this] {
      std::this_thread::sleep_for(after);
      EXPECT_EQ(::write(ends_[1], "", 1), 1);
    });
  }
  ~alarm_clock() {
    thread_.join();
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  int descriptor() const { return ends_[0]; }

 private:
  int ends_[2] = {-1, -1};
  std::thread thread_;
};

TEST_P(Tunnelled, AReplyToAnotherRequestIsNotHandedOn) {
  fake::behaviour how;
  how.agent = [](const fake::bytes &) { return fake::bytes{'o', 'l', 'd'}; };
  fake::device device(publickeys(), how);
  peer::session session(manager_key(), options_for(device, GetParam()));
  ASSERT_TRUE(session.open());
  auto reply = session.request(peer::bytes_of("new"), [](peer::byte_view text) { return text[0] == 'n'; });
  ASSERT_FALSE(reply);
  EXPECT_EQ(reply.error().code, peer::exit_code::verification);
  EXPECT_EQ(reply.error().happened, "the reply answers another request");
  EXPECT_TRUE(session.close());
}

TEST_P(Tunnelled, AReplyThatFitsIsHandedOn) {
  fake::device device(publickeys(), {});
  peer::session session(manager_key(), options_for(device, GetParam()));
  ASSERT_TRUE(session.open());
  EXPECT_TRUE(session.request(peer::bytes_of("new"), [](peer::byte_view text) { return text[0] == 'n'; }));
}

TEST_P(Tunnelled, AfterAFailureThePacketsAreFarApartUntilOneIsAnswered) {
  fake::behaviour how;
  how.deliver = [](answer kind, int nth, fake::delivery &delivery) {
    if (kind == answer::reply && nth == 1) delivery.times = 0;
  };
  fake::device device(publickeys(), how);
  peer::session_options options = options_for(device, GetParam(), 100);
  options.pause_after_failure = milliseconds(400);
  watch watching;
  options.observer = &watching;
  peer::session session(manager_key(), options);
  ASSERT_TRUE(session.open());
  ASSERT_FALSE(session.request(peer::bytes_of("lost")));
  ASSERT_TRUE(session.close());
  ASSERT_TRUE(session.open());
  ASSERT_EQ(watching.sent.size(), 6u);  // WAKE LGIN ENCR, LOUT, WAKE LGIN
  EXPECT_GE(watching.sent[3] - watching.sent[2], milliseconds(400));
  EXPECT_LT(watching.sent[5] - watching.sent[3], milliseconds(400));
}

TEST_P(Tunnelled, ARequestIsInterruptedAndTheLogoutIsNot) {
  fake::behaviour how;
  how.deliver = [](answer kind, int, fake::delivery &delivery) {
    if (kind == answer::reply) delivery.times = 0;
  };
  fake::device device(publickeys(), how);
  peer::session_options options = options_for(device, GetParam(), 20000);
  alarm_clock stop(milliseconds(200));
  options.stop = stop.descriptor();
  peer::session session(manager_key(), options);
  ASSERT_TRUE(session.open());
  auto started = peer::clock::now();
  auto reply = session.request(peer::bytes_of("hello"));
  EXPECT_LT(peer::clock::now() - started, milliseconds(5000));
  ASSERT_FALSE(reply);
  EXPECT_EQ(reply.error().code, peer::exit_code::interrupted);
  EXPECT_TRUE(session.close());
  EXPECT_TRUE(device.idle());
}

TEST_P(Tunnelled, OpeningIsInterrupted) {
  fake::behaviour how;
  how.deliver = [](answer, int, fake::delivery &delivery) { delivery.times = 0; };
  fake::device device(publickeys(), how);
  peer::session_options options = options_for(device, GetParam(), 20000);
  alarm_clock stop(milliseconds(200));
  options.stop = stop.descriptor();
  peer::session session(manager_key(), options);
  auto started = peer::clock::now();
  peer::status opened = session.open();
  EXPECT_LT(peer::clock::now() - started, milliseconds(5000));
  ASSERT_FALSE(opened);
  EXPECT_EQ(opened.error().code, peer::exit_code::interrupted);
}

INSTANTIATE_TEST_SUITE_P(Over, Tunnelled, testing::Values(protocol::udp, protocol::tcp), support::name_of);

}  // namespace
