// SPDX-License-Identifier: MIT
// What each step of a session leaves on the stack: nothing of the private exponent, of the generator that it
// came from, and of the session's key, be it as bytes, as limbs or in the digits that products work on.
#include <libsec/crypto.h>
#include <libsec/packet.h>

#include <memory>

#include "bignum/reduced_radix.h"
#include "support/captured.h"
#include "support/fake_clock.h"
#include "support/fake_kernel_random.h"
#include "support/packets.h"
#include "support/painted_stack.h"
#include "support/sessions.h"

namespace libsec::test {
namespace {

constexpr uint32_t id = wake_session_id;

class StackSecrets : public SessionTest {
 protected:
  StackSecrets() : context(make_context()) {
    load_test_key(&security_sessions);
    full_encryption = 1;
  }

  // Runs the packet through the dispatch, on the painted stack. There is no socket: answers are made and
  // then lost.
  std::unique_ptr<painted_stack> process(const bytes &packet, uint32_t state_before) {
    security_sessions.state = state_before;
    receive(context.get(), packet);
    std::unique_ptr<painted_stack> stack;
    text_of_last =
        captured([&] { stack = std::make_unique<painted_stack>([&] { (void)packet_process(context.get()); }); });
    return stack;
  }

  void expect_no_key(const painted_stack &stack) {
    const bytes key = key_of(security_sessions);
    EXPECT_FALSE(stack.holds_piece_of(key, 8));
    std::vector<uint32_t> words;
    for (size_t i = 0; i < key.size(); i += 4) words.push_back(read_be32(key, i));
    EXPECT_EQ(stack.words_held(words.data(), words.size()), 0u);
  }

  fake_clock clock{1'700'000'000};
  std::unique_ptr<zolt_context> context;
  std::string text_of_last;
};

// value * R' mod p as products have it, that or one modulus more, in digits.
template <typename word>
std::vector<word> digits_of_product(const num &value, const num &p, bool one_more) {
  using arithmetic = reduced_radix<word>;
  num X{1, 0, nullptr};
  EXPECT_EQ(num_copy(&X, &value), 0);
  EXPECT_EQ(num_shift_l(&X, arithmetic::bits * arithmetic::digits), 0);
  EXPECT_EQ(num_mod_num(&X, &X, &p), 0);
  EXPECT_EQ(one_more ? num_add_num(&X, &X, &p) : 0, 0);
  std::vector<word> digits;
  for (int i = 0; i < arithmetic::digits; ++i) {
    word digit = 0;
    for (int bit = 0; bit < arithmetic::bits; ++bit) {
      const int at = i * arithmetic::bits + bit;
      if (at / 32 < X.limb_count) digit |= word{X.limbs[at / 32] >> (at % 32) & 1} << bit;
    }
    digits.push_back(digit);
  }
  num_free(&X, static_cast<num *>(nullptr));
  return digits;
}

TEST_F(StackSecrets, AWakeLeavesNeitherExponentNorGeneratorNorKey) {
  auto generator = std::make_unique<havege_context>();
  clock.tick_us(7);
  clock.set(1'700'000'000);
  {
    const fake_kernel_random same_kernel{fake_kernel_random::mode::counted_bytes};
    havege_init(generator.get());
  }
  clock.set(1'700'000'000);
  const fake_kernel_random same_kernel{fake_kernel_random::mode::counted_bytes};
  const auto stack = process(from_hex(vectors::wake), SESSION_DORMANT);
  ASSERT_EQ(text_of_last, "UDP send failed\n");
  EXPECT_GT(stack->used(), sizeof(havege_context));

  // That was the generator of this exponent: its first draw is the exponent's highest byte.
  const bytes exponent = value_of(security_sessions.x);
  ASSERT_EQ(exponent[0], static_cast<uint8_t>(generator->pool[0] ^ generator->pool[HAVEGE_POOL_WORDS / 2]));
  EXPECT_EQ(stack->words_held(generator->pool, HAVEGE_POOL_WORDS), 0u);
  EXPECT_EQ(stack->words_held(generator->walk_table, HAVEGE_WALK_WORDS), 0u);
  EXPECT_NE(generator->walk_pointer_1 >> 16, 0);
  EXPECT_EQ(stack->words_held(&generator->walk_pointer_1, 1), 0u);

  EXPECT_FALSE(stack->holds_piece_of(exponent, 6));
  EXPECT_EQ(stack->words_held(security_sessions.x.limbs, 32), 0u);
  expect_no_key(*stack);
  for (const bool one_more : {false, true}) {
    const auto digits = digits_of_product<native_word>(security_sessions.k, security_sessions.p, one_more);
    EXPECT_EQ(stack->words_held(digits.data(), digits.size()), 0u);
  }
}

// A key is copied where its length is not whole slices, or where the output will cover it.
TEST_F(StackSecrets, ACopiedKeyIsWiped) {
  const bytes key = test_key();
  std::vector<uint32_t> words;
  for (size_t i = 0; i < key.size(); i += 4) words.push_back(read_be32(key, i));
  const auto *const first = reinterpret_cast<const uint8_t *>(words.data());
  const bytes loaded(first, first + key.size());
  for (const uint32_t length : {20u, 124u, 128u}) {
    for (const uint32_t rounds : {31u, 32u}) {
      bytes room(256);
      std::copy(key.begin(), key.end(), room.begin());
      uint8_t *const output = length % 16 != 0 ? room.data() + 128 : room.data();
      const painted_stack stack([&] { encrypt(room.data() + 128, output, 128, room.data(), length, rounds); });
      // A full run loads words, and slices as they stand, that the compiler may keep where it likes.
      const size_t piece = rounds < 32 ? 16 : length < 64 ? 20 : 64;
      EXPECT_FALSE(rounds < 32 && stack.holds_piece_of(loaded, piece)) << length << " bytes";
      EXPECT_FALSE(stack.holds_piece_of(key, piece)) << length << " bytes, " << rounds << " rounds";
    }
  }
}

TEST_F(StackSecrets, ARunningSessionLeavesNoKey) {
  process(from_hex(vectors::wake), SESSION_DORMANT);
  security_sessions.session_id = id;
  const bytes key = key_of(security_sessions);
  const bytes wide(1000, 'x');
  expect_no_key(*process(lgin(id, key), SESSION_WRSP_SENT));
  EXPECT_EQ(security_sessions.state, uint32_t{SESSION_LGIN_ACCEPTED});
  expect_no_key(*process(encr(id, text("request"), key), SESSION_LOGGED_IN));
  expect_no_key(*process(encr(id, wide, key), SESSION_DATA_FLOWING));
  for (const bytes &reply : {text("reply"), wide}) {
    context->data = const_cast<uint8_t *>(reply.data());
    context->data_length = static_cast<int32_t>(reply.size());
    captured([&] {
      const painted_stack stack([&] { (void)packet_process_encr_send(context.get()); });
      expect_no_key(stack);
    });
  }
  expect_no_key(*process(lout(id, key), SESSION_DATA_FLOWING));
}

}  // namespace
}  // namespace libsec::test
