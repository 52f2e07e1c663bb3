// SPDX-License-Identifier: MIT
// A network namespace of the test program's own, in which port 161 is free and loopback is up.
#pragma once

#include <string>

namespace libsec::test {

// Moves this thread into a new namespace, once; later calls only tell how that went. As root a network
// namespace is enough; anyone else gets it through a user namespace, where the system allows that.
// Result: empty, or why it could not be done.
const std::string &enter_private_network();

}  // namespace libsec::test

// For a test's first line, or SetUp().
#define NEEDS_PRIVATE_NETWORK()                                                             \
  if (const std::string &reason = libsec::test::enter_private_network(); !reason.empty()) { \
    GTEST_SKIP() << "SKIPPED: no private network: " << reason;                              \
  }
