// SPDX-License-Identifier: MIT
// encrypt and decrypt: whole buffers under a long key, four words of it at a time.
//
// Block i is under the slice that begins at word 4 i mod N of the key's N words.
#include <libsec/crypto.h>

#include <cstring>

#include "base/bytes.h"
#include "crypto/xtea.h"
#include "crypto/xtea_cycles.h"
#include "crypto/xtea_many.h"

namespace {

using libsec::load_be32;
using libsec::load_slice;
using libsec::slice;
using libsec::slice_words;
using libsec::store_be32;
using libsec::wiped;

constexpr uint32_t max_words = XTEA_MAX_KEY_WORDS;
constexpr size_t block_bytes = XTEA_BLOCK_BYTES;

// Every slice that a block can be under is readable here: see run_with_copied_key().
struct long_key {
  const uint8_t *bytes;
  uint32_t words;

  // cppcheck-suppress CastIntegerToAddressAtReturn ; a type before braces is not known to make a value
  const uint8_t *slice_of_block(uint32_t index) const { return bytes + size_t{4} * (slice_words * index % words); }
};

// One block. The last one leaves its schedule in the tables on the way, unless they hold it already: storing 128
// words costs a quarter of the block. (No stack protector: the key words stay in registers.)
template <bool enciphering>
__attribute__((noinline, no_stack_protector)) void run_single(const uint8_t *input, uint8_t *output,
                                                              const uint8_t *slice_bytes, bool last) {
  slice key;
  load_slice(key, slice_bytes);
  uint32_t left = load_be32(input), right = load_be32(input + 4);
  if (last && !libsec::tables_hold(key)) {
    libsec::full_tables = true;
    libsec::xtea_run<enciphering, true>(left, right, key);
  } else {
    libsec::xtea_run<enciphering>(left, right, key);
  }
  store_be32(output, left);
  store_be32(output + 4, right);
}

__attribute__((no_stack_protector)) void leave_tables_of(const uint8_t *slice_bytes) {
  slice key;
  load_slice(key, slice_bytes);
  if (!libsec::tables_hold(key)) libsec::leave_full_tables(key[0], key[1], key[2], key[3]);
}

template <bool enciphering>
[[gnu::always_inline]] inline void run_full_cycles(const uint8_t *input, uint8_t *output, uint32_t blocks,
                                                   long_key key) {
  uint32_t i = 0;
  if (key.words == max_words && blocks >= libsec::xtea_many)
    i = libsec::xtea_run_many<enciphering>(input, output, blocks, key.bytes);
  if (i == blocks) leave_tables_of(key.slice_of_block(i - 1));
  for (; i < blocks; ++i) {
    run_single<enciphering>(input + block_bytes * i, output + block_bytes * i, key.slice_of_block(i), i + 1 == blocks);
  }
}

// Any number of cycles, block by block through the exported tables.
[[gnu::noinline]] void run_few_cycles(const uint8_t *input, uint8_t *output, uint32_t blocks, long_key key,
                                      uint32_t cycles, void (*transform)(uint32_t, uint32_t *)) {
  wiped<slice> words;
  for (uint32_t i = 0; i < blocks; ++i) {
    load_slice(words.value, key.slice_of_block(i));
    init_encode_decode(0, cycles, words.value);
    const size_t position = block_bytes * i;
    uint32_t block[2] = {load_be32(input + position), load_be32(input + position + 4)};
    transform(cycles, block);
    store_be32(output + position, block[0]);
    store_be32(output + position + 4, block[1]);
  }
}

template <bool enciphering>
[[gnu::noinline]] void run(const uint8_t *input, uint8_t *output, uint32_t blocks, long_key key, uint32_t rounds) {
  const uint32_t cycles = libsec::xtea_cycles(rounds);
  if (cycles == libsec::xtea_full_cycles) {
    run_full_cycles<enciphering>(input, output, blocks, key);
  } else {
    run_few_cycles(input, output, blocks, key, cycles, enciphering ? encipher : decipher);
  }
}

// A key is copied where the output would overwrite it, and where its number of words is no multiple of four:
// there a slice may begin at the last word and reach three words beyond it, which are zero.
template <bool enciphering>
[[gnu::noinline]] void run_with_copied_key(const uint8_t *input, uint8_t *output, uint32_t blocks, long_key key,
                                           uint32_t rounds) {
  wiped<uint8_t[4 * (max_words + slice_words - 1)]> copy;
  std::memcpy(copy.value, key.bytes, size_t{4} * key.words);
  run<enciphering>(input, output, blocks, {copy.value, key.words}, rounds);
}

bool can_stay(long_key key, const uint8_t *output, uint32_t blocks) {
  const auto key_start = reinterpret_cast<uintptr_t>(key.bytes), output_start = reinterpret_cast<uintptr_t>(output);
  const bool outside = key_start - output_start >= block_bytes * blocks && output_start - key_start >= 4 * key.words;
  return outside && key.words % slice_words == 0;
}

template <bool enciphering>
[[gnu::noinline]] void process_any(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key_bytes,
                                   uint32_t key_length, uint32_t rounds) {
  if (length == 0 || key_length < 4) return;
  // Deliberate: a length that is no multiple of the block size is rounded up.
  const uint32_t blocks = static_cast<uint32_t>(length / block_bytes) + (length % block_bytes != 0);
  const uint32_t words = key_length / 4;
  const long_key key{key_bytes, words < max_words ? words : max_words};
  (can_stay(key, output, blocks) ? run<enciphering> : run_with_copied_key<enciphering>)(input, output, blocks, key,
                                                                                        rounds);
}

// One block goes straight to its work: what other lengths have to look at first would cost it most.
template <bool enciphering>
[[gnu::always_inline]] inline void process(const uint8_t *input, uint8_t *output, uint32_t length,
                                           const uint8_t *key_bytes, uint32_t key_length, uint32_t rounds) {
  const bool one_block = length - 1 < block_bytes;  // 0 - 1 is huge
  if (one_block && key_length >= sizeof(slice) && (rounds & 0xFF) >= libsec::xtea_full_cycles) {
    run_single<enciphering>(input, output, key_bytes, true);
  } else {
    process_any<enciphering>(input, output, length, key_bytes, key_length, rounds);
  }
}

}  // namespace

void encrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key, uint32_t key_length,
             uint32_t rounds) {
  process<true>(input, output, length, key, key_length, rounds);
}

void decrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key, uint32_t key_length,
             uint32_t rounds) {
  process<false>(input, output, length, key, key_length, rounds);
}
