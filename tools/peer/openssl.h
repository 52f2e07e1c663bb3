// SPDX-License-Identifier: MIT
// Owners of libcrypto's objects, and its last error as a text.
#pragma once

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <memory>
#include <string>

namespace peer {

template <auto release>
struct releaser {
  template <typename T>
  void operator()(T *object) const {
    release(object);
  }
};

using bignum = std::unique_ptr<BIGNUM, releaser<BN_clear_free>>;  // cleared: some are secret
using bignum_context = std::unique_ptr<BN_CTX, releaser<BN_CTX_free>>;
using pkey = std::unique_ptr<EVP_PKEY, releaser<EVP_PKEY_free>>;
using pkey_context = std::unique_ptr<EVP_PKEY_CTX, releaser<EVP_PKEY_CTX_free>>;
using digest_context = std::unique_ptr<EVP_MD_CTX, releaser<EVP_MD_CTX_free>>;
using bio = std::unique_ptr<BIO, releaser<BIO_free_all>>;

// The first error in libcrypto's queue, which is emptied.
inline std::string openssl_error() {
  unsigned long first = ERR_get_error();
  ERR_clear_error();
  const char *reason = first != 0 ? ERR_reason_error_string(first) : nullptr;
  return reason != nullptr ? reason : "unknown error in libcrypto";
}

}  // namespace peer
