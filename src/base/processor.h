// SPDX-License-Identifier: MIT
// Which instructions this processor has, beyond those that the library was compiled for.
#pragma once

namespace libsec {

// What ask() says, remembered in *answer, which is 0 at first: asking a processor costs thousands of cycles in a
// virtual machine. Several threads may ask at once: they agree. (std::atomic needs more of the C++ library than
// its headers where the C library is musl.)
inline bool ask_once(int *answer, bool (*ask)()) {
  enum { not_asked, no, yes };
  int known = __atomic_load_n(answer, __ATOMIC_RELAXED);
  if (known == not_asked) {
    known = ask() ? yes : no;
    __atomic_store_n(answer, known, __ATOMIC_RELAXED);
  }
  return known == yes;
}

}  // namespace libsec
