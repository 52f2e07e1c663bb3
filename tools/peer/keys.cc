// SPDX-License-Identifier: MIT
#include "peer/keys.h"

#include <fmt/format.h>
#include <openssl/core_names.h>
#include <openssl/pem.h>

#include "peer/key_reading.h"
#include "peer/wire.h"

namespace peer {
namespace {

constexpr unsigned long least_exponent = 65537;
constexpr unsigned long greatest_exponent = 0xffffff;  // three bytes in the device's key file
constexpr const char *new_key =
    "make a new pair with \"zolt key generate DIR\" and put its publickeys.dat on the device";

failure trouble(const char *doing) {
  return {exit_code::key, "key", fmt::format("{} failed: {}", doing, openssl_error()), {}, {}, {}};
}

bignum parameter(const pkey &key, const char *name) {
  BIGNUM *number = nullptr;
  EVP_PKEY_get_bn_param(key.get(), name, &number);
  return bignum(number);
}

// Answers every request for a passphrase with none, and notes that there was one.
int no_passphrase(char *, int, int, void *asked) {
  *static_cast<bool *>(asked) = true;
  return -1;
}

// Whether the device can verify with it, and nobody else can sign for it.
status check_rsa(const pkey &key, const std::string &path) {
  auto refuse = [&](std::string happened, std::string expected, std::string causes) {
    return failure{exit_code::key,    "key",  fmt::format("{} {}", path, happened), std::move(expected),
                   std::move(causes), new_key};
  };
  if (EVP_PKEY_is_a(key.get(), "RSA") == 0)
    return refuse("is not an RSA key", "an RSA key of 1024 bits", "it was made for something else");
  if (EVP_PKEY_get_bits(key.get()) != rsa_bits)
    return refuse(fmt::format("is an RSA key of {} bits", EVP_PKEY_get_bits(key.get())), "1024 bits",
                  "the device reads signatures of 128 bytes only");
  bignum exponent = parameter(key, OSSL_PKEY_PARAM_RSA_E);
  if (!exponent) return trouble("reading the public exponent");
  BN_ULONG value = BN_get_word(exponent.get());  // all ones when it is too long
  if (value < least_exponent)
    return refuse(fmt::format("has the public exponent {}", value), "65537 or more",
                  "signatures under a small exponent can be forged, because the device looks at their end only");
  if (value > greatest_exponent || value % 2 == 0)
    return refuse("has a public exponent that the device's key file cannot hold", "an odd one of at most three bytes",
                  "it was made with another tool");
  return done;
}

result<public_key> halve(const pkey &key) {
  bignum modulus = parameter(key, OSSL_PKEY_PARAM_RSA_N);
  bignum exponent = parameter(key, OSSL_PKEY_PARAM_RSA_E);
  public_key half{bytes(key_field_bytes), bytes(3)};
  if (!modulus || !exponent || BN_bn2binpad(modulus.get(), half.modulus.data(), key_field_bytes) < 0 ||
      BN_bn2binpad(exponent.get(), half.exponent.data(), 3) < 0)
    return trouble("reading the public key");
  return half;
}

}  // namespace

result<private_key> private_key::generate() {
  pkey_context context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  EVP_PKEY *made = nullptr;
  bignum exponent(BN_new());
  if (!context || !exponent || BN_set_word(exponent.get(), least_exponent) == 0 ||
      EVP_PKEY_keygen_init(context.get()) <= 0 || EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), rsa_bits) <= 0 ||
      EVP_PKEY_CTX_set1_rsa_keygen_pubexp(context.get(), exponent.get()) <= 0 ||
      EVP_PKEY_generate(context.get(), &made) <= 0)
    return trouble("making an RSA key");
  return checked(pkey(made), "the new key");
}

result<private_key> private_key::load(const std::string &path) {
  result<secret_bytes> content = read_private_file(path);
  if (!content) return content.error();
  bio source(BIO_new_mem_buf(content->data(), static_cast<int>(content->size())));
  if (!source) return trouble("reading the key file");
  bool encrypted = false;
  pkey key(PEM_read_bio_PrivateKey(source.get(), nullptr, no_passphrase, &encrypted));
  if (encrypted)
    return failure{exit_code::key,
                   "key",
                   fmt::format("{} is encrypted", path),
                   "an unencrypted private key (PEM)",
                   "it was made with a passphrase; zolt never asks for one",
                   fmt::format("decrypt it once: (umask 077; openssl pkey -in {} -out private.pem)", path)};
  if (!key) {
    ERR_clear_error();
    std::string_view text(reinterpret_cast<const char *>(content->data()), content->size());
    bool is_public = text.find("PUBLIC KEY-----") != std::string_view::npos || text.starts_with("PublicKey");
    return failure{exit_code::key,
                   "key",
                   fmt::format("{} holds {}", path, is_public ? "a public key only" : "no private key in PEM form"),
                   "the file private.pem of the manager's key pair",
                   is_public ? "the public half was named" : "another file was named, or it is damaged",
                   new_key};
  }
  return checked(std::move(key), path);
}

result<private_key> private_key::checked(pkey key, const std::string &path) {
  if (status good = check_rsa(key, path); !good) return good.error();
  return private_key(std::move(key));
}

result<bytes> private_key::sign(byte_view message) const {
  digest_context signing(EVP_MD_CTX_new());
  digest_context verifying(EVP_MD_CTX_new());
  bytes signature(key_field_bytes);
  size_t length = signature.size();
  if (!signing || !verifying || EVP_DigestSignInit(signing.get(), nullptr, EVP_sha256(), nullptr, key_.get()) <= 0 ||
      EVP_DigestSign(signing.get(), signature.data(), &length, message.data(), message.size()) <= 0 ||
      length != key_field_bytes)
    return trouble("signing");
  // A damaged key file, or a fault while signing with the primes, would give the primes away.
  if (EVP_DigestVerifyInit(verifying.get(), nullptr, EVP_sha256(), nullptr, key_.get()) <= 0 ||
      EVP_DigestVerify(verifying.get(), signature.data(), length, message.data(), message.size()) != 1) {
    ERR_clear_error();
    return failure{exit_code::key,
                   "key",
                   "a signature of the private key does not fit its own public half",
                   "a private and a public half that belong together",
                   "a damaged key file",
                   new_key};
  }
  return signature;
}

result<secret_bytes> private_key::pem() const {
  bio sink(BIO_new(BIO_s_mem()));  // cleansed when it grows and when it goes
  char *text = nullptr;
  if (!sink || PEM_write_bio_PKCS8PrivateKey(sink.get(), key_.get(), nullptr, nullptr, 0, nullptr, nullptr) == 0)
    return trouble("writing the private key");
  long length = BIO_get_mem_data(sink.get(), &text);
  return secret_bytes(text, text + length);
}

result<std::string> private_key::publickeys() const {
  result<public_key> half = public_half();
  if (!half) return half.error();
  return half->publickeys();
}

result<public_key> private_key::public_half() const {
  return halve(key_);
}

std::string public_key::publickeys() const {
  return fmt::format("PublicKeyN={}\nPublicKeyE={}\n", to_hex(modulus), to_hex(exponent));
}

std::string public_key::fingerprint() const {
  bytes whole = modulus;
  append(whole, exponent);
  bytes digest(32);
  EVP_Digest(whole.data(), whole.size(), digest.data(), nullptr, EVP_sha256(), nullptr);
  std::string text;
  for (uint8_t byte : digest) text += fmt::format("{}{:02x}", text.empty() ? "" : ":", byte);
  return text;
}

result<public_key> read_public_key(const std::string &path) {
  bio source(BIO_new_file(path.c_str(), "r"));
  pkey key(source ? PEM_read_bio_PUBKEY(source.get(), nullptr, nullptr, nullptr) : nullptr);
  ERR_clear_error();
  if (key) {
    if (status good = check_rsa(key, path); !good) return good.error();
    return halve(key);
  }
  result<private_key> whole = private_key::load(path);
  if (!whole) return whole.error();
  return whole->public_half();
}

}  // namespace peer
