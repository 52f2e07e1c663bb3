// SPDX-License-Identifier: MIT
#include <cryptopp/integer.h>
#include <cryptopp/modarith.h>
#include <cryptopp/sha.h>
#include <cryptopp/tea.h>

#include <memory>

#include "rows.h"

namespace bench {
namespace {

using CryptoPP::Integer;

Integer read(const bytes &from) {
  return Integer(from.data(), from.size());
}

bytes value(const Integer &number) {
  bytes out(number.MinEncodedSize());
  number.Encode(out.data(), out.size());
  return out;
}

struct state {
  Integer n = read(given().modulus), a = read(given().base), e = read(given().exponent), w = read(given().wide);
  Integer f4{65537}, x, y;
  CryptoPP::MontgomeryRepresentation montgomery{n};
  CryptoPP::SHA256 sha;
  bytes out = bytes(65536);

  void power(const Integer &exponent) {
    x = montgomery.ConvertOut(montgomery.Exponentiate(montgomery.ConvertIn(a), exponent));
  }
  void encipher(size_t length, const bytes &key) {
    const size_t blocks = length / 8;
    for (size_t slice = 0; slice < 8 && slice < blocks; ++slice) {
      const CryptoPP::XTEA::Encryption cipher(slice_of(key, slice), 16);
      for (size_t k = slice; k < blocks; k += 8) cipher.ProcessBlock(&given().data[8 * k], &out[8 * k]);
    }
  }
};

}  // namespace

void add_cryptopp(std::vector<row> &rows) {
  const auto s = std::make_shared<state>();
  for (row &r : rows) {
    const size_t length = r.length;
    const auto add = [&](auto operation, auto result) { r.add("Crypto++", operation, result); };
    const auto x = [s] { return value(s->x); };
    if (r.kind == what::power) add([s] { s->power(s->e); }, x);
    if (is_public_power(r.kind)) add([s] { s->power(s->f4); }, x);
    if (r.kind == what::product) add([s] { s->x = s->a * s->n; }, x);
    if (r.kind == what::quotient) {
      add([s] { Integer::Divide(s->y, s->x, s->w, s->n); }, [s] { return joined(value(s->x), value(s->y)); });
    }
    if (r.kind == what::digest) {
      add([s, length] { s->sha.CalculateDigest(s->out.data(), given().data.data(), length); },
          [s] { return bytes(s->out.begin(), s->out.begin() + 32); });
    }
    if (r.kind == what::cipher) {
      add([s, length, turn = 0U]() mutable { s->encipher(length, given().keys[turn ^= 1]); },
          [s, length] { return bytes(s->out.begin(), s->out.begin() + static_cast<std::ptrdiff_t>(length)); });
    }
  }
}

}  // namespace bench
