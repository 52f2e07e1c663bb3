// SPDX-License-Identifier: MIT
// count_peers LIBSEC.SO: runs the operations of libsec and of independent libraries once each, between the
// marks that insn_count.c counts by, after two runs that are not counted. After each region goes to standard
// output its number of units (bytes, blocks), its row and its contender, the last two with a tab between. A
// contender whose result differs from libsec's is not counted: "WRONG", row and contender go to standard error.
#include <cstdio>
#include <cstdlib>

#include "../marks.h"
#include "rows.h"
#include "vectors/exp_mod_vectors.h"

namespace bench {
namespace {

bytes from_hex(const char *digits) {
  bytes out;
  for (char pair[3] = {}; (pair[0] = digits[0]) != 0; digits += 2) {
    pair[1] = digits[1];
    out.push_back(static_cast<uint8_t>(std::strtoul(pair, nullptr, 16)));
  }
  return out;
}

bytes pattern(size_t length, unsigned factor, unsigned first) {
  bytes out;
  for (unsigned i = 0; i < length; ++i) out.push_back(static_cast<uint8_t>(factor * i + first));
  return out;
}

// As mips_regions.cc has them, so that the counts can stand side by side.
operands make_operands() {
  const auto &full = vectors::exp_mod_vectors[0];
  operands o{.modulus = from_hex(full.modulus),
             .base = from_hex(full.base),
             .exponent = from_hex(full.exponent),
             .wide = from_hex(full.base),
             .data = pattern(65536, 29, 3),
             .keys = {pattern(128, 37, 1), pattern(128, 41, 7)}};
  o.wide.insert(o.wide.end(), o.exponent.begin(), o.exponent.end());
  return o;
}

// A row that counts for each byte or block says so in its name.
std::vector<row> make_rows() {
  return {
      {"num_exp_mod, 1024-bit modulus and exponent, RR given", what::power, 128, 0, 0, {}},
      {"num_exp_mod, exponent 65537, R^2 included", what::whole_public_power, 128, 0, 0, {}},
      {"num_exp_mod, exponent 65537, RR given", what::public_power, 128, 0, 0, {}},
      {"num_mul_num, 1024 x 1024 bits", what::product, 128, 0, 0, {}},
      {"num_div_num, 2048 / 1024 bits", what::quotient, 256, 0, 0, {}},
      {"SHA-256 of 282 bytes", what::digest, 282, 0, 0, {}},
      {"SHA-256 per byte of 64 KiB", what::digest, 65536, 0, 0, {}},
      {"XTEA, one single block, 128-byte key", what::cipher, 8, 0, 0, {}},
      {"XTEA per block of 64 bytes, 128-byte key", what::cipher, 64, 0, 0, {}},
      {"XTEA per block of 1 KiB, 128-byte key", what::cipher, 1024, 0, 0, {}},
      {"XTEA per block of 32 KiB, 128-byte key", what::cipher, 32768, 0, 0, {}},
      {"CRC-16 per byte of 64 bytes", what::check, 64, 0, 0, {}},
      {"CRC-16 per byte of 1 KiB", what::check, 1024, 0, 0, {}},
      {"CRC-16 per byte of 32 KiB", what::check, 32768, 0, 0, {}},
  };
}

size_t units(const row &r) {
  if (r.name.find(" per byte ") != std::string::npos) return r.length;
  return r.name.find(" per block ") != std::string::npos ? r.length / 8 : 1;
}

void count(const row &r) {
  const auto wrong = [&r](const contender &who) {
    std::fprintf(stderr, "WRONG\t%s\t%s\n", r.name.c_str(), who.name.c_str());
  };
  for (const contender *who : agreeing(r, wrong)) {
    start_region();
    who->repeat(1);
    end_region();
    std::printf("%zu %s\t%s\n", units(r), r.name.c_str(), who->name.c_str());
  }
}

}  // namespace

const operands the_operands = make_operands();

}  // namespace bench

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: count_peers LIBSEC.SO\n");
    return 2;
  }
  std::vector<bench::row> rows = bench::make_rows();
  bench::add_libsec(rows, argv[1]);
#define ADD(peer) bench::add_##peer(rows);
  LIBSEC_PEERS
  for (const bench::row &r : rows) bench::count(r);
  return 0;
}
