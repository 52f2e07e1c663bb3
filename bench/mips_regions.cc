// SPDX-License-Identifier: MIT
// mips_regions LIBSEC.SO: the costly operations, each between the marks that insn_count.c counts by.
// After each region its name goes to standard output, behind the number of units (bytes, blocks) that
// it worked on, so line n belongs to the plug-in's region n. Every result is checked; the exit status
// is 1 when one is wrong.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <vector>

#include "library.h"
#include "marks.h"
#include "same_chance.h"
#include "support/plain_crc16.h"
#include "support/plain_xtea.h"
#include "vectors/exp_mod_vectors.h"
#include "vectors/packet_vectors.h"

namespace {

using libsec::test::vectors::modulus;
using libsec::test::vectors::wake;

int failures;

void expect(bool right, const char *what) {
  if (right) return;
  ++failures;
  std::fprintf(stderr, "wrong: %s\n", what);
}

template <typename Operation>
void region(const char *name, unsigned units, Operation operation) {
  bench::start_region();
  const bool right = operation();
  bench::end_region();
  std::printf("%u %s\n", units, name);
  expect(right, name);
}

struct number : num {
  number() : num{1, 0, nullptr} {}
};

void count_numbers(const bench::functions &sec) {
  const auto &full = vectors::exp_mod_vectors[0];
  const auto &verifying = vectors::exp_mod_vectors[1];
  number n, a, e, f4, b, rr, x, y, z, expected, expected_f4;
  bool ok = bench::read_hex(sec, &n, full.modulus) && bench::read_hex(sec, &a, full.base) &&
            bench::read_hex(sec, &e, full.exponent) && bench::read_hex(sec, &expected, full.result) &&
            bench::read_hex(sec, &b, verifying.base) && bench::read_hex(sec, &expected_f4, verifying.result) &&
            std::strcmp(full.modulus, verifying.modulus) == 0 && sec.num_lset(&f4, 65537) == 0;
  // The cache, and the limbs of all results: a second exponentiation does not pay for them.
  ok = ok && sec.num_exp_mod(&x, &b, &f4, &n, &rr) == 0 && sec.num_mul_num(&y, &a, &n) == 0 &&
       sec.num_div_num(&x, &z, &y, &n) == 0 && sec.num_cmp_num(&x, &a) == 0;
  expect(ok, "the numbers");
  region("num_exp_mod, 1024-bit modulus and exponent, RR given", 1,
         [&] { return sec.num_exp_mod(&x, &a, &e, &n, &rr) == 0; });
  expect(sec.num_cmp_num(&x, &expected) == 0, "1024-bit power");
  region("num_exp_mod, exponent 65537, R^2 included", 1,
         [&] { return sec.num_exp_mod(&x, &b, &f4, &n, nullptr) == 0; });
  expect(sec.num_cmp_num(&x, &expected_f4) == 0, "65537th power");
  region("num_exp_mod, exponent 65537, RR given", 1, [&] { return sec.num_exp_mod(&x, &b, &f4, &n, &rr) == 0; });
  expect(sec.num_cmp_num(&x, &expected_f4) == 0, "65537th power, RR given");
  region("num_mul_num, 1024 x 1024 bits", 1, [&] { return sec.num_mul_num(&y, &a, &n) == 0; });
  region("num_div_num, 2048 / 1024 bits", 1, [&] { return sec.num_div_num(&x, &z, &y, &n) == 0; });
  expect(sec.num_cmp_num(&x, &a) == 0, "quotient");
}

constexpr size_t long_length = 65536;
alignas(8) uint8_t input[long_length], output[long_length];
uint8_t key[SESSION_KEY_BYTES], other_key[SESSION_KEY_BYTES];

// Digests of the first bytes of `input`, by sha256sum.
constexpr char digest_of_282[] = "be8c9f6595d491d25051a9d7d3c24e71a98ec72e331abcbee244f4b936b95e09";
constexpr char digest_of_all[] = "4b640d85ab3ba30fd02c9fc9db4a8928f416322ad27022ea58a65aaee68a4df2";

bool is_digest(const uint8_t *digest, const char *expected) {
  char digits[65];
  for (size_t i = 0; i < 32; ++i) std::snprintf(digits + 2 * i, 3, "%02x", digest[i]);
  return std::strcmp(digits, expected) == 0;
}

void expect_enciphered(size_t length, const char *what) {
  std::vector<uint8_t> expected(input, input + length);
  libsec::test::plain_buffer(expected, {key, key + sizeof key}, sizeof key / 4, XTEA_MAX_ROUNDS,
                             libsec::test::plain_encipher);
  expect(std::memcmp(output, expected.data(), length) == 0, what);
}

void count_primitives(const bench::functions &sec) {
  for (size_t i = 0; i < sizeof input; ++i) input[i] = static_cast<uint8_t>(i % 251);
  for (size_t i = 0; i < sizeof key; ++i) key[i] = static_cast<uint8_t>(37 * i + 1);
  uint8_t digest[SHA256_DIGEST_BYTES];
  region("SHA-256 of 282 bytes", 1, [&] { return sec.sha256(input, 282, digest), true; });
  expect(is_digest(digest, digest_of_282), "digest of 282 bytes");
  region("SHA-256 per byte of 64 KiB", long_length, [&] { return sec.sha256(input, long_length, digest), true; });
  expect(is_digest(digest, digest_of_all), "digest of 64 KiB");

  const auto encrypt = [&](uint32_t length, const uint8_t *with) {
    return sec.encrypt(input, output, length, with, SESSION_KEY_BYTES, XTEA_MAX_ROUNDS), true;
  };
  // A schedule that the library may have kept is another key's, unless said otherwise.
  encrypt(64, other_key);
  region("XTEA per block of 1 KiB, 128-byte key", 128, [&] { return encrypt(1024, key); });
  expect_enciphered(1024, "1 KiB enciphered");
  encrypt(64, other_key);
  region("XTEA, one single block, 128-byte key", 1, [&] { return encrypt(8, key); });
  expect_enciphered(8, "one block enciphered");
  region("XTEA, one more block under the same key", 1, [&] { return encrypt(8, key); });
  expect_enciphered(8, "one more block enciphered");

  uint32_t crc = 0;
  region("CRC-16 per byte of 1 KiB", 1024, [&] { return crc = sec.crc16_ccitt(input, 1024), true; });
  expect(crc == libsec::test::plain_crc16(input, 1024), "CRC-16");

  static havege_context generator;
  const uint32_t readings = bench::clock_readings, calls = bench::kernel_random_calls;
  region("HAVEGE, one gathering pass", 1, [&] { return sec.havege_init(&generator), true; });
  std::fprintf(stderr, "one gathering pass: %u clock readings, %u calls for kernel randomness\n",
               bench::clock_readings - readings, bench::kernel_random_calls - calls);
}

// A UDP socket of 127.0.0.1 and its address.
int loopback_socket(sockaddr_in *address) {
  socklen_t length = sizeof *address;
  *address = {};
  address->sin_family = AF_INET;
  address->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int udp = socket(AF_INET, SOCK_DGRAM, 0);
  if (udp < 0 || bind(udp, reinterpret_cast<sockaddr *>(address), length) != 0 ||
      getsockname(udp, reinterpret_cast<sockaddr *>(address), &length) != 0) {
    std::perror("socket");
    std::exit(2);
  }
  return udp;
}

// The value that the peer computes from a WRSP is the key that the library has kept.
void expect_agreement(const bench::functions &sec, const uint8_t *wrsp, const security_session *session) {
  number gx, y, p, shared;
  uint8_t value[SESSION_KEY_BYTES];
  expect(sec.num_read_binary(&gx, wrsp + 16, 128) == 0 &&
             bench::read_hex(sec, &y, libsec::test::vectors::peer_secret) &&
             bench::read_hex(sec, &p, libsec::test::vectors::prime) &&
             sec.num_exp_mod(&shared, &gx, &y, &p, nullptr) == 0 && sec.num_write_binary(&shared, value, 128) == 0 &&
             std::memcmp(value, session->key, sizeof value) == 0,
         "the session's key");
}

void count_wakes(const bench::library &lib, const bench::functions &sec) {
  security_session *const session = lib["security_sessions"];
  uint32_t *const protects = lib["full_encryption"];
  *protects = 1;
  expect(bench::read_hex(sec, &session->rsa_n, modulus) && bench::read_hex(sec, &session->rsa_e, "010001") &&
             sec.num_lset(&session->g, 4) == 0,
         "the key file");
  const auto context = std::make_unique<zolt_context>();
  sockaddr_in device{}, peer{};
  context->tcp_listen_socket = context->tcp_client_socket = -1;
  context->udp_socket = loopback_socket(&device);
  const int manager = loopback_socket(&peer);
  for (const char *name : {"WAKE accepted, WRSP sent", "the next WAKE, from the same manager"}) {
    for (size_t i = 0; 2 * i < std::strlen(wake); ++i) {
      unsigned byte = 0;
      std::sscanf(wake + 2 * i, "%2x", &byte);
      context->packet[i] = static_cast<uint8_t>(byte);
      context->data_length = static_cast<int32_t>(i + 1);
    }
    std::memcpy(&context->peer_address, &peer, sizeof context->peer_address);
    session->state = SESSION_DORMANT;
    region(name, 1, [&] { return sec.packet_process(context.get()) == -1; });
    uint8_t wrsp[256];
    expect(context->packet_failed == 0 && session->state == SESSION_WRSP_SENT, "WAKE accepted");
    expect(recv(manager, wrsp, sizeof wrsp, MSG_DONTWAIT) == 144 && std::memcmp(wrsp, "WRSP", 4) == 0, "WRSP");
    expect_agreement(sec, wrsp, session);
  }
  close(manager);
  close(context->udp_socket);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: mips_regions LIBSEC.SO\n");
    return 2;
  }
  const bench::library lib(argv[1]);
  const bench::functions sec(lib);
  count_numbers(sec);
  count_primitives(sec);
  count_wakes(lib, sec);
  return failures == 0 ? 0 : 1;
}
