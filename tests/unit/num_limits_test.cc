// SPDX-License-Identifier: MIT
// Numbers so long that their bits or their products' limbs cannot be counted in 32 bits. Only address
// space is used: of each array nothing but the highest and the lowest limb is ever touched.
#include <gtest/gtest.h>
#include <libsec/num.h>
#include <sys/mman.h>

#include <cstdint>
#include <limits>

#include "support/heap.h"
#include "support/num_values.h"

namespace {

constexpr int32_t most = std::numeric_limits<int32_t>::max();

// The sum of the highest limb's lowest bit and 1.
struct vast_number : num {
  explicit vast_number(int32_t count) : num{1, 0, nullptr}, bytes_{static_cast<size_t>(count) * sizeof(num_limb)} {
    void *const memory =
        mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) return;
    limbs = static_cast<num_limb *>(memory);
    limb_count = count;
    limbs[0] |= 1;
    limbs[count - 1] |= 1;
  }
  vast_number(const vast_number &) = delete;
  vast_number &operator=(const vast_number &) = delete;
  ~vast_number() {
    if (limbs != nullptr) munmap(limbs, bytes_);
  }

 private:
  size_t bytes_;
};

class NumLimits : public testing::Test {
 protected:
  void SetUp() override {
    if (sizeof(void *) < 8) GTEST_SKIP() << "there is no room for such a number";
#if defined(__has_feature)
#if __has_feature(memory_sanitizer)
    GTEST_SKIP() << "the sanitizer keeps as many bytes of its own, and writes them";
#endif
#endif
  }
};

TEST_F(NumLimits, BitsThatCannotBeCountedAreSaidToBeTheMostThatCan) {
  const vast_number x(1 << 26), below((1 << 26) - 1);
  ASSERT_NE(x.limbs, nullptr);
  ASSERT_NE(below.limbs, nullptr);
  EXPECT_EQ(num_msb(&x), most - 30);  // the last that can
  x.limbs[x.limb_count - 1] = 0x80000000;
  EXPECT_EQ(num_msb(&x), most);
  EXPECT_EQ(num_size(&x), 1 << 28);
  EXPECT_EQ(num_msb(&below), most - 62);
}

TEST_F(NumLimits, AShiftThatGoesBeyondThemFails) {
  vast_number x(1 << 26);
  ASSERT_NE(x.limbs, nullptr);
  const test::heap_watch heap;
  EXPECT_EQ(num_shift_l(&x, 31), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(heap.allocations(), 0);
  EXPECT_EQ(x.limbs[0], 1U);
}

TEST_F(NumLimits, AProductWhoseLimbsCannotBeCountedFails) {
  const vast_number a((1 << 30) + 1);
  ASSERT_NE(a.limbs, nullptr);
  const test::number one(1);
  test::number x(9);
  {
    const test::heap_watch heap;
    EXPECT_EQ(num_mul_num(&x, &a, &a), NUM_ERR_ALLOC_FAILED);
    EXPECT_EQ(heap.allocations(), 0);
  }
  EXPECT_EQ(x.limbs[0], 9U);
}

TEST_F(NumLimits, AModulusWhoseSquaredRadixHasNoBitCountIsRefused) {
  const vast_number n((1 << 25));
  ASSERT_NE(n.limbs, nullptr);
  const test::number a(3), e(5);
  test::number x, rr;
  const test::heap_watch heap;
  EXPECT_EQ(num_exp_mod(&x, &a, &e, &n, &rr), NUM_ERR_ALLOC_FAILED);
  EXPECT_EQ(heap.allocations(), 0);
}

}  // namespace
