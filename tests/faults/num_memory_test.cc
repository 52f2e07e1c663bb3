// SPDX-License-Identifier: MIT
// Every operation on numbers while allocation 0, 1, 2, ... fails, once and from then on, until one run
// meets no failure any more.
#include <gtest/gtest.h>
#include <libsec/num.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <string>

#include "faults/failing_heap.h"
#include "support/num_values.h"

namespace libsec::test {
namespace {

using ::test::limb_list;
using ::test::limbs_of;
using ::test::number;

// X and Y may be written; A, B and N are only read, unless an operation names one twice.
struct operands {
  number X, Y;
  number long_base{1, limb_list(32, 0xffffffff)};
  number modulus_1024{1, limb_list(32, 0x90000001)};
  number long_exponent{1, limb_list(22, 0x80000000)};  // takes the widest window, and with it all slots
  number A{-1, {0xffffffff, 0x89abcdef, 0xffffffff, 0x01234567, 0, 0xfedcba98, 7, 0}};
  number B{1, {0xffffffff, 0x80000000, 3, 0}};
  number N{1, {0xfffffff1, 0xffffffff, 0x12345678, 0x9abcdef1, 0x80000001}};
};

struct operation {
  const char *name;
  std::function<int32_t(operands &)> run;
  bool allocates = true;
  // num_div_num(), and with it num_mod_num(), does not report when only a result cannot grow.
  bool reports = true;
};

const operation operations[] = {
    {"num_grow of an empty record", [](operands &o) { return num_grow(&o.X, 9); }},
    {"num_grow", [](operands &o) { return num_grow(&o.A, 19); }},
    {"num_copy", [](operands &o) { return num_copy(&o.X, &o.A); }},
    {"num_copy onto itself", [](operands &o) { return num_copy(&o.A, &o.A); }, false},
    {"num_lset", [](operands &o) { return num_lset(&o.X, -5); }},
    {"num_shift_l", [](operands &o) { return num_shift_l(&o.A, 77); }},
    {"num_shift_l of an empty record", [](operands &o) { return num_shift_l(&o.X, 77); }},
    {"num_read_binary",
     [](operands &o) { return num_read_binary(&o.X, reinterpret_cast<const uint8_t *>("abcdefghi"), 9); }},
    {"num_add_abs", [](operands &o) { return num_add_abs(&o.X, &o.A, &o.B); }},
    {"num_add_abs, X is B", [](operands &o) { return num_add_abs(&o.B, &o.A, &o.B); }},
    {"num_sub_abs", [](operands &o) { return num_sub_abs(&o.X, &o.A, &o.B); }},
    {"num_sub_abs, X is B", [](operands &o) { return num_sub_abs(&o.B, &o.A, &o.B); }},
    {"num_add_num", [](operands &o) { return num_add_num(&o.X, &o.A, &o.B); }},
    {"num_add_num, all one record", [](operands &o) { return num_add_num(&o.N, &o.N, &o.N); }},
    {"num_sub_num", [](operands &o) { return num_sub_num(&o.X, &o.A, &o.B); }},
    {"num_sub_num, X is B", [](operands &o) { return num_sub_num(&o.B, &o.A, &o.B); }},
    {"num_mul_num", [](operands &o) { return num_mul_num(&o.X, &o.A, &o.B); }},
    {"num_mul_num, X is A", [](operands &o) { return num_mul_num(&o.A, &o.A, &o.B); }},
    {"num_mul_num, X is B", [](operands &o) { return num_mul_num(&o.B, &o.A, &o.B); }},
    {"num_mul_num, all one record", [](operands &o) { return num_mul_num(&o.A, &o.A, &o.A); }},
    {"num_mul_int", [](operands &o) { return num_mul_int(&o.X, &o.A, 0xffffffff); }},
    {"num_mul_int, X is A", [](operands &o) { return num_mul_int(&o.A, &o.A, 0xffffffff); }},
    {"num_div_num", [](operands &o) { return num_div_num(&o.X, &o.Y, &o.A, &o.B); }, true, false},
    {"num_div_num, quotient only", [](operands &o) { return num_div_num(&o.X, nullptr, &o.A, &o.B); }, true, false},
    {"num_div_num, remainder only", [](operands &o) { return num_div_num(nullptr, &o.Y, &o.A, &o.B); }, true, false},
    {"num_div_num, Q is A and R is B", [](operands &o) { return num_div_num(&o.A, &o.B, &o.A, &o.B); }},
    {"num_div_num, Q is B and R is A", [](operands &o) { return num_div_num(&o.B, &o.A, &o.A, &o.B); }, true, false},
    {"num_div_num by a longer number", [](operands &o) { return num_div_num(&o.X, &o.Y, &o.B, &o.A); }},
    {"num_mod_num", [](operands &o) { return num_mod_num(&o.X, &o.A, &o.B); }, true, false},
    {"num_mod_num, R is B", [](operands &o) { return num_mod_num(&o.B, &o.A, &o.B); }},
    {"num_exp_mod", [](operands &o) { return num_exp_mod(&o.X, &o.A, &o.B, &o.N, nullptr); }},
    {"num_exp_mod with a new cache", [](operands &o) { return num_exp_mod(&o.X, &o.A, &o.B, &o.N, &o.Y); }},
    {"num_exp_mod, X is A", [](operands &o) { return num_exp_mod(&o.A, &o.A, &o.B, &o.N, nullptr); }},
    {"num_exp_mod of a base above the modulus",
     [](operands &o) { return num_exp_mod(&o.X, &o.long_base, &o.B, &o.N, nullptr); }},
    {"num_exp_mod of a base above a modulus of 1024 bits",
     [](operands &o) { return num_exp_mod(&o.X, &o.long_base, &o.B, &o.modulus_1024, &o.Y); }},
    {"num_exp_mod modulo 1024 bits",
     [](operands &o) { return num_exp_mod(&o.X, &o.N, &o.B, &o.modulus_1024, nullptr); }},
    {"num_exp_mod with the widest window",
     [](operands &o) { return num_exp_mod(&o.X, &o.A, &o.long_exponent, &o.N, nullptr); }},
    {"num_shift_r", [](operands &o) { return num_shift_r(&o.A, 33); }, false},
    {"num_swap", [](operands &o) { return num_swap(&o.A, &o.B); }, false},
    {"num_free", [](operands &o) { return num_free(&o.A, &o.B, static_cast<num *>(nullptr)); }, false},
    {"num_init", [](operands &o) { return num_init(&o.X, static_cast<num *>(nullptr)); }, false},
    {"num_cmp_abs", [](operands &o) { return num_cmp_abs(&o.A, &o.B) == 1 ? 0 : 99; }, false},
    {"num_cmp_num", [](operands &o) { return num_cmp_num(&o.A, &o.B) == -1 ? 0 : 99; }, false},
    {"num_cmp_int", [](operands &o) { return num_cmp_int(&o.A, -2) == -1 ? 0 : 99; }, false},
    {"num_lsb, num_msb, num_size",
     [](operands &o) { return num_lsb(&o.A) == 0 && num_msb(&o.A) == 195 && num_size(&o.A) == 25 ? 0 : 99; }, false},
    {"num_write_binary",
     [](operands &o) {
       uint8_t out[40];
       return num_write_binary(&o.A, out, 40);
     },
     false},
};

std::string described(const num &X) {
  std::string text = std::to_string(X.sign);
  for (const num_limb limb : limbs_of(X)) text += " " + std::to_string(limb);
  return text;
}

std::string described(const operands &o) {
  return described(o.X) + "\n" + described(o.Y) + "\n" + described(o.A) + "\n" + described(o.B) + "\n" + described(o.N);
}

// Whatever it holds, it can be read, grown and written again.
void expect_valid(num *X) {
  ASSERT_TRUE(X->sign == 1 || X->sign == -1);
  ASSERT_GE(X->limb_count, 0);
  ASSERT_EQ(X->limb_count == 0, X->limbs == nullptr);
  num_limb all = 0;
  for (int32_t i = 0; i < X->limb_count; ++i) all |= X->limbs[i];  // under AddressSanitizer: the limbs are there
  EXPECT_EQ(all == 0, num_msb(X) == 0);
  EXPECT_EQ(num_grow(X, X->limb_count + 1), 0);
  EXPECT_EQ(num_lset(X, -77), 0);
  EXPECT_EQ(num_cmp_int(X, -77), 0);
}

// One run with one failing allocation. False when the run needed fewer allocations than that.
bool fails(failing_heap &heap, const operation &what, int index, how_long length) {
  operands o;
  const bool reached = heap.run(index, length, [&] {
    const int32_t result = what.run(o);
    if (heap.failed() && (what.reports || index == 0)) {
      EXPECT_EQ(result, NUM_ERR_ALLOC_FAILED) << index;
    }
    return heap.failed();
  });
  if (reached) {
    for (num *X : {static_cast<num *>(&o.X), static_cast<num *>(&o.Y), static_cast<num *>(&o.A),
                   static_cast<num *>(&o.B), static_cast<num *>(&o.N)}) {
      expect_valid(X);
    }
  }
  return reached;
}

TEST(NumMemory, EveryFailedAllocationIsReportedAndLeavesValidRecords) {
  hooked_calls calls;
  failing_heap heap(calls);
  for (const operation &what : operations) {
    SCOPED_TRACE(what.name);
    std::string good;
    {
      operands o;
      EXPECT_EQ(heap.run(failing_heap::never, how_long::once, [&] { return what.run(o); }), 0);
      good = described(o);
    }
    EXPECT_EQ(heap.asked() > 0, what.allocates);
    for (const how_long length : both_lengths) {
      int index = 0;
      while (fails(heap, what, index, length)) {
        SCOPED_TRACE(index);
        EXPECT_EQ(heap.held(), 0);
        // A failure is forgotten: the same operation is right afterwards.
        operands o;
        EXPECT_EQ(heap.run(failing_heap::never, how_long::once, [&] { return what.run(o); }), 0);
        EXPECT_EQ(described(o), good);
        ASSERT_LT(++index, 1000);
      }
      EXPECT_EQ(index > 0, what.allocates);
    }
    EXPECT_EQ(heap.held(), 0);
  }
}

// The list above leaves out none of the operations that the library exports.
TEST(NumMemory, EveryExportedOperationIsAmongThem) {
  std::ifstream symbols(LIBSEC_SYMBOLS);
  int found = 0;
  for (std::string line; std::getline(symbols, line);) {
    const std::string name = line.substr(line.rfind(' ') + 1);
    if (!name.starts_with("num_")) continue;
    ++found;
    EXPECT_TRUE(std::any_of(std::begin(operations), std::end(operations), [&](const operation &o) {
      const std::string covered = std::string(o.name) + " ";
      return covered.find(name + " ") != std::string::npos || covered.find(name + ",") != std::string::npos;
    })) << name;
  }
  EXPECT_EQ(found, 25);
}

TEST(NumMemory, ACacheIsOnlyHandedOutWhenItIsWhole) {
  hooked_calls calls;
  failing_heap heap(calls);
  for (int index = 0;; ++index) {
    operands o;
    const bool reached = heap.run(index, how_long::once, [&] {
      (void)num_exp_mod(&o.X, &o.A, &o.B, &o.N, &o.Y);
      return heap.failed();
    });
    // Either nothing was cached, or what was is right, as a second use of it shows.
    number again, plain;
    EXPECT_EQ(num_exp_mod(&again, &o.A, &o.B, &o.N, &o.Y), 0);
    EXPECT_EQ(num_exp_mod(&plain, &o.A, &o.B, &o.N, nullptr), 0);
    EXPECT_EQ(num_cmp_num(&again, &plain), 0) << index;
    if (!reached) break;
  }
}

}  // namespace
}  // namespace libsec::test
