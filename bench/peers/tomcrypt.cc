// SPDX-License-Identifier: MIT
// libtomcrypt, and libtommath for its numbers.
#include <tomcrypt.h>
#include <tommath.h>

#include <memory>

#include "rows.h"

namespace bench {
namespace {

void done(mp_err) {}  // its results are compared with libsec's

struct state {
  state() {
    done(mp_init_multi(&n, &a, &e, &w, &f4, &x, &y, nullptr));
    const auto read = [](mp_int &to, const bytes &from) { done(mp_from_ubin(&to, from.data(), from.size())); };
    read(n, given().modulus);
    read(a, given().base);
    read(e, given().exponent);
    read(w, given().wide);
    mp_set(&f4, 65537);
  }
  static bytes value(const mp_int &number) {
    bytes digits(mp_ubin_size(&number));
    size_t written = 0;
    done(mp_to_ubin(&number, digits.data(), digits.size(), &written));
    return digits;
  }
  void encipher(size_t length, const bytes &key) {
    const size_t blocks = length / 8;
    for (size_t slice = 0; slice < 8 && slice < blocks; ++slice) {
      symmetric_key schedule;
      xtea_setup(slice_of(key, slice), 16, 0, &schedule);
      for (size_t k = slice; k < blocks; k += 8) xtea_ecb_encrypt(&given().data[8 * k], &out[8 * k], &schedule);
    }
  }
  mp_int n, a, e, w, f4, x, y;
  bytes out = bytes(65536);
};

}  // namespace

void add_tomcrypt(std::vector<row> &rows) {
  const auto s = std::make_shared<state>();
  for (row &r : rows) {
    const size_t length = r.length;
    const auto add_number = [&](auto operation) { r.add("libtommath", operation, [s] { return state::value(s->x); }); };
    if (r.kind == what::power) add_number([s] { done(mp_exptmod(&s->a, &s->e, &s->n, &s->x)); });
    if (is_public_power(r.kind)) add_number([s] { done(mp_exptmod(&s->a, &s->f4, &s->n, &s->x)); });
    if (r.kind == what::product) add_number([s] { done(mp_mul(&s->a, &s->n, &s->x)); });
    if (r.kind == what::quotient) {
      r.add(
          "libtommath", [s] { done(mp_div(&s->w, &s->n, &s->x, &s->y)); },
          [s] { return joined(state::value(s->x), state::value(s->y)); });
    }
    if (r.kind == what::digest) {
      r.add(
          "libtomcrypt",
          [s, length] {
            hash_state hash;
            sha256_init(&hash);
            sha256_process(&hash, given().data.data(), length);
            sha256_done(&hash, s->out.data());
          },
          [s] { return bytes(s->out.begin(), s->out.begin() + 32); });
    }
    if (r.kind == what::cipher) {
      r.add(
          "libtomcrypt", [s, length, turn = 0U]() mutable { s->encipher(length, given().keys[turn ^= 1]); },
          [s, length] { return bytes(s->out.begin(), s->out.begin() + static_cast<std::ptrdiff_t>(length)); });
    }
  }
}

}  // namespace bench
