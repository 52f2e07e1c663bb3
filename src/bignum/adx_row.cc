// SPDX-License-Identifier: MIT
#include "bignum/adx_row.h"

#if LIBSEC_ADX

#include <cpuid.h>

#include "base/processor.h"

namespace libsec {
namespace {

bool ask_processor() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return false;
  return (ebx & bit_BMI2) != 0 && (ebx & bit_ADX) != 0;
}

}  // namespace

bool adx_works() {
  static int answer = 0;
  return ask_once(&answer, ask_processor);
}

// Compilers do not keep two carries apart, so this is assembly. The first instruction clears both.
uint64_t subtract_product_adx(uint64_t *rest, const uint64_t *divisor, uint64_t digit) {
  static_assert(adx_row_words == 16);
  uint64_t high, low, next, word;
  asm volatile(
      "xor %k[high], %k[high]\n"
      ".irp at, 0, 8, 16, 24, 32, 40, 48, 56, 64, 72, 80, 88, 96, 104, 112, 120\n"
      "mulx \\at(%[divisor]), %[low], %[next]\n"
      "mov \\at(%[rest]), %[word]\n"
      "not %[word]\n"
      "adcx %[word], %[low]\n"
      "adox %[high], %[low]\n"
      "mov %[next], %[high]\n"
      "not %[low]\n"
      "mov %[low], \\at(%[rest])\n"
      ".endr\n"
      "mov $0, %k[low]\n"
      "adcx %[low], %[high]\n"
      "adox %[low], %[high]\n"
      : [high] "=&r"(high), [low] "=&r"(low), [next] "=&r"(next), [word] "=&r"(word)
      : [rest] "r"(rest), [divisor] "r"(divisor), "d"(digit)
      : "cc", "memory");
  return high;
}

}  // namespace libsec

#endif
