// SPDX-License-Identifier: MIT
// The instructions that a piece of this program executes.
#pragma once

#include <signal.h>
#include <ucontext.h>

#include <cstdint>

namespace libsec::test {

// Two runs are equal when they executed the same addresses in the same order.
struct steps {
  uint64_t count = 0;
  uint64_t digest = 0;
  bool operator==(const steps &) const = default;
};

#if defined(__mips__)

constexpr bool compared_elsewhere = true;
inline bool can_watch() {
  return true;
}

template <typename F>
steps watch(F code) {
  asm volatile(".word 0x3c00c0de" ::: "memory");
  code();
  asm volatile(".word 0x3c00c0df" ::: "memory");
  return {};
}

#elif defined(__x86_64__)

constexpr bool compared_elsewhere = false;
inline steps seen;

// Where this program begins and ends. The C library's steps are left out: how it finds memory depends on what was
// allocated before.
extern "C" const char __executable_start, etext;

inline void note_step(int, siginfo_t *, void *context) {
  const auto address = static_cast<uint64_t>(static_cast<ucontext_t *>(context)->uc_mcontext.gregs[REG_RIP]);
  if (address < reinterpret_cast<uint64_t>(&__executable_start) || address >= reinterpret_cast<uint64_t>(&etext))
    return;
  ++seen.count;
  seen.digest = (seen.digest ^ address) * 0x100000001b3;
}

// The trap flag stops the processor behind each instruction, with a signal. The stack below is in use.
inline void set_trap_flag() {
  asm volatile("lea -128(%%rsp), %%rsp; pushfq; orq $0x100, (%%rsp); popfq; lea 128(%%rsp), %%rsp" ::: "memory", "cc");
}
inline void clear_trap_flag() {
  asm volatile("lea -128(%%rsp), %%rsp; pushfq; andq $~0x100, (%%rsp); popfq; lea 128(%%rsp), %%rsp" ::
                   : "memory", "cc");
}

template <typename F>
[[gnu::noinline]] steps watch(F code) {
  struct sigaction action = {}, before = {};
  action.sa_sigaction = note_step;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGTRAP, &action, &before);
  seen = {};
  set_trap_flag();
  code();
  clear_trap_flag();
  const steps result = seen;
  sigaction(SIGTRAP, &before, nullptr);
  return result;
}

// An emulator may execute without ever stopping.
inline bool can_watch() {
  return watch([] {}).count != 0;
}

#else

constexpr bool compared_elsewhere = false;
inline bool can_watch() {
  return false;
}
template <typename F>
steps watch(F code) {
  code();
  return {};
}

#endif

}  // namespace libsec::test
