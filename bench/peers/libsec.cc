// SPDX-License-Identifier: MIT
// The library under test, loaded by path.
#include <libsec/num.h>

#include <memory>

#include "../library.h"
#include "rows.h"

namespace bench {
namespace {

struct state {
  explicit state(const char *path) : sec(library(path)) {
    const auto read = [this](num &to, const bytes &from) {
      (void)sec.num_read_binary(&to, from.data(), static_cast<int32_t>(from.size()));
    };
    read(n, given().modulus);
    read(a, given().base);
    read(e, given().exponent);
    read(w, given().wide);
    (void)sec.num_lset(&f4, 65537);
    (void)sec.num_exp_mod(&x, &a, &f4, &n, &rr);
  }
  bytes value(const num &number) const {
    bytes digits(512);
    (void)sec.num_write_binary(&number, digits.data(), static_cast<int32_t>(digits.size()));
    return without_leading_zeros(digits);
  }
  functions sec;
  num n{1, 0, nullptr}, a{n}, e{n}, w{n}, f4{n}, rr{n}, x{n}, y{n};
  bytes out = bytes(65536);
  uint32_t crc = 0;
};

}  // namespace

void add_libsec(std::vector<row> &rows, const char *path) {
  const auto s = std::make_shared<state>(path);
  for (row &r : rows) {
    const auto length = static_cast<uint32_t>(r.length);
    const uint8_t *const data = given().data.data();
    const auto add = [&](auto operation, auto result) { r.add("libsec", operation, result); };
    switch (r.kind) {
      case what::power:
        add([s] { (void)s->sec.num_exp_mod(&s->x, &s->a, &s->e, &s->n, &s->rr); }, [s] { return s->value(s->x); });
        break;
      case what::public_power:
        add([s] { (void)s->sec.num_exp_mod(&s->x, &s->a, &s->f4, &s->n, &s->rr); }, [s] { return s->value(s->x); });
        break;
      case what::whole_public_power:
        add([s] { (void)s->sec.num_exp_mod(&s->x, &s->a, &s->f4, &s->n, nullptr); }, [s] { return s->value(s->x); });
        break;
      case what::product:
        add([s] { (void)s->sec.num_mul_num(&s->x, &s->a, &s->n); }, [s] { return s->value(s->x); });
        break;
      case what::quotient:
        add([s] { (void)s->sec.num_div_num(&s->x, &s->y, &s->w, &s->n); },
            [s] { return joined(s->value(s->x), s->value(s->y)); });
        break;
      case what::digest:
        add([s, data, length] { s->sec.sha256(data, length, s->out.data()); },
            [s] { return bytes(s->out.begin(), s->out.begin() + 32); });
        break;
      case what::cipher:
        add(
            [s, data, length, turn = 0U]() mutable {
              s->sec.encrypt(data, s->out.data(), length, given().keys[turn ^= 1].data(), 128, 32);
            },
            [s, length] { return bytes(s->out.begin(), s->out.begin() + length); });
        break;
      case what::check:
        add([s, data, length] { s->crc = s->sec.crc16_ccitt(data, static_cast<int32_t>(length)); },
            [s] {
              return bytes{static_cast<uint8_t>(s->crc >> 8), static_cast<uint8_t>(s->crc)};
            });
        break;
    }
  }
}

}  // namespace bench
