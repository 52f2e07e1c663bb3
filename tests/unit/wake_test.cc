// SPDX-License-Identifier: MIT
// WAKE and its WRSP: the key exchange. What an independent library makes of it: exchange_oracle_test.cc.
#include <poll.h>

#include <cerrno>

#include "support/protocol_test.h"
#include "support/working_directory.h"

namespace libsec::test {
namespace {

constexpr char resetting[] = "Something was wrong with the WAKE packet. Resetting...\n";
constexpr uint32_t short_prime_id = 0x55667788;
constexpr uint32_t key_is_gx_id = 0x0BADCAFE;

const bytes good_wake = from_hex(vectors::wake);

class Wake : public ProtocolTest {
 protected:
  Wake() { load_test_key(&security_sessions); }

  // base^x mod prime, without any cached constant.
  static bytes power_of_secret(const num *base) {
    num result;
    num_init(&result, static_cast<num *>(nullptr));
    EXPECT_EQ(num_exp_mod(&result, base, &security_sessions.x, &security_sessions.p, nullptr), 0);
    const bytes value = value_of(result);
    num_free(&result, static_cast<num *>(nullptr));
    return value;
  }

  void expect_wrsp(const bytes &wrsp, uint32_t session_id) {
    ASSERT_EQ(wrsp.size(), 144u);
    EXPECT_EQ(header_of(wrsp), header("WRSP", 144, session_id));
    EXPECT_EQ(payload_of(wrsp), power_of_secret(&security_sessions.g));
    EXPECT_EQ(key_of(security_sessions), power_of_secret(&security_sessions.yb));
  }

  // A WAKE that is refused: no answer, and neither key nor timer has changed.
  void expect_refused(const bytes &wake, const std::string &output) {
    const bytes key = key_of(security_sessions);
    const timer_state timer = security_sessions.timer;
    context->tcp_session_active = 0;
    expect_consumed(wake, output);
    EXPECT_EQ(context->packet_failed, 1u);
    EXPECT_EQ(security_sessions.state, SESSION_WAKE_ADMITTED);
    EXPECT_EQ(key_of(security_sessions), key);
    EXPECT_EQ(security_sessions.timer.seconds, timer.seconds);
    EXPECT_EQ(security_sessions.timer.microseconds, timer.microseconds);
    EXPECT_FALSE(peer.has_received());
  }
};

TEST_F(Wake, IsAnsweredWithWrspAndKeysTheSession) {
  expect_consumed(good_wake, "");
  EXPECT_EQ(context->packet_failed, 0u);
  EXPECT_EQ(security_sessions.state, SESSION_WRSP_SENT);
  EXPECT_EQ(security_sessions.session_id, wake_session_id);
  EXPECT_EQ(security_sessions.key_length, 128);
  EXPECT_EQ(value_of(security_sessions.p), from_hex(vectors::prime));
  EXPECT_EQ(value_of(security_sessions.yb), from_hex(vectors::peer_public));
  expect_wrsp(peer.receive(), wake_session_id);
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Wake, APeerWhoseSecretIsOneHoldsTheKeyThatItIsSent) {
  expect_consumed(from_hex(vectors::wake_key_is_gx), "");
  EXPECT_EQ(payload_of(peer.receive()), key_of(security_sessions));
}

TEST_F(Wake, OverTcpIsAnsweredOnTheConnection) {
  tcp_peer tcp(context);
  tcp.send(good_wake);
  expect_no_data(receive(),
                 "TCP connection accepted\nAll data received\nreceived 412\nSent 144\n"
                 "There is already an active TCP session\nNo more data was in the buffer\nreceived 0\nno data\n");
  expect_wrsp(tcp.receive(144), wake_session_id);
  EXPECT_FALSE(tcp.has_received());
  EXPECT_FALSE(peer.has_received());
}

TEST_F(Wake, APublicValueWithLeadingZerosIsPaddedToItsFullLength) {
  expect_consumed(from_hex(vectors::wake_short_prime), "");
  const bytes wrsp = peer.receive();
  expect_wrsp(wrsp, short_prime_id);
  const bytes public_value = payload_of(wrsp);
  EXPECT_EQ(bytes(public_value.begin(), public_value.begin() + 4), bytes(4));
}

TEST_F(Wake, SessionsInARowWithDifferentPrimesEachComputeWithTheirOwn) {
  for (int round = 0; round < 2; ++round) {
    expect_consumed(from_hex(vectors::wake_short_prime), "");
    expect_wrsp(peer.receive(), short_prime_id);
    clock.advance_ms(10001);
    expect_consumed(good_wake, "timeout\n");
    expect_wrsp(peer.receive(), wake_session_id);
    clock.advance_ms(10001);
    expect_consumed(from_hex(vectors::wake_key_is_gx), "timeout\n");
    expect_wrsp(peer.receive(), key_is_gx_id);
    security_sessions.state = SESSION_DORMANT;
  }
}

TEST_F(Wake, EverySessionHasASecretOfItsOwn) {
  expect_consumed(good_wake, "");
  const bytes first = peer.receive();
  security_sessions.state = SESSION_DORMANT;
  expect_consumed(good_wake, "");
  EXPECT_NE(peer.receive(), first);
}

TEST_F(Wake, BytesBehindTheLastFieldAreIgnored) {
  expect_consumed(from_hex(vectors::wake_trailing), "");
  expect_wrsp(peer.receive(), wake_session_id);
}

// ---- refusals ----

TEST_F(Wake, OfFourHundredElevenBytesIsRefusedWithoutAWord) {
  bytes wake(good_wake.begin(), good_wake.end() - 1);
  wake[5] = 411 & 0xFF;
  expect_refused(wake, "");
}

TEST_F(Wake, ThatIsTooShortKeepsTheConnection) {
  tcp_peer tcp(context);
  bytes wake(good_wake.begin(), good_wake.end() - 1);
  wake[5] = 411 & 0xFF;
  tcp.send(wake);
  expect_no_data(receive(),
                 "TCP connection accepted\nAll data received\nreceived 411\n"
                 "There is already an active TCP session\nNo more data was in the buffer\nreceived 0\nno data\n");
  EXPECT_FALSE(tcp.has_received());
}

TEST_F(Wake, WhoseSignatureDoesNotVerifyIsRefused) {
  bytes wake = good_wake;
  wake[411] ^= 1;
  set_key(&security_sessions, test_key());
  expect_refused(wake, resetting);
}

TEST_F(Wake, WhoseSignedBytesWereChangedIsRefused) {
  bytes wake = good_wake;
  wake[281] ^= 1;
  expect_refused(wake, resetting);
}

TEST_F(Wake, WhoseLengthIsWrongIsRefused) {
  bytes wake = good_wake;
  wake[5] = 411 & 0xFF;
  expect_refused(wake, std::string("packet length error\nreported length = 411, actual length = 412") + resetting);
}

TEST_F(Wake, WithALengthFieldOfItsOwnIsRefused) {
  for (const size_t field : {16u, 22u, 152u, 282u}) {
    reset_sessions();
    full_encryption = 1;
    load_test_key(&security_sessions);
    bytes wake = good_wake;
    ++wake[field + 1];
    expect_refused(wake, resetting);
  }
}

TEST_F(Wake, WithoutAKeyNoSignatureVerifies) {
  reset_sessions();
  for (const char *wake : {vectors::wake, vectors::wake_raw_digest}) {
    security_sessions.state = SESSION_DORMANT;
    expect_refused(from_hex(wake), resetting);
  }
}

TEST_F(Wake, FromAPeerThatSignedAnEvenOrZeroPrimeChangesNeitherKeyNorTimer) {
  start_session(SESSION_DORMANT);
  for (const char *wake : {vectors::wake_even_prime, vectors::wake_zero_prime}) {
    security_sessions.state = SESSION_DORMANT;
    clock.advance_ms(5);
    expect_refused(from_hex(wake), resetting);
  }
}

TEST_F(Wake, ARefusedOneGivesTheConnectionUpAndLeavesItOpen) {
  tcp_peer tcp(context);
  tcp.send(from_hex(vectors::wake_even_prime));
  expect_served(receive(), std::string("TCP connection accepted\nAll data received\nreceived 412\n") + resetting);
  EXPECT_EQ(context->tcp_session_active, 0);
  EXPECT_TRUE(is_open(context->tcp_client_socket));
  EXPECT_FALSE(tcp.has_received());
}

TEST_F(Wake, WithoutMemoryIsRefusedAndChangesNeitherKeyNorTimer) {
  // The n-th allocation fails, for every n until there are not so many.
  start_session(SESSION_DORMANT);
  const bytes key = test_key();
  int failures = 0;
  for (bool accepted = false; !accepted; ++failures) {
    security_sessions.state = SESSION_DORMANT;
    libsec::test::receive(context.get(), good_wake);
    context->peer_address.family = AF_INET;
    context->peer_address.port = htons(peer.port());
    context->peer_address.address = htonl(INADDR_LOOPBACK);
    int left = failures;
    const auto refuses = [&left] { return left-- == 0; };
    int32_t result = 0;
    const std::string output = captured([&] {
      calls->calloc = [&](size_t count, size_t length) { return refuses() ? nullptr : real_calloc(count, length); };
      calls->malloc = [&](size_t length) { return refuses() ? nullptr : real_malloc(length); };
      result = packet_process(context.get());
      calls->calloc = nullptr;
      calls->malloc = nullptr;
    });
    ASSERT_EQ(result, -1);
    accepted = context->packet_failed == 0;
    ASSERT_EQ(accepted, left >= 0) << failures;
    ASSERT_EQ(output, accepted ? "" : resetting) << failures;
    if (!accepted) {
      ASSERT_EQ(security_sessions.state, SESSION_WAKE_ADMITTED) << failures;
      ASSERT_EQ(key_of(security_sessions), key) << failures;
      ASSERT_FALSE(peer.has_received()) << failures;
    }
  }
  EXPECT_GT(failures, 3);
  expect_wrsp(peer.receive(), wake_session_id);
}

TEST_F(Wake, WhoseAnswerCannotBeSentStaysAdmitted) {
  calls->sendto = [](int, const void *, size_t, int, const sockaddr *, socklen_t) { return ssize_t{fail(EPERM)}; };
  expect_consumed(good_wake, "UDP send failed\n");
  EXPECT_EQ(security_sessions.state, SESSION_WAKE_ADMITTED);
  EXPECT_EQ(key_of(security_sessions), power_of_secret(&security_sessions.yb));
  EXPECT_EQ(context->packet_failed, 1u);
}

TEST_F(Wake, APeerThatResetsItsConnectionBeforeTheAnswerEndsNothingButTheConnection) {
  tcp_peer tcp(context);
  tcp.send(good_wake);
  calls->send = [&](int descriptor, const void *from, size_t length, int flags) {
    tcp.reset();
    EXPECT_TRUE(becomes(descriptor, POLLERR));
    int error = 0;
    socklen_t error_length = sizeof error;
    EXPECT_EQ(getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &error_length), 0);
    clock.tick_us(1'000'000);                           // or the rest of a packet would be polled for for ever
    return real_send(descriptor, from, length, flags);  // a broken pipe now: SIGPIPE, were it not suppressed
  };
  const reception r = receive();
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r.output.substr(0, r.output.find("There is")),
            "TCP connection accepted\nAll data received\nreceived 412\nSent -1\nThe tcp_send function failed\n");
  EXPECT_EQ(security_sessions.state, SESSION_WAKE_ADMITTED);
  calls->send = nullptr;
  clock.tick_us(0);

  clock.advance_ms(1);
  expect_consumed(good_wake, "timeout\n");
  expect_wrsp(peer.receive(), wake_session_id);
}

// ---- admission ----

TEST_F(Wake, IsRefusedWhileASessionRunsAndAdmittedWhenItsTimeIsUp) {
  struct {
    uint32_t state;
    int64_t limit_ms;
  } const cases[] = {{SESSION_WRSP_SENT, 10000}, {SESSION_LOGGED_IN, 180000}, {SESSION_DATA_FLOWING, 180000}};
  for (const auto &c : cases) {
    start_session(c.state);
    clock.advance_ms(c.limit_ms);
    expect_consumed(good_wake, "Error getting session\n");
    EXPECT_EQ(security_sessions.state, c.state);
    EXPECT_EQ(key_of(security_sessions), test_key());
    EXPECT_FALSE(peer.has_received());
    clock.advance_ms(1);
    expect_consumed(good_wake, "timeout\n");
    expect_wrsp(peer.receive(), wake_session_id);
  }
}

TEST_F(Wake, IsAdmittedAtOnceAfterALogout) {
  start_session(SESSION_LOGGED_IN);
  expect_consumed(lout(live_id, test_key()), "");
  EXPECT_EQ(peer.receive().size(), 40u);
  expect_consumed(good_wake, "");
  expect_wrsp(peer.receive(), wake_session_id);
}

TEST_F(Wake, TheSessionsTimeRunsFromItsAnswer) {
  clock.advance_ms(77000);
  expect_consumed(good_wake, "");
  EXPECT_EQ(security_sessions.timer.seconds, 1'000'077);
  EXPECT_EQ(security_sessions.timer_start, 1'000'077'000u);  // the timer had never been reset
  clock.advance_ms(10000);
  expect_consumed(lgin(wake_session_id, key_of(security_sessions)), "");
  EXPECT_EQ(security_sessions.state, SESSION_LOGGED_IN);
}

// ---- the key file ----

TEST_F(Wake, AfterTheKeyFileChangedOnlyTheNewKeyVerifies) {
  // Under the exponent 1, a signature is what it signs. Another modulus also needs another cached constant.
  reset_sessions();
  const working_directory directory;
  directory.write("publickeys.dat", key_file());
  ASSERT_EQ(packet_process_init(context.get(), 0), 0);
  expect_consumed(good_wake, "");
  EXPECT_EQ(peer.receive().size(), 144u);

  directory.write("publickeys.dat", std::string("PublicKeyN=") + vectors::prime + "\nPublicKeyE=000001\n");
  ASSERT_EQ(packet_process_init(context.get(), 0), 0);
  security_sessions.state = SESSION_DORMANT;
  expect_refused(good_wake, resetting);
  security_sessions.state = SESSION_DORMANT;
  expect_consumed(from_hex(vectors::wake_raw_digest), "");
  expect_wrsp(peer.receive(), wake_session_id);
}

}  // namespace
}  // namespace libsec::test
