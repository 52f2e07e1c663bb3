// SPDX-License-Identifier: MIT
// What is measured side by side: rows of operations, each with libsec first and its peers behind it. All
// contenders of a row work on the same operands and must come to the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using bytes = std::vector<uint8_t>;

enum class what {
  power,               // base ^ exponent mod modulus, what depends on the modulus alone at hand
  public_power,        // base ^ 65537 mod modulus, likewise
  whole_public_power,  // the same, but libsec computes R^2 each time
  product,             // base * modulus
  quotient,            // wide / modulus, and the remainder
  digest,              // SHA-256 of `length` bytes
  cipher,              // XTEA of `length` bytes; block k under words 4 * (k mod 8) and on of a 128-byte key
  check                // CRC-16/XMODEM of `length` bytes
};

inline bool is_public_power(what kind) {
  return kind == what::public_power || kind == what::whole_public_power;
}

struct contender {
  std::string name;
  std::function<void(size_t count)> repeat;  // the operation, `count` times
  std::function<bytes()> result;             // of the last one; numbers big-endian, without zeros in front
};

struct row {
  std::string name;
  what kind;
  size_t length;
  double must, reach;  // ratio of libsec's time to the best peer's; 0 for none
  std::vector<contender> contenders;

  template <typename Operation>
  void add(std::string who, Operation operation, std::function<bytes()> result) {
    contenders.push_back({std::move(who),
                          [operation](size_t count) mutable {
                            for (; count > 0; --count) {
                              operation();
                              asm volatile("" ::: "memory");
                            }
                          },
                          std::move(result)});
  }
};

// The contenders that come to the first one's result, after two operations each; `wrong` hears of the others.
std::vector<const contender *> agreeing(const row &r, const std::function<void(const contender &)> &wrong);

// The operands of every row, the same in every run.
struct operands {
  bytes modulus, base, exponent;  // 1024 bits; odd, smaller, full
  bytes wide;                     // 2048 bits
  bytes data;                     // 64 KiB
  bytes keys[2];                  // used in turn, so that each call makes its schedules
};
extern const operands the_operands;
inline const operands &given() {
  return the_operands;  // no call: it is asked within what is measured, once for each block by some
}

// The 16-byte slice of a key that enciphers block k.
inline const uint8_t *slice_of(const bytes &key, size_t block) {
  return key.data() + 16 * (block % 8);
}

inline bytes without_leading_zeros(bytes number) {
  size_t zeros = 0;
  while (zeros < number.size() && number[zeros] == 0) ++zeros;
  number.erase(number.begin(), number.begin() + static_cast<std::ptrdiff_t>(zeros));
  return number;
}

// quotient and remainder as one result, 128 and 128 bytes at least.
inline bytes joined(bytes quotient, const bytes &remainder) {
  quotient.push_back('/');
  quotient.insert(quotient.end(), remainder.begin(), remainder.end());
  return quotient;
}

// Each adds one library to the rows that it can serve.
void add_libsec(std::vector<row> &rows, const char *path);
void add_gmp(std::vector<row> &rows);
void add_openssl(std::vector<row> &rows);
void add_botan(std::vector<row> &rows);
void add_tomcrypt(std::vector<row> &rows);
void add_cryptopp(std::vector<row> &rows);
void add_wolfssl(std::vector<row> &rows);
void add_tomsfastmath(std::vector<row> &rows);
void add_boost(std::vector<row> &rows);

}  // namespace bench
