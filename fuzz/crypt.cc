// SPDX-License-Identifier: MIT
// The cipher of buffers both ways, and the check value, against plain renderings.
#include <libsec/crypto.h>

#include "fuzz/target.h"
#include "support/packets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace libsec::test;
  fuzz::input in(data, size);
  bytes key = in.take(128);
  key.resize(128, 0x3C);
  const bool in_place = (in.byte() & 1) != 0;
  const bytes plain = in.take(2000);  // the plain rendering is slow
  const auto length = static_cast<uint32_t>(plain.size());
  bytes padded = plain;
  padded.resize((plain.size() + 7) / 8 * 8, 0x77);

  bytes work = padded;
  bytes other(padded.size());
  uint8_t *const to = in_place ? work.data() : other.data();
  encrypt(work.data(), to, length, key.data(), 128, 32);
  const bytes enciphered(to, to + padded.size());
  fuzz::require(enciphered == plain_encrypt(padded, key), "encrypt() is the published cipher");
  decrypt(to, to, length, key.data(), 128, 32);
  fuzz::require(bytes(to, to + padded.size()) == padded, "decrypt() undoes it");
  fuzz::require(crc16_ccitt(plain.data(), static_cast<int32_t>(length)) == plain_crc16(plain),
                "the check value is right");
  return 0;
}
