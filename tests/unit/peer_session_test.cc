// SPDX-License-Identifier: MIT
#include "peer/session.h"
#include "support/peer_bench.h"

namespace {

using fake::answer;
using peer::protocol;
using std::chrono::milliseconds;
using support::listener;
using support::manager_key;
using support::options_for;

// Good sessions, and how the peer gets over losses.
class PeerSession : public testing::TestWithParam<protocol> {
 protected:
  static std::string publickeys() { return *manager_key().publickeys(); }
};

TEST_P(PeerSession, ARequestComesBackAndTheDeviceIsLeftIdle) {
  fake::device device(publickeys(), {});
  peer::session session(manager_key(), options_for(device, GetParam(), 2000));
  peer::status opened = session.open();
  ASSERT_TRUE(opened) << peer::describe(opened.error());
  EXPECT_TRUE(session.is_open());
  peer::result<peer::bytes> reply = session.request(peer::bytes_of("hello"));
  ASSERT_TRUE(reply) << peer::describe(reply.error());
  EXPECT_EQ(peer::text_of(*reply), "hello");
  EXPECT_EQ(device.last_request(), peer::bytes_of("hello"));
  peer::status closed = session.close();
  ASSERT_TRUE(closed) << peer::describe(closed.error());
  EXPECT_TRUE(device.idle());
  EXPECT_EQ(device.log(), GetParam() == protocol::tcp ? "accept WAKE LGIN ENCR LOUT" : "WAKE LGIN ENCR LOUT");
}

TEST_P(PeerSession, RequestsOfEverySizeGoThrough) {
  fake::device device(publickeys(), {});
  peer::session session(manager_key(), options_for(device, GetParam(), 2000));
  ASSERT_TRUE(session.open());
  for (size_t size : {size_t{0}, size_t{1}, size_t{3}, size_t{4}, size_t{11}, size_t{12}, size_t{1400}, size_t{30000},
                      size_t{39979}}) {
    peer::bytes content(size, 0xa5);
    peer::result<peer::bytes> reply = session.request(content);
    ASSERT_TRUE(reply) << size << ": " << peer::describe(reply.error());
    ASSERT_EQ(*reply, content) << size;
  }
  EXPECT_TRUE(session.close());
}

TEST_P(PeerSession, ARequestThatDoesNotFitIsRefusedAndTheSessionGoesOn) {
  fake::device device(publickeys(), {});
  peer::session session(manager_key(), options_for(device, GetParam(), 2000));
  ASSERT_TRUE(session.open());
  peer::result<peer::bytes> reply = session.request(peer::bytes(39980));
  ASSERT_FALSE(reply);
  EXPECT_EQ(reply.error().code, peer::exit_code::usage);
  EXPECT_TRUE(session.request(peer::bytes_of("still here")));
  EXPECT_TRUE(session.close());
}

TEST_P(PeerSession, SessionsFollowOneAnotherOnOneObject) {
  fake::device device(publickeys(), {});
  peer::session session(manager_key(), options_for(device, GetParam(), 2000));
  for (int round = 0; round < 3; round++) {
    ASSERT_TRUE(session.open());
    ASSERT_TRUE(session.request(peer::bytes_of("x")));
    ASSERT_TRUE(session.close());
  }
}

TEST_P(PeerSession, AnObjectThatGoesAwayLogsOut) {
  fake::device device(publickeys(), {});
  {
    peer::session session(manager_key(), options_for(device, GetParam(), 2000));
    ASSERT_TRUE(session.open());
  }
  EXPECT_TRUE(device.idle());
}

TEST_P(PeerSession, AFailedRequestLeavesOnlyTheLogoutAndThatWorks) {
  fake::behaviour late;
  late.deliver = [](answer kind, int, fake::delivery &how) {
    if (kind == answer::reply) how.delay = milliseconds(500);
  };
  fake::device device(publickeys(), late);
  peer::session session(manager_key(), options_for(device, GetParam()));
  ASSERT_TRUE(session.open());
  peer::result<peer::bytes> reply = session.request(peer::bytes_of("x"));
  ASSERT_FALSE(reply);
  EXPECT_EQ(reply.error().code, peer::exit_code::no_answer);
  // The late answer must not become that of another request.
  peer::result<peer::bytes> next = session.request(peer::bytes_of("y"));
  ASSERT_FALSE(next);
  EXPECT_EQ(next.error().code, peer::exit_code::other);
  EXPECT_TRUE(session.close());
  EXPECT_TRUE(device.idle());
  EXPECT_EQ(device.last_request(), peer::bytes_of("x"));
}

TEST_P(PeerSession, AFailedLoginIsLoggedOutAtOnce) {
  fake::behaviour wrong;
  wrong.content = [](answer kind, fake::bytes &content) {
    if (kind == answer::ack1) content[0] ^= 1;
  };
  fake::device device(publickeys(), wrong);
  peer::session session(manager_key(), options_for(device, GetParam()));
  EXPECT_FALSE(session.open());
  EXPECT_FALSE(session.is_open());
  EXPECT_TRUE(device.idle());
}

INSTANTIATE_TEST_SUITE_P(Over, PeerSession, testing::Values(protocol::udp, protocol::tcp), support::name_of);

class PeerSessionUdp : public PeerSession {};

TEST_F(PeerSessionUdp, LostPacketsAreSentAgain) {
  fake::behaviour lossy;
  lossy.lose = [](const std::string &signature, int nth) { return signature != "ENCR" && nth == 1; };
  fake::device device(publickeys(), lossy);
  listener heard;
  peer::session_options options = options_for(device, protocol::udp, 1000);
  options.observer = &heard;
  peer::session session(manager_key(), options);
  ASSERT_TRUE(session.open());
  ASSERT_TRUE(session.request(peer::bytes_of("x")));
  ASSERT_TRUE(session.close());
  EXPECT_EQ(heard.steps, "connect WAKE*2 LGIN*2 ENCR LOUT*2");
}

TEST_F(PeerSessionUdp, ALostRequestIsNotSentAgain) {
  fake::behaviour lossy;
  lossy.lose = [](const std::string &signature, int nth) { return signature == "ENCR" && nth == 1; };
  fake::device device(publickeys(), lossy);
  peer::session session(manager_key(), options_for(device, protocol::udp));
  ASSERT_TRUE(session.open());
  EXPECT_FALSE(session.request(peer::bytes_of("x")));
  EXPECT_TRUE(device.last_request().empty());
}

TEST_F(PeerSessionUdp, ALostWrspIsOutlastedWhenTheTimeoutAllows) {
  fake::behaviour lossy;
  lossy.login_limit = milliseconds(400);
  lossy.deliver = [](answer kind, int nth, fake::delivery &how) {
    if (kind == answer::wrsp && nth == 1) how.times = 0;
  };
  fake::device device(publickeys(), lossy);
  peer::session session(manager_key(), options_for(device, protocol::udp, 1500));
  peer::status opened = session.open();
  ASSERT_TRUE(opened) << peer::describe(opened.error());
  EXPECT_TRUE(session.close());
  EXPECT_NE(device.log().find("(WAKE)"), std::string::npos);
}

TEST_F(PeerSessionUdp, ALostAck1IsGotOverByANewSession) {
  fake::behaviour lossy;
  lossy.deliver = [](answer kind, int nth, fake::delivery &how) {
    if (kind == answer::ack1 && nth == 1) how.times = 0;
  };
  fake::device device(publickeys(), lossy);
  listener heard;
  peer::session_options options = options_for(device, protocol::udp);
  options.observer = &heard;
  peer::session session(manager_key(), options);
  peer::status opened = session.open();
  ASSERT_TRUE(opened) << peer::describe(opened.error());
  EXPECT_TRUE(session.request(peer::bytes_of("x")));
  EXPECT_TRUE(session.close());
  EXPECT_NE(heard.notes.find("starting anew"), std::string::npos);
  EXPECT_EQ(device.log(), "WAKE LGIN (LGIN) (LGIN) LOUT WAKE LGIN ENCR LOUT");
}

TEST_F(PeerSessionUdp, DoubledAnswersDoNotPassForTheNextOnes) {
  fake::behaviour echo;
  echo.deliver = [](answer, int, fake::delivery &how) { how.times = 2; };
  fake::device device(publickeys(), echo);
  listener heard;
  peer::session_options options = options_for(device, protocol::udp, 1000);
  options.observer = &heard;
  peer::session session(manager_key(), options);
  ASSERT_TRUE(session.open());
  for (const char *text : {"one", "two", "three"}) {
    std::this_thread::sleep_for(milliseconds(20));
    peer::result<peer::bytes> reply = session.request(peer::bytes_of(text));
    ASSERT_TRUE(reply);
    EXPECT_EQ(peer::text_of(*reply), text);
  }
  EXPECT_TRUE(session.close());
  EXPECT_NE(heard.notes.find("ignored"), std::string::npos);
}

TEST_F(PeerSessionUdp, AForgedDatagramBeforeTheTrueOneIsIgnored) {
  // The device sends a wrong answer and, when it is asked again, the right one.
  fake::behaviour twice;
  twice.login_limit = milliseconds(0);
  int made = 0;
  twice.public_value = [&made](fake::bytes &value, const fake::bytes &) {
    if (made++ == 0) value.assign(128, 0);
  };
  fake::device device(publickeys(), twice);
  peer::session session(manager_key(), options_for(device, protocol::udp, 1000));
  peer::status opened = session.open();
  ASSERT_TRUE(opened) << peer::describe(opened.error());
  EXPECT_TRUE(session.close());
}

class PeerSessionTcp : public PeerSession {};

TEST_F(PeerSessionTcp, AnswersInPiecesAreGathered) {
  fake::behaviour drip;
  drip.deliver = [](answer, int, fake::delivery &how) { how.piece = 7; };
  fake::device device(publickeys(), drip);
  peer::session session(manager_key(), options_for(device, protocol::tcp, 2000));
  ASSERT_TRUE(session.open());
  peer::result<peer::bytes> reply = session.request(peer::bytes(500, 'x'));
  ASSERT_TRUE(reply) << peer::describe(reply.error());
  EXPECT_EQ(reply->size(), 500U);
  EXPECT_TRUE(session.close());
}

// The request comes when the device still waits on the connection that is replaced: it may not end yet.
TEST_F(PeerSessionTcp, AnIdleConnectionIsReplacedBeforeItIsUsed) {
  fake::behaviour how;
  how.patience = milliseconds(2000);
  fake::device device(publickeys(), how);
  peer::session_options options = options_for(device, protocol::tcp, 1900);
  options.reconnect_after = milliseconds(1000);
  peer::session session(manager_key(), options);
  ASSERT_TRUE(session.open());
  std::this_thread::sleep_for(milliseconds(1500));
  peer::status served = peer::done;
  if (peer::result<peer::bytes> reply = session.request(peer::bytes_of("x")); !reply) served = reply.error();
  EXPECT_TRUE(served) << peer::describe(served.error());
  EXPECT_TRUE(session.close());
  EXPECT_EQ(device.log(), "accept WAKE LGIN accept ENCR LOUT");
}

// A device whose agent does not answer goes on reading from the connection, and from no other.
TEST_F(PeerSessionTcp, AnUnansweredRequestIsLoggedOutOnItsOwnConnection) {
  fake::behaviour silent;
  silent.deliver = [](answer kind, int, fake::delivery &how) {
    if (kind == answer::reply) how.times = 0;
  };
  fake::device device(publickeys(), silent);
  peer::session session(manager_key(), options_for(device, protocol::tcp, 200));
  ASSERT_TRUE(session.open());
  EXPECT_FALSE(session.request(peer::bytes_of("x")));
  EXPECT_FALSE(session.agent_was_silent());
  EXPECT_TRUE(session.close());
  EXPECT_TRUE(session.agent_was_silent());
  EXPECT_EQ(device.log(), "accept WAKE LGIN ENCR LOUT");
}

TEST_F(PeerSessionTcp, AReplyThatComesLateDoesNotHinderTheLogout) {
  fake::behaviour slow;
  slow.deliver = [](answer kind, int, fake::delivery &how) {
    if (kind == answer::reply) how.delay = milliseconds(350);
  };
  fake::device device(publickeys(), slow);
  peer::session session(manager_key(), options_for(device, protocol::tcp, 300));
  ASSERT_TRUE(session.open());
  EXPECT_FALSE(session.request(peer::bytes_of("x")));
  EXPECT_TRUE(session.close());
  EXPECT_FALSE(session.agent_was_silent());
  EXPECT_EQ(device.log(), "accept WAKE LGIN ENCR LOUT");
}

}  // namespace
