// SPDX-License-Identifier: MIT
// Diffie-Hellman under a prime of this side's choice and the device's generator, which is 4.
#pragma once

#include "peer/bytes.h"
#include "peer/openssl.h"
#include "peer/result.h"

namespace peer {

inline constexpr unsigned dh_generator = 4;

// A prime, in 128 bytes. The device takes it as it is, so the strength of a session is this choice.
class dh_group {
 public:
  // The 1024-bit safe prime of RFC 2409, section 6.2. 4 is a square, so it generates the subgroup of
  // prime order, and public values reveal no bit of the exponents.
  static dh_group oakley2();

  // Another prime, big-endian. Refused when it is even, below 5, longer than 128 bytes, or not prime.
  // Whether it is strong enough, and safe, is the caller's affair.
  static result<dh_group> from_bytes(byte_view prime);

  // 128 bytes.
  const bytes &prime() const { return prime_; }

 private:
  explicit dh_group(bytes prime) : prime_(std::move(prime)) {}
  bytes prime_;
};

// One side's secret exponent, for one session.
class dh_secret {
 public:
  static result<dh_secret> draw(const dh_group &group);

  // generator ^ exponent mod prime, 128 bytes.
  const bytes &public_value() const { return public_value_; }

  // The shared secret with the other side's public value, 128 bytes. A value that would make the
  // secret known to everybody (0, 1, prime - 1) or that is not below the prime is refused.
  result<secret_bytes> agree(byte_view other) const;

 private:
  dh_secret() = default;
  bignum prime_;
  bignum exponent_;
  bytes public_value_;
};

}  // namespace peer
