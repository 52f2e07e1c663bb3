// SPDX-License-Identifier: MIT
// The cipher of buffers both ways, under keys and cycles of any number, and the check value, against plain
// renderings.
#include <libsec/crypto.h>

#include "fuzz/plain_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace libsec::test;
  fuzz::input in(data, size);
  fuzz::bytes key = in.take(128);
  const uint8_t mode = in.byte();
  const bool in_place = (mode & 1) != 0;
  const uint32_t key_length = (mode & 2) != 0 ? in.byte() % 140 : 128;
  const uint32_t rounds = (mode & 4) != 0 ? in.u16() : 32;
  key.resize(key_length, 0x3C);
  const uint32_t words = std::min(key_length / 4, 32u), cycles = std::min(rounds & 0xFF, 32u);

  fuzz::bytes work = in.take(2000);
  const auto length = static_cast<uint32_t>(work.size());
  fuzz::require(crc16_ccitt(work.data(), static_cast<int32_t>(length)) == plain_crc16(work.data(), length),
                "the check value is right");
  work.resize((length + 7) / 8 * 8, 0x77);
  const fuzz::bytes before = work;
  fuzz::bytes other(in_place ? 0 : work.size());
  fuzz::bytes &to = in_place ? work : other;
  fuzz::bytes wanted = words == 0 ? to : before;
  if (words != 0) fuzz::plain_blocks(wanted.data(), wanted.size() / 8, key.data(), words, cycles, plain_encipher);
  encrypt(work.data(), to.data(), length, key.data(), key_length, rounds);
  fuzz::require(to == wanted, "encrypt() is the published cipher");
  if (words == 0) return 0;
  decrypt(to.data(), to.data(), length, key.data(), key_length, rounds);
  fuzz::require(to == before, "decrypt() undoes it");
  return 0;
}
