// SPDX-License-Identifier: MIT
// All 32 cycles of XTEA in a row, 64 halves, with the key schedule made on the way and no table.
//
// Half h adds a word of the key and a multiple of delta to one side. Which word, and which multiple, is known
// when this is compiled, so single words take turns in place: each of the four key words is moved on from the
// multiple at which it was added last to the one at which it is added next. That is one addition a half, none
// for the nine halves that want it where it is; the sum itself is never made.
//
// What goes through may be single words, or several side by side (xtea_lanes.h).
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "crypto/xtea.h"

namespace libsec {

inline constexpr uint32_t xtea_full_cycles = 32, xtea_halves = 2 * xtea_full_cycles;

constexpr size_t xtea_key_index(uint32_t half) {
  return half % 2 == 0 ? xtea_first_index(half / 2) : xtea_second_index(half / 2);
}

constexpr uint32_t xtea_multiple(uint32_t half) {
  return (half + 1) / 2;
}

// By how many deltas the key word of `half` has to move on since it was added last, or since it was loaded.
constexpr uint32_t xtea_step(uint32_t half) {
  for (uint32_t before = half; before-- > 0;) {
    if (xtea_key_index(before) == xtea_key_index(half)) return xtea_multiple(half) - xtea_multiple(before);
  }
  return xtea_multiple(half);
}

// The longest of these steps, all of which are kept in registers.
inline constexpr uint32_t xtea_longest_step = 4;

consteval bool xtea_steps_are_short() {
  for (uint32_t half = 0; half < xtea_halves; ++half) {
    if (xtea_step(half) > xtea_longest_step) return false;
  }
  return true;
}
static_assert(xtea_steps_are_short());

// The key words on their way through the halves, forwards or backwards, each half once and in turn.
template <bool forwards, typename key_word>
class xtea_schedule {
 public:
  [[gnu::always_inline]] explicit xtea_schedule(const key_word (&key)[slice_words])
      : key_{key[0], key[1], key[2], key[3]} {
    if constexpr (in_place) {
      for (uint32_t i = 1; i <= xtea_longest_step; ++i) {
        deltas_[i] = xtea_delta * i;
        keep_in_register(deltas_[i]);
      }
    }
  }

  template <uint32_t half>
  [[gnu::always_inline]] key_word word() {
    key_word &word = key_[xtea_key_index(half)];
    if constexpr (!in_place) {
      return word + xtea_delta * xtea_multiple(half);  // vectors take the sums as constants
    } else if constexpr (forwards) {
      if constexpr (constexpr uint32_t step = xtea_step(half); step != 0) word += deltas_[step];
      keep_in_register(word);
      return word;
    } else {
      constexpr uint32_t after = next_use(half);
      if constexpr (after == xtea_halves) {
        word += xtea_delta * xtea_multiple(half);
      } else if constexpr (constexpr uint32_t step = xtea_step(after); step != 0) {
        word -= deltas_[step];
      }
      keep_in_register(word);
      return word;
    }
  }

 private:
  static constexpr bool in_place = std::is_same_v<key_word, uint32_t>;

  // The half behind `half` that adds the same key word, or the number of halves.
  static constexpr uint32_t next_use(uint32_t half) {
    uint32_t after = half + 1;
    while (after < xtea_halves && xtea_key_index(after) != xtea_key_index(half)) ++after;
    return after;
  }

  key_word key_[slice_words];
  uint32_t deltas_[in_place ? xtea_longest_step + 1 : 1];  // deltas_[i] is i * delta; the first is unused
};

constexpr uint32_t xtea_half_in_turn(bool forwards, uint32_t i) {
  return forwards ? i : xtea_halves - 1 - i;
}

// Calls step with each half as a constant of its type, from the first to the last or from the last to the first.
template <bool forwards, typename function, uint32_t... i>
[[gnu::always_inline]] inline void for_each_half(const function &step, std::integer_sequence<uint32_t, i...>) {
  (step(std::integral_constant<uint32_t, xtea_half_in_turn(forwards, i)>{}), ...);
}

template <bool forwards, typename function>
[[gnu::always_inline]] inline void for_each_half(const function &step) {
  for_each_half<forwards>(step, std::make_integer_sequence<uint32_t, xtea_halves>{});
}

// Puts the schedule word of a half into its two places in the exported tables. Deciphering undoes the cycles from
// the last to the first, so its tables are the other's reversed.
template <uint32_t half>
[[gnu::always_inline]] inline void leave_word(uint32_t word) {
  constexpr bool first = half % 2 == 0;
  constexpr uint32_t cycle = half / 2;
  (first ? key_encode_phase1 : key_encode_phase2)[cycle] = word;
  (first ? key_decode_phase2 : key_decode_phase1)[xtea_full_cycles - 1 - cycle] = word;
}

// Enciphers or deciphers left and right in place, and on request leaves the schedule in the tables on the way.
template <bool enciphering, bool leaving = false, typename word, typename key_word>
[[gnu::always_inline]] inline void xtea_run(word &left, word &right, const key_word (&key)[slice_words]) {
  xtea_schedule<enciphering, key_word> schedule(key);
  for_each_half<enciphering>([&](auto half) __attribute__((always_inline)) {
    word &changed = half % 2 == 0 ? left : right;
    const word &other = half % 2 == 0 ? right : left;
    const key_word added = schedule.template word<half>();
    if constexpr (leaving) leave_word<half>(added);
    if constexpr (enciphering) {
      changed += xtea_mix(other) ^ added;
    } else {
      changed -= xtea_mix(other) ^ added;
    }
  });
}

}  // namespace libsec
