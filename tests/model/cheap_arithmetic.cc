// SPDX-License-Identifier: MIT
#include "model/cheap_arithmetic.h"

#include <libsec/num.h>
#include <libsec/session.h>

#include <algorithm>

namespace libsec::test {
namespace {

uint32_t drawn = 0;

bytes in_128_bytes(const bytes &number) {
  bytes wide(128, 0);
  std::copy(number.begin(), number.end(), wide.end() - static_cast<std::ptrdiff_t>(number.size()));
  return wide;
}

bytes value(const num *number) {
  bytes out(128);
  if (num_write_binary(number, out.data(), 128) != 0) out.clear();
  return out;
}

}  // namespace

bytes cheap_exponent(uint32_t n) {
  bytes exponent(128);
  for (size_t i = 0; i < exponent.size(); ++i) exponent[i] = static_cast<uint8_t>((n * (2 * i + 1)) >> (i % 8));
  return exponent;
}

uint32_t cheap_exponents_drawn() {
  return drawn;
}

bytes cheap_power(const bytes &a, const bytes &e) {
  bytes sum = in_128_bytes(a);
  const bytes addend = in_128_bytes(e);
  uint32_t carry = 0;
  for (size_t i = sum.size(); i-- > 0;) {
    carry += uint32_t{sum[i]} + addend[i];
    sum[i] = static_cast<uint8_t>(carry);
    carry >>= 8;
  }
  return sum;
}

bytes cheap_signature(const bytes &digest, uint8_t filling) {
  // Subtracting 65537 is adding its complement.
  bytes complement(128, 0xFF);
  complement[127] = 0xFF;
  complement[126] = 0xFF;
  complement[125] = 0xFE;
  return cheap_power(joined({bytes(96, filling), digest}), complement);
}

}  // namespace libsec::test

using namespace libsec::test;

extern "C" {
int32_t __wrap_num_exp_mod(num *x, const num *a, const num *e, const num *n, num *rr);
int32_t __wrap_session_generate_random(security_session *session, uint32_t length);

int32_t __wrap_num_exp_mod(num *x, const num *a, const num *e, const num *n, num *) {
  if (num_lsb(n) != 0 || num_msb(n) == 0) return NUM_ERR_BAD_INPUT;  // even, or zero
  const bytes power = cheap_power(value(a), value(e));
  return num_read_binary(x, power.data(), 128);
}

int32_t __wrap_session_generate_random(security_session *session, uint32_t) {
  const bytes exponent = cheap_exponent(++drawn);
  return num_read_binary(&session->x, exponent.data(), 128);
}
}
