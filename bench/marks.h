// SPDX-License-Identifier: MIT
// The marks between which insn_count.c counts: instructions without effect that no compiler makes.
#pragma once

namespace bench {

[[gnu::always_inline]] inline void start_region() {
#if defined(__mips__)
  asm volatile(".word 0x3c00c0de" ::: "memory");  // lui $zero, 0xc0de
#elif defined(__aarch64__)
  asm volatile(".inst 0xd2981bdf" ::: "memory");  // movz xzr, #0xc0de
#else
#error "no marks for this processor"
#endif
}

[[gnu::always_inline]] inline void end_region() {
#if defined(__mips__)
  asm volatile(".word 0x3c00c0df" ::: "memory");  // lui $zero, 0xc0df
#elif defined(__aarch64__)
  asm volatile(".inst 0xd2981bff" ::: "memory");  // movz xzr, #0xc0df
#endif
}

}  // namespace bench
