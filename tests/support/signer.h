// SPDX-License-Identifier: MIT
// OpenSSL as the peer's and the judge's arithmetic. Only where OpenSSL is.
#pragma once

#include "support/packets.h"

namespace libsec::test {

// base^exponent mod modulus, in 128 bytes.
bytes mod_exp(const bytes &base, const bytes &exponent, const bytes &modulus);

// An RSA key pair of 1024 bits.
class signer {
 public:
  signer();                                        // the one of vectors::modulus
  explicit signer(unsigned long public_exponent);  // a new one
  ~signer();
  signer(const signer &) = delete;
  signer &operator=(const signer &) = delete;

  bytes modulus() const;                   // 128 bytes
  bytes sign(const bytes &message) const;  // PKCS #1 v1.5 with SHA-256
  // The private operation alone, on 128 bytes below the modulus.
  bytes sign_raw(const bytes &block) const;
  // A WAKE whose signature is right.
  bytes wake(wake_fields fields) const;

 private:
  void *key_;
};

bytes openssl_sha256(const bytes &message);

}  // namespace libsec::test
