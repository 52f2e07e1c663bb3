// SPDX-License-Identifier: MIT
#include "support/signer.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstdlib>

#include "support/msan/memory.h"

namespace libsec::test {
namespace {

void must(bool good, const char *what) {
  if (good) return;
  std::fprintf(stderr, "OpenSSL: %s failed\n", what);
  std::abort();
}

// What OpenSSL has put there.
bytes written(const bytes &out) {
  other_library::wrote(out.data(), out.size());
  return out;
}

EVP_PKEY *pkey(void *key) {
  return static_cast<EVP_PKEY *>(key);
}

}  // namespace

bytes mod_exp(const bytes &base, const bytes &exponent, const bytes &modulus) {
  const other_library openssl;
  const auto read = [](const bytes &b) { return BN_bin2bn(b.data(), static_cast<int>(b.size()), nullptr); };
  BIGNUM *a = read(base), *e = read(exponent), *n = read(modulus), *r = BN_new();
  BN_CTX *scratch = BN_CTX_new();
  must(BN_mod_exp(r, a, e, n, scratch) == 1, "BN_mod_exp");
  bytes out(128);
  must(BN_bn2binpad(r, out.data(), 128) == 128, "BN_bn2binpad");
  for (BIGNUM *number : {a, e, n, r}) BN_free(number);
  BN_CTX_free(scratch);
  return written(out);
}

bytes openssl_sha256(const bytes &message) {
  const other_library openssl;
  bytes digest(32);
  must(EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_sha256(), nullptr) == 1, "EVP_Digest");
  return written(digest);
}

signer::signer() : key_(nullptr) {
  const other_library openssl;
  BIO *pem = BIO_new_mem_buf(vectors::key_pair_pem, -1);
  key_ = PEM_read_bio_PrivateKey(pem, nullptr, nullptr, nullptr);
  BIO_free(pem);
  must(key_ != nullptr, "PEM_read_bio_PrivateKey");
}

signer::signer(unsigned long public_exponent) : key_(nullptr) {
  const other_library openssl;
  EVP_PKEY_CTX *context = EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr);
  BIGNUM *e = BN_new();
  BN_set_word(e, public_exponent);
  EVP_PKEY *key = nullptr;
  must(EVP_PKEY_keygen_init(context) == 1 && EVP_PKEY_CTX_set_rsa_keygen_bits(context, 1024) == 1 &&
           EVP_PKEY_CTX_set1_rsa_keygen_pubexp(context, e) == 1 && EVP_PKEY_keygen(context, &key) == 1,
       "EVP_PKEY_keygen");
  key_ = key;
  BN_free(e);
  EVP_PKEY_CTX_free(context);
}

signer::~signer() {
  const other_library openssl;
  EVP_PKEY_free(pkey(key_));
}

bytes signer::modulus() const {
  const other_library openssl;
  BIGNUM *n = nullptr;
  must(EVP_PKEY_get_bn_param(pkey(key_), "n", &n) == 1, "EVP_PKEY_get_bn_param");
  bytes out(128);
  must(BN_bn2binpad(n, out.data(), 128) == 128, "BN_bn2binpad");
  BN_free(n);
  return written(out);
}

bytes signer::sign(const bytes &message) const {
  const other_library openssl;
  EVP_MD_CTX *context = EVP_MD_CTX_new();
  bytes out(128);
  size_t length = out.size();
  must(EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, pkey(key_)) == 1 &&
           EVP_DigestSign(context, out.data(), &length, message.data(), message.size()) == 1 && length == 128,
       "EVP_DigestSign");
  EVP_MD_CTX_free(context);
  return written(out);
}

bytes signer::sign_raw(const bytes &block) const {
  const other_library openssl;
  EVP_PKEY_CTX *context = EVP_PKEY_CTX_new(pkey(key_), nullptr);
  bytes out(128);
  size_t length = out.size();
  must(EVP_PKEY_decrypt_init(context) == 1 && EVP_PKEY_CTX_set_rsa_padding(context, RSA_NO_PADDING) == 1 &&
           EVP_PKEY_decrypt(context, out.data(), &length, block.data(), block.size()) == 1 && length == 128,
       "EVP_PKEY_decrypt");
  EVP_PKEY_CTX_free(context);
  return written(out);
}

bytes signer::wake(wake_fields fields) const {
  fields.signature = sign(fields.signed_part());
  return fields.packet();
}

}  // namespace libsec::test
