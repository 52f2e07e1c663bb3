// SPDX-License-Identifier: MIT
// Does on purpose what must not go unnoticed, and succeeds when the machine stops it.
//
//     traps unaligned | undefined
#include <signal.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  const bool unaligned = std::strcmp(argv[1], "unaligned") == 0;
  const auto stopped = [](int) { std::_Exit(0); };
  signal(unaligned ? SIGBUS : SIGTRAP, stopped);
  if (!unaligned) signal(SIGILL, stopped);

  if (unaligned) {
    alignas(4) uint8_t bytes[8] = {};
    const volatile uint32_t *word = reinterpret_cast<uint32_t *>(bytes);
    // The compiler must not see where the pointer points to: it would read the bytes one by one.
    asm volatile("" : "+r"(word));
    word = reinterpret_cast<const volatile uint32_t *>(reinterpret_cast<uintptr_t>(word) + 2);
    asm volatile("" : "+r"(word));
    std::printf("a word at an address that is no multiple of four was read: %u\n", *word);
  } else {
    volatile int large = INT_MAX;
    large = large + argc;
    std::printf("a signed sum overflowed: %d\n", large);
  }
  return 1;
}
