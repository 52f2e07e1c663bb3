// SPDX-License-Identifier: MIT
// A WAKE and a whole session while allocation 0, 1, 2, ... fails, once and from then on.
#include "faults/failing_heap.h"
#include "support/protocol_test.h"

namespace libsec::test {
namespace {

constexpr uint32_t id = 0x0BADCAFE;  // of vectors::wake_key_is_gx, whose peer has the secret 1: the key is gx
constexpr char refused[] = "Something was wrong with the WAKE packet. Resetting...\n";

void expect_valid(const num &X) {
  EXPECT_TRUE(X.sign == 1 || X.sign == -1);
  EXPECT_EQ(X.limb_count == 0, X.limbs == nullptr);
}

void expect_valid(const security_session &s) {
  for (const num *X : {&s.p, &s.g, &s.x, &s.gx, &s.yb, &s.k, &s.rr_p, &s.rsa_n, &s.rsa_e, &s.rsa_s, &s.rr_n}) {
    expect_valid(*X);
  }
}

// Whether the WAKE is the first one, whose numbers are all without limbs, or one that replaces another's.
class SessionMemory : public ProtocolTest, public testing::WithParamInterface<bool> {
 protected:
  // Nothing of an earlier run is left but the key, and before a further WAKE the numbers of the one before.
  void start_afresh() {
    reset_sessions();
    full_encryption = 1;
    load_test_key(&security_sessions);
    if (GetParam()) {
      exchange(from_hex(vectors::wake));
      ASSERT_EQ(peer.receive().size(), 144u);
    }
    set_key(&security_sessions, test_key());
    clock.advance_ms(181'000);
  }

  // One call that serves one packet. What the failing heap says is what it said of the library alone.
  std::string serve(failing_heap &heap, const bytes &packet, int index, how_long length) {
    peer.send(packet);
    reception r{};
    heap.run(index, length, [&] { r = receive(); });
    got = r.delivered();
    EXPECT_TRUE(r.output.ends_with(interrupted) || r.result == 0);
    return r.output;
  }

  void expect_whole_session(failing_heap &heap) {
    constexpr how_long once = how_long::once;
    serve(heap, wake, failing_heap::never, once);
    const bytes wrsp = peer.receive();
    ASSERT_EQ(wrsp.size(), 144u);
    const bytes key = payload_of(wrsp);
    EXPECT_EQ(key_of(security_sessions), key);
    // Behind the key exchange nothing is allocated: no shortage of memory can stop a session that runs.
    serve(heap, lgin(id, key), 0, how_long::from_then_on);
    EXPECT_EQ(heap.asked(), 0);
    EXPECT_EQ(opened(payload_of(peer.receive()), key).content(), joined({text("LOGGEDIN"), be32(id), {0, 180}}));
    serve(heap, encr(id, text("request"), key), 0, how_long::from_then_on);
    EXPECT_EQ(heap.asked(), 0);
    EXPECT_EQ(got, text("request"));
    bytes reply = text("reply");
    heap.run(0, how_long::from_then_on, [&] { EXPECT_EQ(ZOLT_send(context.get(), reply.data(), 5), 0); });
    EXPECT_EQ(heap.asked(), 0);
    EXPECT_EQ(opened(payload_of(peer.receive()), key).content(), reply);
    serve(heap, lout(id, key), 0, how_long::from_then_on);
    EXPECT_EQ(heap.asked(), 0);
    EXPECT_EQ(peer.receive().size(), 40u);
    EXPECT_EQ(security_sessions.state, uint32_t{SESSION_DORMANT});
  }

  const bytes wake = from_hex(vectors::wake_key_is_gx);
  bytes got;
};

// standard output is read through the program's own memory, which the heap's hooks must not fail.
TEST_P(SessionMemory, AWakeThatMeetsAnEmptyHeapIsRefusedAndTheNextOneStartsASession) {
  failing_heap heap(calls);
  const std::string received = std::string("received 412\n") + (GetParam() ? "timeout\n" : "");
  for (const how_long length : both_lengths) {
    for (int index = 0;; ++index) {
      SCOPED_TRACE(index);
      ASSERT_LT(index, 1000);
      start_afresh();
      const std::string output = serve(heap, wake, index, length);
      expect_valid(security_sessions);
      expect_valid(security_session_tmp);
      if (!heap.failed()) {
        EXPECT_GT(index, 5);  // a key exchange needs memory
        EXPECT_EQ(output, received + interrupted);
        EXPECT_EQ(peer.receive().size(), 144u);
        break;
      }
      EXPECT_EQ(output, received + refused + interrupted);
      EXPECT_EQ(context->packet_failed, 1u);
      EXPECT_EQ(to_hex(key_of(security_sessions)), to_hex(test_key()));
      EXPECT_LE(security_sessions.state, uint32_t{SESSION_WAKE_ADMITTED});
      EXPECT_FALSE(peer.has_received());
      clock.advance_ms(1);  // an admitted WAKE that went no further counts as elapsed after a millisecond
      expect_whole_session(heap);
    }
  }
  reset_sessions();
  EXPECT_EQ(heap.held(), 0);
}

INSTANTIATE_TEST_SUITE_P(The, SessionMemory, testing::Bool(),
                         [](const auto &replaces) { return replaces.param ? "FurtherWake" : "FirstWake"; });

}  // namespace
}  // namespace libsec::test
