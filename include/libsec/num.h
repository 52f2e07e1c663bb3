/* SPDX-License-Identifier: MIT
 *
 * Arbitrary-precision signed integers.
 *
 * A `num` is a sign and an array of 32-bit limbs, least significant limb first. Its
 * value is sign * sum(limbs[i] * 2^(32 * i)). High limbs may be zero: `limb_count` is
 * what is allocated, not what is significant, and it never shrinks except in num_free().
 * Zero may carry either sign; comparisons treat both alike.
 *
 * The record owns its limb array, which comes from malloc() and is overwritten with
 * zeros before it is released, because limbs hold key material. The records themselves
 * are the caller's: on the stack, in structures, in static storage.
 *
 * A record with limb_count 0 and null limbs (as num_init() and num_free() leave it) is
 * valid for every operation; as a source it reads as zero.
 *
 * Aliasing: a destination may be the same record as any source, except where the comment
 * says otherwise. Two records must never share one limb array.
 *
 * Results: 0, or the first NUM_ERR_ code that was met. After a failure the destination is
 * valid (it can be used again and freed) and holds an unspecified value.
 *
 * Time: one thing takes the same steps whatever the values are, the subtraction of the modulus at the
 * end of num_exp_mod()'s products: it is always done, and its result chosen by a mask. Nothing else
 * here is constant-time. Sizes follow the significant limbs, comparisons end at the first limb that
 * differs, division corrects its estimates, carries run as far as they go, and allocations take what
 * time the heap takes. num_exp_mod() says more about its own.
 */
#ifndef LIBSEC_NUM_H
#define LIBSEC_NUM_H

#include "abi.h"

LIBSEC_BEGIN

typedef uint32_t num_limb;

typedef struct num {
  int32_t sign;       /* +1 or -1 */
  int32_t limb_count; /* limbs allocated */
  num_limb *limbs;    /* least significant first; null when limb_count is 0 */
} num;

enum {
  NUM_ERR_ALLOC_FAILED = 1,       /* no memory, or a size that memory cannot have */
  NUM_ERR_BAD_INPUT = -4,         /* a modulus that is negative or even */
  NUM_ERR_BUFFER_TOO_SMALL = -8,  /* the output buffer is shorter than the number */
  NUM_ERR_NEGATIVE_VALUE = -10,   /* the result of num_sub_abs() would be negative */
  NUM_ERR_DIVISION_BY_ZERO = -12, /* the divisor is zero */
};

/* num_init sets every record of a list of `num *`, ended by a null pointer of that type,
 * to sign +1 without limbs. Whatever the records held is not freed. Always 0. */
LIBSEC_FUNCTION int32_t num_init(num *first, ...);

/* num_free wipes and releases the limbs of every record of a list of `num *`, ended by a
 * null pointer, and leaves each as num_init() does. Freeing twice is harmless. Always 0. */
LIBSEC_FUNCTION int32_t num_free(num *first, ...);

/* num_grow makes room for `limb_count` limbs in X; new limbs are zero, value and sign stay.
 * It never shrinks, and a count that X already has (or a negative one) changes nothing.
 * Result: 0, or NUM_ERR_ALLOC_FAILED with X unchanged. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_grow(num *X, int32_t limb_count);

/* num_copy stores Y in X. X grows to Y's significant limbs (at least one when Y has any)
 * and keeps a larger allocation of its own. Result: 0 or NUM_ERR_ALLOC_FAILED; the sign is
 * taken over even when the growth fails. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_copy(num *X, const num *Y);

/* num_swap exchanges two records, limb arrays included, without allocating. Always 0. */
LIBSEC_FUNCTION int32_t num_swap(num *X, num *Y);

/* num_lset stores the value z in X. Result: 0 or NUM_ERR_ALLOC_FAILED. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_lset(num *X, int32_t z);

/* num_lsb returns the index of the lowest set bit; 0 for zero. */
LIBSEC_FUNCTION int32_t num_lsb(const num *X);

/* num_msb returns the number of significant bits; 0 for zero. */
LIBSEC_FUNCTION int32_t num_msb(const num *X);

/* num_size returns the number of significant bytes; 0 for zero. */
LIBSEC_FUNCTION int32_t num_size(const num *X);

/* num_shift_l multiplies X by 2^count (count not negative), growing it as needed.
 * Result: 0 or NUM_ERR_ALLOC_FAILED. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_shift_l(num *X, int32_t count);

/* num_shift_r shifts the magnitude of X right by `count` bits (not negative). Sign and
 * allocation stay, so a negative value is rounded towards zero. Always 0. */
LIBSEC_FUNCTION int32_t num_shift_r(num *X, int32_t count);

/* num_cmp_abs compares magnitudes: 1, 0 or -1 as |X| is above, equal to or below |Y|. */
LIBSEC_FUNCTION int32_t num_cmp_abs(const num *X, const num *Y);

/* num_cmp_num compares signed values: 1, 0 or -1.
 * Deliberate: when the two magnitudes differ in their count of significant limbs, only X's
 * sign decides: X's sign when X is longer, its negation when Y is. So 5 against -2^40 gives
 * -1, and 0 against -3 gives -1. Zeros of either sign are equal. */
LIBSEC_FUNCTION int32_t num_cmp_num(const num *X, const num *Y);

/* num_cmp_int compares X with the value z, by the rule of num_cmp_num(). */
LIBSEC_FUNCTION int32_t num_cmp_int(const num *X, int32_t z);

/* num_read_binary stores the unsigned big-endian number of `length` bytes at `bytes` in X.
 * The sign becomes +1; X has at least one limb afterwards. Result: 0 or
 * NUM_ERR_ALLOC_FAILED (also for a negative length). */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_read_binary(num *X, const uint8_t *bytes, int32_t length);

/* num_write_binary writes the magnitude of X to exactly `length` bytes at `bytes`,
 * big-endian, with zero bytes in front. Result: 0, or NUM_ERR_BUFFER_TOO_SMALL with the
 * buffer untouched. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_write_binary(const num *X, uint8_t *bytes, int32_t length);

/* num_add_abs stores |A| + |B| in X. The sign of X is not computed: it is A's when X had to
 * be copied from A, else X's own. Result: 0 or NUM_ERR_ALLOC_FAILED.
 * Deliberate: a carry that leaves B's limbs and meets an all-ones limb of X below X's top
 * allocated limb is added to that same limb again, not to the one above it. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_add_abs(num *X, const num *A, const num *B);

/* num_sub_abs stores |A| - |B| in X; the sign is left as by num_add_abs(). Result: 0,
 * NUM_ERR_ALLOC_FAILED, or NUM_ERR_NEGATIVE_VALUE with X unchanged when |A| < |B|. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_sub_abs(num *X, const num *A, const num *B);

/* num_add_num stores A + B in X, by num_add_abs() or num_sub_abs(). A zero result may carry
 * the sign -1. Result: 0 or NUM_ERR_ALLOC_FAILED. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_add_num(num *X, const num *A, const num *B);

/* num_sub_num stores A - B in X, by num_add_abs() or num_sub_abs(). A zero result may carry
 * the sign -1. Result: 0 or NUM_ERR_ALLOC_FAILED. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_sub_num(num *X, const num *A, const num *B);

/* num_mul_num stores A * B in X. A zero product carries the product of the signs.
 * Result: 0 or NUM_ERR_ALLOC_FAILED. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_mul_num(num *X, const num *A, const num *B);

/* num_mul_int stores A * b in X, b unsigned. Result: 0 or NUM_ERR_ALLOC_FAILED. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_mul_int(num *X, const num *A, uint32_t b);

/* num_div_num divides: A = Q * B + R, the quotient truncated towards zero, R with A's sign
 * (+1 when zero after a division that had to be done). Q or R may be null to skip it; they
 * must not be the same record. Knuth, The Art of Computer Programming 2, 4.3.1, Algorithm D.
 * Result: 0, NUM_ERR_ALLOC_FAILED, or NUM_ERR_DIVISION_BY_ZERO with Q and R unchanged.
 * Deliberate: when |A| >= |B| and Q or R itself cannot grow to its result, that is not reported and
 * the record keeps its old limbs. Grow both first where it matters. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_div_num(num *Q, num *R, const num *A, const num *B);

/* num_mod_num stores the residue of A modulo B in R, 0 <= R < B. B must be positive.
 * Result: 0, NUM_ERR_ALLOC_FAILED, NUM_ERR_DIVISION_BY_ZERO, or NUM_ERR_BAD_INPUT for a
 * negative B with which the residue could not be reached. As by num_div_num(), a failure to grow
 * R itself is not reported. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_mod_num(num *R, const num *A, const num *B);

/* num_exp_mod stores A^E mod N in X, for an odd positive N and E not negative; A is reduced
 * first. Montgomery products (P. L. Montgomery, Modular multiplication without trial
 * division, 1985) under a left-to-right sliding window.
 *
 * RR may be null. Otherwise it caches R^2 mod N, R = 2^(32 * N->limb_count): when it holds no
 * limbs, the value is stored there and its array belongs to the caller (num_free()); when it
 * holds limbs, they are used without a check. A cache therefore belongs to one modulus: the
 * value and its allocated limb count.
 *
 * Time: the bits of E from its highest one on decide how many products are made, and which of the
 * prepared powers is read for each: its length and the places of its zeros show in the time, and the
 * powers' addresses in caches that somebody else shares. Modulo 32 limbs (1024 bits, the size of the
 * protocol) a product itself has no branch and no address that depends on a value; modulo other sizes
 * carries do. The base and N show their size, and whether the base had to be reduced.
 *
 * X may be A, but none of E, N and RR. A negative A that num_cmp_num() puts below N counts by its
 * magnitude, every other A by its residue; E counts by its magnitude.
 * Result: 0, NUM_ERR_ALLOC_FAILED, or NUM_ERR_BAD_INPUT with X unchanged when N is negative,
 * even or without limbs. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t num_exp_mod(num *X, const num *A, const num *E, const num *N, num *RR);

LIBSEC_END

#endif
