// SPDX-License-Identifier: MIT
#include <libsec/crypto.h>

#include <set>

#include "support/fake_clock.h"
#include "support/fake_kernel_random.h"
#include "support/heap.h"
#include "support/painted_stack.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

class Secrets : public SessionTest {
 protected:
  void set_prime(const bytes &value) {
    ASSERT_EQ(num_read_binary(&session.p, value.data(), static_cast<int32_t>(value.size())), 0);
  }

  bytes draw(uint32_t length = 128) {
    EXPECT_EQ(session_generate_random(&session, length), 0);
    return value_of(session.x, 255);
  }

  security_session &session = security_sessions;
  const bytes prime = from_hex(vectors::prime);
};

// The generator's entropy held still, so that two draws can be compared.
struct still_world {
  fake_clock clock{1'700'000'000};
  fake_kernel_random kernel{fake_kernel_random::mode::counted_bytes};
};

// What the exponent must be: one word of the generator per byte, its low eight bits.
bytes expected_exponent(size_t length) {
  still_world still;
  auto generator = std::make_unique<havege_context>();
  havege_init(generator.get());
  bytes out(255 - length);
  for (size_t i = 0; i < length; ++i) out.push_back(static_cast<uint8_t>(havege_rand(generator.get())));
  return out;
}

TEST_F(Secrets, TheExponentIsOneRandomWordsLowByteForEachOfItsBytes) {
  set_prime(prime);
  for (const uint32_t length : {1u, 2u, 32u, 128u, 254u, 255u}) {
    SCOPED_TRACE(length);
    const bytes expected = expected_exponent(length);
    still_world still;
    EXPECT_EQ(to_hex(draw(length)), to_hex(expected));
  }
}

TEST_F(Secrets, APrimeBelowTheRandomBytesDoesNotChangeThem) {
  const bytes expected = expected_exponent(128);
  for (const bytes &small : {from_hex(vectors::short_prime), bytes{3}, bytes{1}, bytes{0x80, 0, 0, 0}}) {
    SCOPED_TRACE(to_hex(small));
    set_prime(small);
    still_world still;
    EXPECT_EQ(to_hex(draw()), to_hex(expected));
  }
}

TEST_F(Secrets, APrimeOfZerosDoesNotHoldTheDrawForEver) {
  const bytes expected = expected_exponent(128);
  set_prime(bytes(128, 0));
  {
    still_world still;
    EXPECT_EQ(to_hex(draw()), to_hex(expected));
  }
  num_free(&session.p, static_cast<num *>(nullptr));
  still_world still;
  EXPECT_EQ(to_hex(draw()), to_hex(expected)) << "nor does a prime without limbs";
}

TEST_F(Secrets, NoGeneratorStateIsKeptBetweenTwoDraws) {
  set_prime(prime);
  bytes first, second;
  {
    still_world still;
    first = draw();
  }
  {
    still_world still;
    second = draw();
  }
  EXPECT_EQ(first, second) << "equal entropy, so a fresh generator gives the same bytes";
}

TEST_F(Secrets, EveryDrawIsAnother) {
  set_prime(prime);
  std::set<bytes> seen;
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(seen.insert(draw()).second);
}

TEST_F(Secrets, OnlyTheLowSixteenBitsOfTheLengthCount) {
  set_prime(prime);
  const bytes expected = expected_exponent(3);
  still_world still;
  EXPECT_EQ(draw(0xABCD0003u), expected);
}

TEST_F(Secrets, LengthsAbove255AreRefusedAndLeaveTheExponent) {
  set_prime(prime);
  const bytes before = draw();
  for (const uint32_t length : {256u, 257u, 65535u, 0x10100u}) {
    EXPECT_EQ(session_generate_random(&session, length), -1) << length;
  }
  EXPECT_EQ(value_of(session.x, 255), before);
}

TEST_F(Secrets, ALengthOfZeroGivesZero) {
  set_prime(prime);
  for (const uint32_t length : {0u, 0x10000u}) {
    draw(8);
    EXPECT_EQ(draw(length), bytes(255));
  }
}

TEST_F(Secrets, AFailedAllocationIsReportedAsTheNumberFunctionsDo) {
  set_prime(prime);
  test::heap_watch heap(0);
  EXPECT_EQ(session_generate_random(&session, 128), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(heap.allocations(), 1);
}

TEST_F(Secrets, TheStackKeepsNeitherTheExponentNorTheGenerator) {
  set_prime(prime);
  bytes exponent;
  int32_t result = 7;
  const painted_stack stack([&] { result = session_generate_random(&security_sessions, 128); });
  ASSERT_EQ(result, 0);
  exponent = value_of(session.x);
  EXPECT_FALSE(stack.holds_piece_of(exponent, 6));
  EXPECT_GT(stack.used(), sizeof(havege_context)) << "the generator lives on the stack";
  EXPECT_LT(stack.not_zero(), 12'000u) << "of a generator of 37 KB, whose bytes are nearly all non-zero";
}

TEST_F(Secrets, ADrawNeedsNoMoreStackThanTheGeneratorAndALittle) {
  set_prime(prime);
  int32_t result = 7;
  const painted_stack stack([&] { result = session_generate_random(&security_sessions, 128); });
  ASSERT_EQ(result, 0);
  EXPECT_LT(stack.used(), 60'000u) << "a second buffer of 37 or 40 KB would not fit a device's stack";
}

TEST_F(Secrets, ReplacedAndReleasedExponentsAreWipedFromTheHeap) {
  set_prime(prime);
  test::heap_watch heap;
  draw(16);
  draw(128);  // grows: the shorter array is released
  draw(255);
  EXPECT_EQ(heap.allocations(), 3);
  EXPECT_EQ(heap.still_held(), 1);
  num_free(&session.x, static_cast<num *>(nullptr));
  EXPECT_EQ(heap.still_held(), 0);
  EXPECT_EQ(heap.freed_unwiped(), 0);
}

}  // namespace
