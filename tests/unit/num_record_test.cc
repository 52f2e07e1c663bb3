// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <cstddef>
#include <cstdint>
#include <limits>

#include "support/heap.h"
#include "support/num_values.h"

namespace {

using test::heap_watch;
using test::limb_list;
using test::limbs_of;
using test::number;

static_assert(offsetof(num, sign) == 0 && offsetof(num, limb_count) == 4 && offsetof(num, limbs) == 8);
static_assert(sizeof(num) == 8 + sizeof(num_limb *));

constexpr num *end_of_list = nullptr;

void expect_empty(const num &X) {
  EXPECT_EQ(X.sign, 1);
  EXPECT_EQ(X.limb_count, 0);
  EXPECT_EQ(X.limbs, nullptr);
}

TEST(NumInit, EveryRecordOfTheListBecomesEmpty) {
  num_limb somewhere = 7;
  num a{-1, 1, &somewhere}, b = a, c = a;
  EXPECT_EQ(num_init(&a, &b, end_of_list), 0);
  expect_empty(a);
  expect_empty(b);
  EXPECT_EQ(c.limbs, &somewhere);
  EXPECT_EQ(somewhere, 7U);
}

TEST(NumFree, EveryRecordOfTheListIsWipedAndEmptied) {
  heap_watch heap;
  num a{}, b{};
  num_init(&a, &b, end_of_list);
  ASSERT_EQ(num_lset(&a, -5), 0);
  ASSERT_EQ(num_lset(&b, 6), 0);
  EXPECT_EQ(num_free(&a, &b, end_of_list), 0);
  expect_empty(a);
  expect_empty(b);
  EXPECT_EQ(heap.still_held(), 0);
  EXPECT_EQ(heap.freed_unwiped(), 0);
}

TEST(NumFree, TwiceIsHarmlessAndTheRecordCanBeUsedAgain) {
  number a(5);
  num_free(&a, end_of_list);
  num_free(&a, end_of_list);
  expect_empty(a);
  EXPECT_EQ(num_lset(&a, 9), 0);
  EXPECT_EQ(limbs_of(a), (limb_list{9}));
}

TEST(NumGrow, NewLimbsAreZeroAndValueAndSignStay) {
  number a(-1, {1, 2});
  EXPECT_EQ(num_grow(&a, 5), 0);
  EXPECT_EQ(a.sign, -1);
  EXPECT_EQ(limbs_of(a), (limb_list{1, 2, 0, 0, 0}));
}

TEST(NumGrow, ACountThatIsThereAlreadyOrNegativeChangesNothing) {
  number a(1, {1, 2});
  const num before = a;
  for (const int32_t count : {2, 1, 0, -1, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(num_grow(&a, count), 0);
    EXPECT_EQ(a.limbs, before.limbs);
    EXPECT_EQ(a.limb_count, 2);
  }
}

TEST(NumGrow, TheReplacedArrayIsWipedBeforeItIsFreed) {
  heap_watch heap;
  number a(12345);
  ASSERT_EQ(num_grow(&a, 3), 0);
  EXPECT_EQ(heap.allocations(), 2);
  EXPECT_EQ(heap.freed_unwiped(), 0);
  EXPECT_EQ(limbs_of(a), (limb_list{12345, 0, 0}));
}

TEST(NumGrow, FailureLeavesTheRecordAsItWas) {
  number a(-1, {1, 2});
  const num before = a;
  heap_watch heap(0);
  EXPECT_EQ(num_grow(&a, 3), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(a.limbs, before.limbs);
  EXPECT_EQ(a.limb_count, 2);
  EXPECT_EQ(a.sign, -1);
}

TEST(NumGrow, ASizeThatMemoryCannotHaveFails) {
  if (sizeof(size_t) > 4) GTEST_SKIP() << "only a 32-bit size can wrap";
  number a(3);
  for (const int32_t count : {0x20000000, 0x40000000, 0x40000001, 0x7fffffff}) {
    EXPECT_EQ(num_grow(&a, count), NUM_ERR_ALLOC_FAILED);
    EXPECT_EQ(limbs_of(a), (limb_list{3}));
  }
}

TEST(NumCopy, HighZeroLimbsAreNotAllocatedInASmallerRecord) {
  const number y(-1, {7, 8, 0, 0});
  number x;
  EXPECT_EQ(num_copy(&x, &y), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{7, 8}));
  EXPECT_EQ(x.sign, -1);
}

TEST(NumCopy, ALargerRecordKeepsItsRoomAndIsCleared) {
  const number y(1, {7});
  number x(-1, {1, 2, 3});
  EXPECT_EQ(num_copy(&x, &y), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{7, 0, 0}));
  EXPECT_EQ(x.sign, 1);
}

TEST(NumCopy, AZeroWithLimbsIsCopiedAsOneLimb) {
  const number y(-1, {0, 0, 0});
  number x;
  EXPECT_EQ(num_copy(&x, &y), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0}));
  EXPECT_EQ(x.sign, -1);
}

TEST(NumCopy, ARecordWithoutLimbsClearsTheDestination) {
  number y, x(-1, {1, 2}), empty;
  EXPECT_EQ(num_copy(&x, &y), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 0}));
  EXPECT_EQ(x.sign, 1);
  EXPECT_EQ(num_copy(&empty, &y), 0);
  expect_empty(empty);
}

TEST(NumCopy, OntoItselfChangesNothing) {
  number x(-1, {1, 0});
  EXPECT_EQ(num_copy(&x, &x), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{1, 0}));
}

TEST(NumCopy, FailureTakesTheSignOverAndNothingElse) {
  const number y(-1, {7, 8});
  number x(1, {5});
  heap_watch heap(0);
  EXPECT_EQ(num_copy(&x, &y), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(x.limb_count, 1);
  EXPECT_EQ(x.limbs[0], 5U);
}

TEST(NumSwap, ExchangesTheRecordsWithoutAllocating) {
  number a(-1, {1, 2}), b(1, {3});
  const num was_a = a, was_b = b;
  heap_watch heap;
  EXPECT_EQ(num_swap(&a, &b), 0);
  EXPECT_EQ(heap.allocations(), 0);
  EXPECT_TRUE(a.limbs == was_b.limbs && a.limb_count == 1 && a.sign == 1);
  EXPECT_TRUE(b.limbs == was_a.limbs && b.limb_count == 2 && b.sign == -1);
}

TEST(NumLset, TheMostNegativeValueKeepsItsMagnitude) {
  number x;
  EXPECT_EQ(num_lset(&x, std::numeric_limits<int32_t>::min()), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0x80000000}));
  EXPECT_EQ(x.sign, -1);
}

TEST(NumLset, AllOtherLimbsBecomeZeroAndZeroIsPositive) {
  number x(-1, {1, 2, 3});
  EXPECT_EQ(num_lset(&x, -9), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{9, 0, 0}));
  EXPECT_EQ(x.sign, -1);
  EXPECT_EQ(num_lset(&x, 0), 0);
  EXPECT_EQ(limbs_of(x), (limb_list{0, 0, 0}));
  EXPECT_EQ(x.sign, 1);
}

TEST(NumLset, FailureLeavesTheRecordAsItWas) {
  number x;
  heap_watch heap(0);
  EXPECT_EQ(num_lset(&x, 4), NUM_ERR_ALLOC_FAILED);
  expect_empty(x);
}

}  // namespace
