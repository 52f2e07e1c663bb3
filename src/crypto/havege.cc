// SPDX-License-Identifier: MIT
// HAVEGE (Seznec and Sendrier, 2003). A gathering pass walks a 32 KB table along two pointers that
// depend on what was read, through branches that cannot be predicted, and mixes the clock into the
// table all the way: caches, branch predictor and interrupts decide what the clock shows. Nobody
// can tell how much that is worth on a given machine, so the kernel's randomness is laid over the
// whole pool after each pass. It does not depend on the walk, so the pool is never weaker than it.
#include <libsec/crypto.h>

#include <bit>
#include <cstring>

#include "base/bytes.h"
#include "crypto/kernel_random.h"

namespace {

constexpr uint32_t result_words = 16;
constexpr uint32_t pool_rounds = 4;  // how often a pass rewrites every word of the pool
constexpr int32_t walk_mask = HAVEGE_WALK_WORDS - 1;
static_assert(walk_mask == 0x1FFF);

// What a pass keeps while it walks. Secret: it tells what the table and the pool will become.
struct walk {
  int32_t *table;
  int32_t pointer_1, pointer_2;
  uint32_t selector_1, selector_2;  // 0..7: which earlier result leads to the next pointer
  uint32_t passed_1, passed_2;      // levels of the branch cascades passed so far
  uint32_t results[result_words];
};

// Up to `levels` nested branches, each on a bit that depends on the one before. A template, so that
// each level is a branch of its own in the code: a loop would train one branch for all of them.
template <int levels>
[[gnu::always_inline]] inline void cascade(int32_t test, uint32_t &passed) {
  if constexpr (levels > 0) {
    if ((test & 1) != 0) {
      ++passed;
      cascade<levels - 1>((test ^ 3) >> 1, passed);
    }
  }
}

// Folds four words of the table into results[step - 1 ...] and rewrites them as rotations of each
// other by `step` to `step + 3` bits with the clock in them.
template <uint32_t step>
[[gnu::always_inline]] inline void fold(walk &w, int32_t a, int32_t b, int32_t c, int32_t d, uint32_t clock,
                                        uint32_t passed) {
  const auto word = [&w](int32_t index) { return static_cast<uint32_t>(w.table[index]); };
  const auto set = [&w](int32_t index, uint32_t value) { w.table[index] = static_cast<int32_t>(value); };
  uint32_t *const results = w.results + step - 1;
  results[0] ^= word(a);
  results[1] ^= word(b);
  results[2] ^= word(c);
  results[3] ^= word(d);
  const uint32_t from_a = std::rotr(word(a), step) ^ clock;
  set(a, std::rotr(word(b), step + 1) ^ clock);
  set(b, from_a ^ passed);
  set(c, std::rotr(word(c), step + 2) ^ clock);
  set(d, std::rotr(word(d), step + 3) ^ clock);
}

// The word that leads a pointer on: an earlier result and a neighbour in the table.
int32_t next_pointer(const walk &w, const uint32_t *results, int32_t pointer, uint32_t selector) {
  const int32_t neighbour = w.table[pointer ^ static_cast<int32_t>(selector) ^ 7];
  return static_cast<int32_t>(results[selector]) ^ neighbour;
}

// One iteration: 16 results, two readings of the clock. Between the two masks the pointers have 13
// bits, and they are combined with at most three more bits: the table's 8192 words are never left.
[[gnu::always_inline]] inline void iterate(walk &w) {
  const int32_t test = w.pointer_1 >> 20;
  cascade<12>(test, w.passed_1);
  w.selector_1 = static_cast<uint32_t>(w.pointer_1 >> 18) & 7;
  const int32_t p1 = w.pointer_1 & walk_mask;
  int32_t p2 = w.pointer_2 & walk_mask;
  const uint32_t first_clock = hardclock();
  fold<1>(w, p1, p2, p1 ^ 1, p2 ^ 4, first_clock, w.passed_1);
  // The cascade's first bit also decides which words trade places.
  const bool swapped = (test & 1) != 0;
  fold<5>(w, p1 ^ (swapped ? 3 : 2), p2 ^ 2, p1 ^ (swapped ? 2 : 3), p2 ^ 6, first_clock, w.passed_1);

  // Bit 3 of the second pointer is the opposite of the first's, so that they never walk one line.
  const int32_t far = next_pointer(w, w.results, p2, w.selector_2);
  p2 = (far & 0x1FF7) ^ ((p1 ^ 8) & 8);
  cascade<12>(far >> 20, w.passed_2);
  w.selector_2 = static_cast<uint32_t>(far >> 10) & 7;
  const uint32_t second_clock = hardclock();
  fold<9>(w, p1 ^ 4, p2 ^ 1, p1 ^ 5, p2 ^ 5, second_clock, w.passed_2);
  fold<13>(w, p1 ^ 6, p2 ^ 3, p1 ^ 7, p2 ^ 7, second_clock, w.passed_2);

  // All 32 bits stay: the upper ones feed the next cascade and selector.
  w.pointer_1 = next_pointer(w, w.results + 8, p1, w.selector_1) & ~1;
  w.pointer_1 ^= (p2 ^ 0x10) & 0x10;
  w.pointer_2 = p2;
}

void fold_kernel_randomness(int32_t *pool) {
  constexpr size_t chunk_words = 64;  // 256 bytes: the kernel gives up to that many without a break
  static_assert(HAVEGE_POOL_WORDS % chunk_words == 0);
  for (size_t start = 0; start < HAVEGE_POOL_WORDS; start += chunk_words) {
    libsec::wiped<uint32_t[chunk_words]> chunk;  // zeros: bytes that the kernel does not give change nothing
    (void)libsec::kernel_random(reinterpret_cast<uint8_t *>(chunk.value), sizeof chunk.value);
    for (size_t i = 0; i < chunk_words; ++i) {
      pool[start + i] ^= static_cast<int32_t>(chunk.value[i]);
    }
  }
}

void gather(havege_context *state) {
  libsec::wiped<walk> wiped_walk;
  walk &w = wiped_walk.value;
  w.table = state->walk_table;
  w.pointer_1 = state->walk_pointer_1;
  w.pointer_2 = state->walk_pointer_2;
  uint32_t n = 0;
  const auto iterate_into_pool = [&w, &n, state]() {
    iterate(w);
    for (const uint32_t result : w.results) {
      state->pool[n % HAVEGE_POOL_WORDS] ^= static_cast<int32_t>(result);
      ++n;
    }
  };
  while (n < pool_rounds * HAVEGE_POOL_WORDS) {
    iterate_into_pool();
    iterate_into_pool();
    iterate_into_pool();
    iterate_into_pool();
  }
  fold_kernel_randomness(state->pool);
  state->walk_pointer_1 = w.pointer_1;
  state->walk_pointer_2 = w.pointer_2;
  state->read_index[0] = 0;
  state->read_index[1] = HAVEGE_POOL_WORDS / 2;
}

}  // namespace

void havege_init(havege_context *state) {
  std::memset(state, 0, sizeof *state);
  gather(state);
}

int32_t havege_rand(havege_context *state) {
  if (state->read_index[1] >= HAVEGE_POOL_WORDS) gather(state);
  return state->pool[state->read_index[0]++] ^ state->pool[state->read_index[1]++];
}
