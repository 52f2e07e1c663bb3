// SPDX-License-Identifier: MIT
#define OPENSSL_SUPPRESS_DEPRECATED  // SHA256_Init() and the like: OpenSSL's fastest way to a digest
#include <openssl/bn.h>
#include <openssl/sha.h>

#include <memory>

#include "rows.h"

namespace bench {
namespace {

struct state {
  static BIGNUM *read(const bytes &from) { return BN_bin2bn(from.data(), static_cast<int>(from.size()), nullptr); }
  state() {
    BN_set_word(f4, 65537);
    BN_MONT_CTX_set(mont, n, ctx);
  }
  static bytes value(const BIGNUM *number) {
    bytes out(static_cast<size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, out.data());
    return out;
  }
  BIGNUM *n = read(given().modulus), *a = read(given().base), *e = read(given().exponent), *w = read(given().wide);
  BIGNUM *f4 = BN_new(), *x = BN_new(), *y = BN_new();
  BN_CTX *ctx = BN_CTX_new();
  BN_MONT_CTX *mont = BN_MONT_CTX_new();
  bytes digest = bytes(32);
};

}  // namespace

void add_openssl(std::vector<row> &rows) {
  const auto s = std::make_shared<state>();
  for (row &r : rows) {
    const auto add = [&](auto operation) { r.add("OpenSSL", operation, [s] { return state::value(s->x); }); };
    // The faster form, whose time depends on the exponent.
    if (r.kind == what::power) add([s] { BN_mod_exp_mont(s->x, s->a, s->e, s->n, s->ctx, s->mont); });
    if (is_public_power(r.kind)) add([s] { BN_mod_exp_mont(s->x, s->a, s->f4, s->n, s->ctx, s->mont); });
    if (r.kind == what::product) add([s] { BN_mul(s->x, s->a, s->n, s->ctx); });
    if (r.kind == what::quotient) {
      r.add(
          "OpenSSL", [s] { BN_div(s->x, s->y, s->w, s->n, s->ctx); },
          [s] { return joined(state::value(s->x), state::value(s->y)); });
    }
    if (r.kind == what::digest) {
      r.add(
          "OpenSSL",
          [s, length = r.length] {
            SHA256_CTX context;
            SHA256_Init(&context);
            SHA256_Update(&context, given().data.data(), length);
            SHA256_Final(s->digest.data(), &context);
          },
          [s] { return s->digest; });
    }
  }
}

}  // namespace bench
