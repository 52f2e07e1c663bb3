// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "peer/dh.h"
#include "peer/keys.h"

namespace {

// A folder of its own for each test.
class PeerKeys : public testing::Test {
 protected:
  PeerKeys() {
    std::string name = testing::TempDir() + "peer_keys_XXXXXX";
    folder_ = ::mkdtemp(name.data());
  }
  ~PeerKeys() override { std::filesystem::remove_all(folder_); }

  std::string write(const std::string &name, const std::string &text, mode_t mode = 0600) const {
    std::string path = folder_ + "/" + name;
    std::ofstream(path) << text;
    ::chmod(path.c_str(), mode);
    return path;
  }

  static std::string read(const std::string &path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  static mode_t mode(const std::string &path) {
    struct stat found {};
    ::stat(path.c_str(), &found);
    return found.st_mode & 07777;
  }

  // A PEM made without the code under test.
  std::string pem(const char *type, unsigned bits, unsigned long exponent, const EVP_CIPHER *cipher = nullptr) const {
    EVP_PKEY_CTX *context = EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr);
    EVP_PKEY_keygen_init(context);
    if (exponent != 0) {
      BIGNUM *number = BN_new();
      BN_set_word(number, exponent);
      EVP_PKEY_CTX_set_rsa_keygen_bits(context, static_cast<int>(bits));
      EVP_PKEY_CTX_set1_rsa_keygen_pubexp(context, number);
      BN_free(number);
    }
    EVP_PKEY *key = nullptr;
    EVP_PKEY_generate(context, &key);
    BIO *sink = BIO_new(BIO_s_mem());
    std::string passphrase = "secret";
    PEM_write_bio_PKCS8PrivateKey(sink, key, cipher, cipher != nullptr ? passphrase.data() : nullptr,
                                  cipher != nullptr ? static_cast<int>(passphrase.size()) : 0, nullptr, nullptr);
    char *text = nullptr;
    long length = BIO_get_mem_data(sink, &text);
    std::string written(text, static_cast<size_t>(length));
    BIO_free(sink);
    EVP_PKEY_free(key);
    EVP_PKEY_CTX_free(context);
    return written;
  }

  static void expect_refused(const std::string &path, const std::string &happened) {
    peer::result<peer::private_key> key = peer::private_key::load(path);
    ASSERT_FALSE(key) << happened;
    EXPECT_EQ(key.error().code, peer::exit_code::key);
    EXPECT_EQ(key.error().step, "key");
    EXPECT_NE(key.error().happened.find(happened), std::string::npos) << key.error().happened;
  }

  std::string folder_;
};

TEST_F(PeerKeys, TheFilesHaveTheFormAndModesThatBothSidesNeed) {
  peer::result<peer::private_key> key = peer::private_key::generate();
  ASSERT_TRUE(key);
  peer::result<peer::key_files> files = peer::write_key_files(*key, folder_ + "/new", false);
  ASSERT_TRUE(files) << peer::describe(files.error());
  EXPECT_EQ(mode(folder_ + "/new"), 0700U);
  EXPECT_EQ(mode(files->private_pem), 0600U);
  EXPECT_EQ(mode(files->publickeys), 0644U);
  std::string text = read(files->publickeys);
  ASSERT_EQ(text.size(), 11U + 256 + 1 + 11 + 6 + 1);
  EXPECT_EQ(text.substr(0, 11), "PublicKeyN=");
  EXPECT_EQ(text.substr(11, 256).find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(text.substr(267), "\nPublicKeyE=010001\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_ + "/new"), {}), 2) << "left-overs";
}

TEST_F(PeerKeys, TheWrittenKeyIsTheOneThatLoads) {
  peer::result<peer::private_key> key = peer::private_key::generate();
  ASSERT_TRUE(key);
  peer::result<peer::key_files> files = peer::write_key_files(*key, folder_, false);
  ASSERT_TRUE(files);
  peer::result<peer::private_key> loaded = peer::private_key::load(files->private_pem);
  ASSERT_TRUE(loaded) << peer::describe(loaded.error());
  EXPECT_EQ(*loaded->publickeys(), *key->publickeys());
}

TEST_F(PeerKeys, AnExistingFileIsOverwrittenWhenThatIsSaidOnly) {
  peer::result<peer::private_key> key = peer::private_key::generate();
  ASSERT_TRUE(key);
  for (const char *name : {"private.pem", "publickeys.dat"}) {
    std::string path = write(name, "precious");
    peer::result<peer::key_files> files = peer::write_key_files(*key, folder_, false);
    ASSERT_FALSE(files);
    EXPECT_EQ(files.error().code, peer::exit_code::key);
    EXPECT_NE(files.error().advice.find("--force"), std::string::npos);
    EXPECT_EQ(read(path), "precious");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 1);
    std::filesystem::remove(path);
  }
  write("private.pem", "old", 0666);
  ASSERT_TRUE(peer::write_key_files(*key, folder_, true));
  EXPECT_EQ(mode(folder_ + "/private.pem"), 0600U);
  EXPECT_TRUE(peer::private_key::load(folder_ + "/private.pem"));
}

TEST_F(PeerKeys, ASignatureDecodesToABlockThatEndsInTheDigest) {
  peer::result<peer::private_key> key = peer::private_key::generate();
  ASSERT_TRUE(key);
  peer::bytes message = peer::bytes_of("the signed part of a WAKE");
  peer::result<peer::bytes> signature = key->sign(message);
  ASSERT_TRUE(signature);
  ASSERT_EQ(signature->size(), 128U);
  std::string text = *key->publickeys();
  BIGNUM *modulus = nullptr;
  BN_hex2bn(&modulus, text.substr(11, 256).c_str());
  peer::bignum n(modulus), e(BN_new()), s(BN_bin2bn(signature->data(), 128, nullptr)), decoded(BN_new());
  peer::bignum_context context(BN_CTX_new());
  BN_set_word(e.get(), 65537);
  BN_mod_exp(decoded.get(), s.get(), e.get(), n.get(), context.get());
  peer::bytes block(128);
  BN_bn2binpad(decoded.get(), block.data(), 128);
  peer::bytes digest(32);
  EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_sha256(), nullptr);
  EXPECT_EQ(peer::bytes(block.begin() + 96, block.end()), digest);
  EXPECT_EQ(peer::to_hex(peer::byte_view(block).first(4)), "0001ffff");
}

TEST_F(PeerKeys, UnfitKeysAreRefusedWithTheReason) {
  expect_refused(folder_ + "/none.pem", "No such file");
  expect_refused(folder_, "not a regular file");
  expect_refused(write("empty.pem", ""), "no private key");
  expect_refused(write("text.pem", "hello\n"), "no private key");
  expect_refused(write("public.dat", "PublicKeyN=00\n"), "a public key only");
  expect_refused(write("public.pem", "-----BEGIN PUBLIC KEY-----\n"), "a public key only");
  expect_refused(write("2048.pem", pem("RSA", 2048, 65537)), "2048 bits");
  expect_refused(write("e3.pem", pem("RSA", 1024, 3)), "public exponent 3");
  expect_refused(write("e65535.pem", pem("RSA", 1024, 65535)), "public exponent 65535");
  expect_refused(write("big_e.pem", pem("RSA", 1024, 0x1000001)), "cannot hold");
  expect_refused(write("ed.pem", pem("ED25519", 0, 0)), "not an RSA key");
  expect_refused(write("locked.pem", pem("RSA", 1024, 65537, EVP_aes_128_cbc())), "is encrypted");
  EXPECT_TRUE(peer::private_key::load(write("good.pem", pem("RSA", 1024, 65539))));
}

TEST_F(PeerKeys, AKeyThatOthersMayReadIsRefused) {
  std::string text = pem("RSA", 1024, 65537);
  for (mode_t open : {0640U, 0604U, 0620U, 0601U})
    expect_refused(write("open.pem", text, open), "others than its owner");
  EXPECT_TRUE(peer::private_key::load(write("closed.pem", text, 0400)));
}

TEST(PeerDh, TheUsualGroupIsASafePrimeAndItsGeneratorASquare) {
  peer::bytes prime = peer::dh_group::oakley2().prime();
  ASSERT_EQ(prime.size(), 128U);
  peer::bignum p(BN_bin2bn(prime.data(), 128, nullptr)), q(BN_new()), g(BN_new());
  peer::bignum_context context(BN_CTX_new());
  EXPECT_EQ(BN_num_bits(p.get()), 1024);
  EXPECT_EQ(BN_check_prime(p.get(), context.get(), nullptr), 1);
  BN_rshift1(q.get(), p.get());
  EXPECT_EQ(BN_check_prime(q.get(), context.get(), nullptr), 1);
  BN_set_word(g.get(), peer::dh_generator);
  EXPECT_EQ(BN_kronecker(g.get(), p.get(), context.get()), 1);
}

TEST(PeerDh, BothSidesAgree) {
  // A prime that does not fill its field: that of the curve P-384. Modulo a Mersenne prime the generator has few
  // powers, and 1 would be drawn now and then.
  const std::optional<peer::bytes> prime = peer::from_hex(
      "fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffeffffffff0000000000000000ffffffff");
  for (const peer::dh_group &group : {peer::dh_group::oakley2(), *peer::dh_group::from_bytes(*prime)}) {
    peer::result<peer::dh_secret> here = peer::dh_secret::draw(group);
    peer::result<peer::dh_secret> there = peer::dh_secret::draw(group);
    ASSERT_TRUE(here && there);
    peer::result<peer::secret_bytes> one = here->agree(there->public_value());
    peer::result<peer::secret_bytes> other = there->agree(here->public_value());
    ASSERT_TRUE(one && other);
    EXPECT_EQ(*one, *other);
    EXPECT_EQ(one->size(), 128U);
  }
}

TEST(PeerDh, ModuliThatAreNoPrimesAreRefused) {
  EXPECT_FALSE(peer::dh_group::from_bytes(peer::bytes(128)));
  EXPECT_FALSE(peer::dh_group::from_bytes(peer::bytes{3}));
  EXPECT_FALSE(peer::dh_group::from_bytes(peer::bytes{0xfa}));
  EXPECT_FALSE(peer::dh_group::from_bytes(peer::bytes{0xff}));
  EXPECT_FALSE(peer::dh_group::from_bytes(peer::bytes(129, 0xff)));
}

}  // namespace
