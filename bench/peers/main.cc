// SPDX-License-Identifier: MIT
// peers LIBSEC.SO: times libsec beside independent libraries, in one process and in turns. A line for
// each contender: row, must, reach, name, median and least nanoseconds, separated by tabs. A contender
// whose result differs from libsec's is not timed; its line ends in WRONG, and the exit status is 1.
#include <cstdio>
#include <random>

#include "timer.h"

namespace bench {
namespace {

bytes random_bytes(std::mt19937 &from, size_t length) {
  bytes out(length);
  for (uint8_t &byte : out) byte = static_cast<uint8_t>(from());
  return out;
}

operands make_operands() {
  std::mt19937 random(20261121);
  operands o{.modulus = random_bytes(random, 128),
             .base = random_bytes(random, 128),
             .exponent = random_bytes(random, 128),
             .wide = random_bytes(random, 256),
             .data = random_bytes(random, 65536),
             .keys = {random_bytes(random, 128), random_bytes(random, 128)}};
  o.modulus.front() |= 0xC0;
  o.modulus.back() |= 1;
  o.base.front() = 0x80 | (o.base.front() & 0x3F);
  o.exponent.front() |= 0x80;
  o.wide.front() = 0x80 | (o.wide.front() & 0x3F);
  return o;
}

std::vector<row> make_rows() {
  return {
      {"num_exp_mod, 1024-bit modulus and exponent", what::power, 128, 1.8, 1.0, {}},
      {"num_exp_mod, exponent 65537", what::public_power, 128, 1.8, 1.0, {}},
      {"num_exp_mod, exponent 65537, R^2 included", what::whole_public_power, 128, 1.8, 1.0, {}},
      {"num_mul_num, 1024 x 1024 bits", what::product, 128, 1.9, 1.6, {}},
      {"num_div_num, 2048 / 1024 bits", what::quotient, 256, 1.8, 1.6, {}},
      {"SHA-256, 282 bytes", what::digest, 282, 4.3, 1.2, {}},
      {"SHA-256, 64 KiB", what::digest, 65536, 0, 0, {}},
      {"XTEA, 64 bytes", what::cipher, 64, 2.3, 0.8, {}},
      {"XTEA, 1 KiB", what::cipher, 1024, 0.7, 0.3, {}},
      {"XTEA, 32 KiB", what::cipher, 32768, 0.7, 0.3, {}},
      {"CRC-16, 64 bytes", what::check, 64, 0.12, 0, {}},
      {"CRC-16, 1 KiB", what::check, 1024, 0.08, 0, {}},
      {"CRC-16, 32 KiB", what::check, 32768, 0.08, 0, {}},
  };
}

bool measure(const row &r) {
  const std::vector<const contender *> contenders = agreeing(r, [&r](const contender &who) {
    std::printf("%s\t%g\t%g\t%s\t-\t-\tWRONG\n", r.name.c_str(), r.must, r.reach, who.name.c_str());
  });
  const std::vector<timing> times = take_turns(contenders);
  for (size_t i = 0; i < contenders.size(); ++i) {
    std::printf("%s\t%g\t%g\t%s\t%.1f\t%.1f\tright\n", r.name.c_str(), r.must, r.reach, contenders[i]->name.c_str(),
                times[i].median_ns, times[i].least_ns);
  }
  std::fflush(stdout);
  return contenders.size() == r.contenders.size();
}

}  // namespace

const operands the_operands = make_operands();

}  // namespace bench

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: peers LIBSEC.SO\n");
    return 2;
  }
  if (!bench::stay_on_one_processor()) std::fprintf(stderr, "not pinned to one processor\n");
  std::vector<bench::row> rows = bench::make_rows();
  bench::add_libsec(rows, argv[1]);
#define ADD(peer) bench::add_##peer(rows);
  LIBSEC_PEERS
  bool right = true;
  for (const bench::row &r : rows) right = bench::measure(r) && right;
  return right ? 0 : 1;
}
