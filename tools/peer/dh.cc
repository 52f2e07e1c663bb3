// SPDX-License-Identifier: MIT
#include "peer/dh.h"

#include <fmt/format.h>

#include "peer/wire.h"

namespace peer {
namespace {

failure trouble(const char *doing) {
  return {exit_code::other, "WAKE", fmt::format("{} failed: {}", doing, openssl_error()), {}, {}, {}};
}

failure degenerate(std::string_view value) {
  return {exit_code::verification,
          "WAKE",
          fmt::format("WRSP carries a public value (dh_gx) that is {}", value),
          "a public value from 2 to the prime less 2, so that the secret is known to both sides only",
          {},
          {}};
}

template <typename Vector>
bool write_field(const BIGNUM *number, Vector &to) {
  to.resize(key_field_bytes);
  return BN_bn2binpad(number, to.data(), static_cast<int>(to.size())) >= 0;
}

bignum read_field(byte_view from) {
  return bignum(BN_bin2bn(from.data(), static_cast<int>(from.size()), nullptr));
}

}  // namespace

dh_group dh_group::oakley2() {
  bignum prime(BN_get_rfc2409_prime_1024(nullptr));
  bytes field;
  write_field(prime.get(), field);
  return dh_group(std::move(field));
}

result<dh_group> dh_group::from_bytes(byte_view prime) {
  auto refuse = [](const char *happened) {
    return failure{exit_code::usage, "key", happened, "a prime of at most 128 bytes, 5 or more", {}, {}};
  };
  bignum number = read_field(prime);
  bignum_context context(BN_CTX_new());
  if (!number || !context) return trouble("reading the prime");
  if (BN_num_bytes(number.get()) > static_cast<int>(key_field_bytes))
    return refuse("the prime of the key exchange is longer than 128 bytes");
  if (BN_num_bits(number.get()) < 3 || BN_check_prime(number.get(), context.get(), nullptr) != 1)
    return refuse("the modulus of the key exchange is not a prime of 5 or more");
  bytes field;
  write_field(number.get(), field);
  return dh_group(std::move(field));
}

result<dh_secret> dh_secret::draw(const dh_group &group) {
  dh_secret secret;
  secret.prime_ = read_field(group.prime());
  secret.exponent_.reset(BN_secure_new());
  bignum range(BN_new());
  bignum generator(BN_new());
  bignum value(BN_new());
  bignum_context context(BN_CTX_secure_new());
  if (!secret.prime_ || !secret.exponent_ || !range || !generator || !value || !context)
    return trouble("preparing the key exchange");
  // The exponent is one of 2 to prime - 2.
  if (BN_copy(range.get(), secret.prime_.get()) == nullptr || BN_sub_word(range.get(), 3) == 0 ||
      BN_priv_rand_range(secret.exponent_.get(), range.get()) == 0 || BN_add_word(secret.exponent_.get(), 2) == 0)
    return trouble("drawing the secret exponent");
  BN_set_flags(secret.exponent_.get(), BN_FLG_CONSTTIME);
  if (BN_set_word(generator.get(), dh_generator) == 0 ||
      BN_mod_exp(value.get(), generator.get(), secret.exponent_.get(), secret.prime_.get(), context.get()) == 0 ||
      !write_field(value.get(), secret.public_value_))
    return trouble("computing the public value");
  return secret;
}

result<secret_bytes> dh_secret::agree(byte_view other) const {
  bignum value = read_field(other);
  bignum last(BN_dup(prime_.get()));
  bignum shared(BN_secure_new());
  bignum_context context(BN_CTX_secure_new());
  if (!value || !last || !shared || !context || BN_sub_word(last.get(), 1) == 0) return trouble("reading dh_gx");
  if (BN_is_zero(value.get())) return degenerate("0");
  if (BN_is_one(value.get())) return degenerate("1");
  if (BN_cmp(value.get(), last.get()) == 0) return degenerate("the prime less 1");
  if (BN_cmp(value.get(), prime_.get()) >= 0) return degenerate("not below the prime");
  secret_bytes key;
  if (BN_mod_exp(shared.get(), value.get(), exponent_.get(), prime_.get(), context.get()) == 0 ||
      !write_field(shared.get(), key))
    return trouble("computing the shared secret");
  return key;
}

}  // namespace peer
