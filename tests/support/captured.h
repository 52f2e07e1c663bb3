// SPDX-License-Identifier: MIT
// What a piece of code writes to standard output.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace libsec::test {

// Runs the code and returns everything it printed. Its result, if any, is the code's own to keep:
//
//   int32_t result;
//   EXPECT_EQ(captured([&] { result = session_swap(&slot); }), "Session has elapsed\n");
template <typename F>
std::string captured(F code) {
  testing::internal::CaptureStdout();
  code();
  return testing::internal::GetCapturedStdout();
}

}  // namespace libsec::test
