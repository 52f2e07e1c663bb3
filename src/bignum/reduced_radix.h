// SPDX-License-Identifier: MIT
// Montgomery products for moduli below 2^1024 on digits that are shorter than the machine's word.
//
// Why: with full words every product brings a carry to look after. Digits of 29 bits (58 on a 64-bit
// machine) leave room in the double word, so the products of a whole column add up without any
// carry; on MIPS that is one `maddu` each. 36 digits (18) make 1044 bits, and with R = 2^1044 > 4N
// a product of factors below 2N is below 2N again: there is no comparison, no subtraction and no
// branch in here that depends on a value.
//
// How: sums[k] collects column k, the products x[i] * y[j] with i + j = k. A block of `rows` digits of
// x stays in registers while a window of as many digits of y slides past it, so a column's step
// costs one multiplication and, shared by the block, one load.
//
// Bound: digits lie below 2^bits, so a double word holds 2^(width - 2 * bits) products, 64 on 32-bit
// machines. The top digits of a, b < 2^1025 and n < 2^1024 are short (under 2^10), so a column k
// has fewer large products than k + 1; `large_products` counts them, and columns that would get
// too many from a * b and from the reduction together are carried out in between. One product's
// worth is kept free for the short ones and for carries.
#pragma once

#include "bignum/words.h"

namespace libsec {

template <typename word>
struct digit_shape;

template <>
struct digit_shape<uint32_t> {
  static constexpr int bits = 29, digits = 36, rows = 12;
};

template <>
struct digit_shape<uint64_t> {
  static constexpr int bits = 58, digits = 18, rows = 9;
};

// GCC adds products up in the HI:LO pair of a MIPS only as long as the sum is not moved elsewhere in
// between. No instruction comes of this.
template <typename wide>
[[gnu::always_inline]] inline void keep_in_accumulator([[maybe_unused]] wide &sum) {
#if defined(__mips__) && !defined(__mips64) && !defined(__clang__)
  asm("" : "+x"(sum));
#endif
}

template <typename word>
class reduced_radix {
 public:
  using digit = word;
  using wide = wide_t<word>;
  static constexpr int bits = digit_shape<word>::bits;
  static constexpr int digits = digit_shape<word>::digits;
  static constexpr int radix_bits = bits * digits;
  static constexpr word mask = (word{1} << bits) - 1;

  // What the products work in: column sums and the doubled digits of a square.
  struct scratch {
    wide sums[2 * digits];
    word twice[digits];
  };

  // result = a * b / R mod n, below 2n, for a, b below 2n. `constant` is -1 / n modulo 2^bits.
  [[gnu::noinline]] static void multiply(word *result, const word *a, const word *b, const word *n, word constant,
                                         scratch &s) {
    for (wide &sum : s.sums) sum = 0;
    for (int i = 0; i < digits; i += rows) multiply_rows(s.sums + i, a + i, b, digits / rows);
    carry_overfull_columns(s.sums);
    reduce(result, n, constant, s);
  }

  // result = a * a / R mod n. Products of different digits are made once, with one factor doubled.
  [[gnu::noinline]] static void square(word *result, const word *a, const word *n, word constant, scratch &s) {
#pragma GCC unroll 6
    for (int i = 0; i < digits; ++i) s.twice[i] = 2 * a[i];
    for (int i = 0; i < digits; i += rows) square_rows(s.sums + 2 * i, a + i);
    for (int i = 0; i + rows < digits; i += rows) {
      multiply_rows(s.sums + 2 * i + rows, a + i, s.twice + i + rows, digits / rows - 1 - i / rows);
    }
    carry_overfull_columns(s.sums);
    reduce(result, n, constant, s);
  }

  // result = a / R mod n, not above n, for a below 2n.
  static void reduce_one(word *result, const word *a, const word *n, word constant, scratch &s) {
    for (int i = 0; i < digits; ++i) {
      s.sums[i] = a[i];
      s.sums[digits + i] = 0;
    }
    reduce(result, n, constant, s);
  }

 private:
  static constexpr int rows = digit_shape<word>::rows;
  static constexpr int capacity = 1 << (bits_of<wide> - 2 * bits);

  // Pairs i + j = column with i < x_digits and j < y_digits.
  static constexpr int large_products(int column, int x_digits, int y_digits) {
    int count = 0;
    for (int i = 0; i < x_digits; ++i) count += column - i >= 0 && column - i < y_digits ? 1 : 0;
    return count;
  }

  [[gnu::always_inline]] static void add_product(wide &sum, word x, word y) {
    sum += wide{x} * y;
    keep_in_accumulator(sum);
  }

  // The columns in which the whole block x takes part, `count` windows of them, and then those that
  // only its upper digits still reach. w holds the window before y.
  [[gnu::always_inline]] static void slide(wide *sums, const word (&x)[rows], word (&w)[rows], const word *y,
                                           int count) {
    for (; count > 0; --count, sums += rows, y += rows) {
#pragma GCC unroll 64
      for (int c = 0; c < rows; ++c) {
        w[c] = y[c];
        wide sum = sums[c];
#pragma GCC unroll 64
        for (int r = 0; r < rows; ++r) add_product(sum, x[r], w[(c - r + rows) % rows]);
        sums[c] = sum;
      }
    }
#pragma GCC unroll 64
    for (int c = 0; c < rows - 1; ++c) {
      wide sum = sums[c];
#pragma GCC unroll 64
      for (int r = c + 1; r < rows; ++r) add_product(sum, x[r], w[c - r + rows]);
      sums[c] = sum;
    }
  }

  // sums += the block x_digits times `count` blocks of y.
  [[gnu::noinline]] static void multiply_rows(wide *sums, const word *x_digits, const word *y, int count) {
    word x[rows], w[rows];
#pragma GCC unroll 64
    for (int c = 0; c < rows; ++c) {
      x[c] = x_digits[c];
      w[c] = y[c];
      wide sum = sums[c];
#pragma GCC unroll 64
      for (int r = 0; r <= c; ++r) add_product(sum, x[r], w[c - r]);
      sums[c] = sum;
    }
    slide(sums + rows, x, w, y + rows, count - 1);
  }

  // sums[0 .. 2 * rows - 1] = the block x_digits times itself.
  [[gnu::noinline]] static void square_rows(wide *sums, const word *x_digits) {
    word x[rows], twice[rows];
#pragma GCC unroll 64
    for (int c = 0; c < 2 * rows - 1; ++c) {
      if (c < rows) {
        x[c] = x_digits[c];
        twice[c] = 2 * x[c];
      }
      wide sum = 0;
#pragma GCC unroll 64
      for (int r = c < rows ? 0 : c - rows + 1; 2 * r <= c; ++r)
        add_product(sum, x[r], 2 * r == c ? x[r] : twice[c - r]);
      sums[c] = sum;
    }
    sums[2 * rows - 1] = 0;
  }

  // One block of Montgomery's reduction: the digits q that make the columns 0 to rows - 1 of
  // sums + q * n divisible, added in; those columns' carry goes into the next one.
  [[gnu::noinline]] static void reduce_rows(wide *sums, const word *n, word constant) {
    word q[rows], w[rows];
    wide carry = 0;
#pragma GCC unroll 64
    for (int c = 0; c < rows; ++c) {
      w[c] = n[c];
      wide sum = sums[c] + carry;
#pragma GCC unroll 64
      for (int r = 0; r < c; ++r) add_product(sum, q[r], w[c - r]);
      q[c] = static_cast<word>(sum) * constant & mask;
      add_product(sum, q[c], w[0]);
      carry = sum >> bits;
    }
    sums[rows] += carry;
    slide(sums + rows, q, w, n + rows, digits / rows - 1);
  }

  // Whether a * b and q * n together bring too many large products into a column.
  static constexpr bool overfull(int column) {
    return large_products(column, digits - 1, digits - 1) + large_products(column, digits, digits - 1) >= capacity;
  }
  static constexpr int overfull_columns_before(int column) {
    int count = 0;
    for (int k = 0; k < column; ++k) count += overfull(k) ? 1 : 0;
    return count;
  }

  static void carry_overfull_columns(wide *sums) {
    constexpr int middle = digits - 1;  // the fullest column
    if constexpr (overfull(middle)) {
      constexpr int first = middle - overfull_columns_before(middle);
      constexpr int end = first + overfull_columns_before(2 * digits);
      static_assert(!overfull(first - 1) && overfull(first) && overfull(end - 1) && !overfull(end));
      wide carry = 0;
      for (int k = first; k < end; ++k) {
        const wide sum = sums[k] + carry;
        sums[k] = static_cast<word>(sum) & mask;
        carry = sum >> bits;
      }
      sums[end] += carry;
    }
  }

  // result = (the number in sums + q * n) / R.
  [[gnu::noinline]] static void reduce(word *result, const word *n, word constant, scratch &s) {
    for (int i = 0; i < digits; i += rows) reduce_rows(s.sums + i, n, constant);
    wide carry = 0;
#pragma GCC unroll 3
    for (int k = 0; k < digits; ++k) {
      const wide sum = s.sums[digits + k] + carry;
      result[k] = static_cast<word>(sum) & mask;
      carry = sum >> bits;
    }
  }
};

}  // namespace libsec
