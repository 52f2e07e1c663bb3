// SPDX-License-Identifier: MIT
#include "base/processor.h"

#include <gtest/gtest.h>

namespace {

int times_asked = 0;

TEST(AskOnce, RemembersEitherAnswer) {
  int lacking = 0, having = 0;
  times_asked = 0;
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(libsec::ask_once(&lacking, [] { return ++times_asked == 0; }));
  }
  EXPECT_EQ(times_asked, 1);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(libsec::ask_once(&having, [] { return ++times_asked != 0; }));
  }
  EXPECT_EQ(times_asked, 2);
}

}  // namespace
