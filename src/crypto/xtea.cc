// SPDX-License-Identifier: MIT
// XTEA with its key schedule in tables: the words that each half of a cycle adds, for both
// directions. The tables are exported, and module-wide.
#include "crypto/xtea.h"

#include <libsec/crypto.h>

#include "base/bytes.h"
#include "crypto/xtea_cycles.h"

uint32_t key_encode_phase1[XTEA_MAX_ROUNDS];
uint32_t key_encode_phase2[XTEA_MAX_ROUNDS];
uint32_t key_decode_phase1[XTEA_MAX_ROUNDS];
uint32_t key_decode_phase2[XTEA_MAX_ROUNDS];

bool libsec::full_tables = false;

using libsec::xtea_cycles;
using libsec::xtea_delta;
using libsec::xtea_mix;

void init_key(const uint8_t *key_bytes, uint32_t key_length, uint32_t *key_words) {
  // cppcheck-suppress constStatement ; a type before braces is not known to make a value
  for (uint32_t i = 0; i < key_length / 4; ++i) key_words[i] = libsec::load_be32(key_bytes + size_t{4} * i);
}

void init_encode_decode(uint32_t offset, uint32_t rounds, const uint32_t *key_words) {
  const uint32_t *slice = key_words + (offset & 0xFF);
  const uint32_t cycles = libsec::xtea_bounded(rounds);
  if (cycles == 0) return;
  libsec::full_tables = cycles == XTEA_MAX_ROUNDS;
  uint32_t sum = 0;
  // Deciphering undoes the cycles from the last to the first, so its tables are the other's reversed.
  for (uint32_t i = 0; i < cycles; ++i) {
    const uint32_t last = cycles - 1 - i;
    key_encode_phase1[i] = key_decode_phase2[last] = sum + slice[sum & 3];
    sum += xtea_delta;
    key_encode_phase2[i] = key_decode_phase1[last] = sum + slice[sum >> 11 & 3];
  }
}

void encipher(uint32_t rounds, uint32_t *block) {
  const uint32_t cycles = xtea_cycles(rounds);
  uint32_t left = block[0], right = block[1];
  for (uint32_t i = 0; i < cycles; ++i) {
    left += xtea_mix(right) ^ key_encode_phase1[i];
    right += xtea_mix(left) ^ key_encode_phase2[i];
  }
  block[0] = left;
  block[1] = right;
}

void decipher(uint32_t rounds, uint32_t *block) {
  const uint32_t cycles = xtea_cycles(rounds);
  uint32_t left = block[0], right = block[1];
  for (uint32_t i = 0; i < cycles; ++i) {
    right -= xtea_mix(left) ^ key_decode_phase1[i];
    left -= xtea_mix(right) ^ key_decode_phase2[i];
  }
  block[0] = left;
  block[1] = right;
}

// As init_encode_decode() for 32 cycles, with the choice of key words known when this is compiled.
__attribute__((no_stack_protector)) void libsec::leave_full_tables(uint32_t key_0, uint32_t key_1, uint32_t key_2,
                                                                   uint32_t key_3) {
  xtea_schedule<true, uint32_t> schedule({key_0, key_1, key_2, key_3});
  full_tables = true;
  for_each_half<true>([&](auto half)
                          __attribute__((always_inline)) { leave_word<half>(schedule.template word<half>()); });
}
