// SPDX-License-Identifier: MIT
// havege_stream [--without-kernel] [BYTES]: the generator's bytes on standard output, for statistical batteries
// to read; without end when BYTES is not given. --without-kernel takes the kernel's random bytes away.
#include <libsec/crypto.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "support/fake_kernel_random.h"

int main(int argc, char **argv) {
  std::optional<libsec::test::fake_kernel_random> no_kernel;
  if (argc > 1 && std::strcmp(argv[1], "--without-kernel") == 0) {
    no_kernel.emplace(libsec::test::fake_kernel_random::mode::nothing_works);
    --argc, ++argv;
  }
  uint64_t left = UINT64_MAX;
  if (argc > 1) {
    char *end = nullptr;
    left = std::strtoull(argv[1], &end, 10);
    if (*end != '\0' || left == 0) {
      std::fputs("usage: havege_stream [--without-kernel] [BYTES]\n", stderr);
      return 2;
    }
  }
  auto state = std::make_unique<havege_context>();
  havege_init(state.get());
  while (left > 0) {
    int32_t words[512];
    for (int32_t &word : words) word = havege_rand(state.get());
    const size_t count = left < sizeof words ? static_cast<size_t>(left) : sizeof words;
    if (std::fwrite(words, 1, count, stdout) != count) return 1;  // whoever reads has had enough
    left -= count;
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
