// SPDX-License-Identifier: MIT
#include <botan/bigint.h>
#include <botan/divide.h>
#include <botan/hash.h>
#include <botan/pow_mod.h>
#include <botan/xtea.h>

#include <cstring>
#include <memory>

#include "rows.h"

namespace bench {
namespace {

struct state {
  Botan::BigInt n{Botan::BigInt::decode(given().modulus)}, a{Botan::BigInt::decode(given().base)},
      e{Botan::BigInt::decode(given().exponent)}, w{Botan::BigInt::decode(given().wide)}, x, y;
  Botan::Fixed_Exponent_Power_Mod power{e, n}, public_power{Botan::BigInt(65537), n};
  std::unique_ptr<Botan::HashFunction> sha = Botan::HashFunction::create_or_throw("SHA-256");
  Botan::XTEA cipher;
  bytes out = bytes(65536), gathered = bytes(65536);

  // It enciphers several blocks at once, so the blocks of a slice are brought together.
  void encipher(size_t length, const bytes &key) {
    const size_t blocks = length / 8;
    for (size_t slice = 0; slice < 8 && slice < blocks; ++slice) {
      cipher.set_key(slice_of(key, slice), 16);
      size_t count = 0;
      for (size_t k = slice; k < blocks; k += 8) std::memcpy(&gathered[8 * count++], &given().data[8 * k], 8);
      cipher.encrypt_n(gathered.data(), gathered.data(), count);
      count = 0;
      for (size_t k = slice; k < blocks; k += 8) std::memcpy(&out[8 * k], &gathered[8 * count++], 8);
    }
  }
};

bytes value(const Botan::BigInt &number) {
  return Botan::BigInt::encode(number);
}

}  // namespace

void add_botan(std::vector<row> &rows) {
  const auto s = std::make_shared<state>();
  for (row &r : rows) {
    const size_t length = r.length;
    const auto add = [&](auto operation, auto result) { r.add("Botan", operation, result); };
    const auto x = [s] { return value(s->x); };
    if (r.kind == what::power) add([s] { s->x = s->power(s->a); }, x);
    if (is_public_power(r.kind)) add([s] { s->x = s->public_power(s->a); }, x);
    if (r.kind == what::product) add([s] { s->x = s->a * s->n; }, x);
    if (r.kind == what::quotient) {
      add([s] { Botan::vartime_divide(s->w, s->n, s->x, s->y); }, [s] { return joined(value(s->x), value(s->y)); });
    }
    if (r.kind == what::digest) {
      add([s, length] { s->sha->update(given().data.data(), length), s->sha->final(s->out.data()); },
          [s] { return bytes(s->out.begin(), s->out.begin() + 32); });
    }
    if (r.kind == what::cipher) {
      add([s, length, turn = 0U]() mutable { s->encipher(length, given().keys[turn ^= 1]); },
          [s, length] { return bytes(s->out.begin(), s->out.begin() + static_cast<std::ptrdiff_t>(length)); });
    }
  }
}

}  // namespace bench
