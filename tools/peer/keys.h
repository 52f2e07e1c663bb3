// SPDX-License-Identifier: MIT
// The manager's signing key and the two files that hold it: a private PEM for this side, and the text
// file that the device's loader reads.
#pragma once

#include "peer/bytes.h"
#include "peer/openssl.h"
#include "peer/result.h"

namespace peer {

inline constexpr int rsa_bits = 1024;

// What the device verifies with.
struct public_key {
  bytes modulus;   // 128 bytes
  bytes exponent;  // 3 bytes

  // The text of the device's key file: two lines, each ended.
  std::string publickeys() const;

  // SHA-256 of the modulus and the exponent, in pairs of hex digits with colons between them.
  std::string fingerprint() const;
};

// The public half of a private or public PEM file. A private one must be readable by its owner only.
result<public_key> read_public_key(const std::string &path);

// An RSA key that the device can verify: 1024 bits, a public exponent of 65537 to ffffff (hex).
// Smaller exponents are refused: the device compares the decoded signature's last 32 bytes only, and
// under a small exponent anybody can make a number whose power ends in a given digest.
class private_key {
 public:
  static result<private_key> generate();

  // Loads a PEM file. It must be a regular file that its owner alone can read; encrypted files are
  // refused, without a question.
  static result<private_key> load(const std::string &path);

  // RSASSA-PKCS1-v1_5 with SHA-256, 128 bytes: the block that is raised ends in the digest. The
  // signature is verified before it is handed out.
  result<bytes> sign(byte_view message) const;

  // PKCS#8, unencrypted.
  result<secret_bytes> pem() const;

  // The device's key file: two lines, each ended.
  result<std::string> publickeys() const;

  result<public_key> public_half() const;

 private:
  explicit private_key(pkey key) : key_(std::move(key)) {}
  static result<private_key> checked(pkey key, const std::string &path);
  pkey key_;
};

// Where the two files lie in a folder.
struct key_files {
  std::string private_pem;
  std::string publickeys;
};
key_files key_files_in(const std::string &folder);

// Writes both files, private.pem with mode 0600, into `folder`, which is made with mode 0700 when it is
// not there. Without `overwrite`, nothing is changed when either exists. A file appears whole or not.
result<key_files> write_key_files(const private_key &key, const std::string &folder, bool overwrite);

}  // namespace peer
