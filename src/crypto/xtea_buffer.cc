// SPDX-License-Identifier: MIT
// encrypt and decrypt: whole buffers under a long key, four words of it at a time.
#include <libsec/crypto.h>

#include "base/bytes.h"
#include "crypto/xtea.h"

namespace {

constexpr uint32_t slice_words = 4;
constexpr uint32_t max_words = XTEA_MAX_KEY_WORDS;

// The key's words. The last slice may begin at the key's last word and reach three words beyond it:
// those are zero. Secret.
struct long_key {
  uint32_t count;
  uint32_t words[max_words + slice_words - 1];
};

using block_function = void (*)(uint32_t rounds, uint32_t *block);

void process(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key, uint32_t key_length,
             uint32_t rounds, block_function transform) {
  libsec::wiped<long_key> wiped_key;
  long_key &k = wiped_key.value;
  k.count = key_length / 4 < max_words ? key_length / 4 : max_words;
  if (k.count == 0) return;
  init_key(key, 4 * k.count, k.words);

  // Deliberate: a length that is no multiple of the block size is rounded up.
  const uint32_t blocks = length / XTEA_BLOCK_BYTES + (length % XTEA_BLOCK_BYTES != 0);
  uint32_t offset = 0;
  for (uint32_t i = 0; i < blocks; ++i) {
    init_encode_decode(offset, libsec::xtea_cycles(rounds), k.words);
    const size_t position = size_t{XTEA_BLOCK_BYTES} * i;
    uint32_t block[2] = {libsec::load_be32(input + position), libsec::load_be32(input + position + 4)};
    transform(rounds, block);
    libsec::store_be32(output + position, block[0]);
    libsec::store_be32(output + position + 4, block[1]);
    offset = (offset + slice_words) % k.count;
  }
}

}  // namespace

void encrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key, uint32_t key_length,
             uint32_t rounds) {
  process(input, output, length, key, key_length, rounds, encipher);
}

void decrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key, uint32_t key_length,
             uint32_t rounds) {
  process(input, output, length, key, key_length, rounds, decipher);
}
