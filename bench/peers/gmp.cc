// SPDX-License-Identifier: MIT
#include <gmp.h>

#include <memory>

#include "rows.h"

namespace bench {
namespace {

struct state {
  state() {
    mpz_inits(n, a, e, w, f4, x, y, nullptr);
    const auto read = [](mpz_t to, const bytes &from) { mpz_import(to, from.size(), 1, 1, 0, 0, from.data()); };
    read(n, given().modulus);
    read(a, given().base);
    read(e, given().exponent);
    read(w, given().wide);
    mpz_set_ui(f4, 65537);
  }
  static bytes value(const mpz_t number) {
    bytes out(512);
    size_t count = 0;
    mpz_export(out.data(), &count, 1, 1, 0, 0, number);
    out.resize(count);
    return out;
  }
  mpz_t n, a, e, w, f4, x, y;
};

}  // namespace

void add_gmp(std::vector<row> &rows) {
  const auto s = std::make_shared<state>();
  for (row &r : rows) {
    const auto add = [&](auto operation) { r.add("GMP", operation, [s] { return state::value(s->x); }); };
    if (r.kind == what::power) add([s] { mpz_powm(s->x, s->a, s->e, s->n); });
    if (is_public_power(r.kind)) add([s] { mpz_powm(s->x, s->a, s->f4, s->n); });
    if (r.kind == what::product) add([s] { mpz_mul(s->x, s->a, s->n); });
    if (r.kind == what::quotient) {
      r.add(
          "GMP", [s] { mpz_tdiv_qr(s->x, s->y, s->w, s->n); },
          [s] { return joined(state::value(s->x), state::value(s->y)); });
    }
  }
}

}  // namespace bench
