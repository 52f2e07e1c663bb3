// SPDX-License-Identifier: MIT
extern "C" {
#include <tfm.h>
}

#include <memory>

#include "rows.h"

namespace bench {
namespace {

struct state {
  state() {
    for (fp_int *number : {&n, &a, &e, &w, &f4, &x, &y}) fp_init(number);
    const auto read = [](fp_int &to, const bytes &from) {
      fp_read_unsigned_bin(&to, from.data(), static_cast<int>(from.size()));
    };
    read(n, given().modulus);
    read(a, given().base);
    read(e, given().exponent);
    read(w, given().wide);
    fp_set(&f4, 65537);
  }
  static bytes value(const fp_int &number) {
    fp_int copy = number;
    bytes out(static_cast<size_t>(fp_unsigned_bin_size(&copy)));
    fp_to_unsigned_bin(&copy, out.data());
    return out;
  }
  fp_int n, a, e, w, f4, x, y;
};

}  // namespace

void add_tomsfastmath(std::vector<row> &rows) {
  const auto s = std::make_shared<state>();
  for (row &r : rows) {
    const auto add = [&](auto operation) { r.add("TomsFastMath", operation, [s] { return state::value(s->x); }); };
    if (r.kind == what::power) add([s] { fp_exptmod(&s->a, &s->e, &s->n, &s->x); });
    if (is_public_power(r.kind)) add([s] { fp_exptmod(&s->a, &s->f4, &s->n, &s->x); });
    if (r.kind == what::product) add([s] { fp_mul(&s->a, &s->n, &s->x); });
    if (r.kind == what::quotient) {
      r.add(
          "TomsFastMath", [s] { fp_div(&s->w, &s->n, &s->x, &s->y); },
          [s] { return joined(state::value(s->x), state::value(s->y)); });
    }
  }
}

}  // namespace bench
