// SPDX-License-Identifier: MIT
// clang-format off: the options come first
#include <wolfssl/options.h>
// clang-format on
#include <wolfssl/wolfcrypt/hash.h>
#include <wolfssl/wolfcrypt/integer.h>

#include <memory>

#include "rows.h"

namespace bench {
namespace {

struct state {
  state() {
    for (sp_int *number : {&n, &a, &e, &w, &f4, &x, &y}) sp_init(number);
    const auto read = [](sp_int &to, const bytes &from) {
      (void)sp_read_unsigned_bin(&to, from.data(), static_cast<word32>(from.size()));
    };
    read(n, given().modulus);
    read(a, given().base);
    read(e, given().exponent);
    read(w, given().wide);
    sp_set_int(&f4, 65537);
  }
  static bytes value(const sp_int &number) {
    bytes out(static_cast<size_t>(sp_unsigned_bin_size(&number)));
    (void)sp_to_unsigned_bin(&number, out.data());
    return out;
  }
  sp_int n, a, e, w, f4, x, y;
  bytes digest = bytes(32);
};

}  // namespace

void add_wolfssl(std::vector<row> &rows) {
  const auto s = std::make_shared<state>();
  for (row &r : rows) {
    const auto add = [&](auto operation) { r.add("wolfSSL", operation, [s] { return state::value(s->x); }); };
    // The faster form, whose time depends on the exponent.
    if (r.kind == what::power) add([s] { (void)sp_exptmod_nct(&s->a, &s->e, &s->n, &s->x); });
    if (is_public_power(r.kind)) add([s] { (void)sp_exptmod_nct(&s->a, &s->f4, &s->n, &s->x); });
    if (r.kind == what::product) add([s] { (void)sp_mul(&s->a, &s->n, &s->x); });
    if (r.kind == what::quotient) {
      r.add(
          "wolfSSL", [s] { (void)sp_div(&s->w, &s->n, &s->x, &s->y); },
          [s] { return joined(state::value(s->x), state::value(s->y)); });
    }
    if (r.kind == what::digest) {
      r.add(
          "wolfSSL",
          [s, length = static_cast<word32>(r.length)] {
            (void)wc_Sha256Hash(given().data.data(), length, s->digest.data());
          },
          [s] { return s->digest; });
    }
  }
}

}  // namespace bench
