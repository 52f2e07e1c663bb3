// SPDX-License-Identifier: MIT
#include "support/caught_output.h"

#include <unistd.h>

#include <cstdlib>

#include "support/calls.h"

namespace libsec::test {
namespace {

constexpr int64_t longest_file = 1'000'000;

void demand(bool good, const char *what) {
  if (good) return;
  std::fprintf(stderr, "caught_output: %s\n", what);
  std::abort();
}

}  // namespace

caught_output::caught_output() : before_(dup(STDOUT_FILENO)) {
  std::string name = std::string(P_tmpdir) + "/libsec-XXXXXX";
  file_ = mkstemp(name.data());
  demand(file_ >= 0 && before_ >= 0, "no file for the output");
  unlink(name.c_str());
}

caught_output::~caught_output() {
  real_close(before_);
  real_close(file_);
}

void caught_output::divert() {
  std::fflush(stdout);
  demand(dup2(file_, STDOUT_FILENO) == STDOUT_FILENO, "the output cannot be diverted");
}

std::string caught_output::restore() {
  std::fflush(stdout);
  demand(dup2(before_, STDOUT_FILENO) == STDOUT_FILENO, "the output cannot be restored");
  char text[4096];
  const ssize_t length = pread(file_, text, sizeof text, static_cast<off_t>(taken_));
  demand(length >= 0 && length < ssize_t{sizeof text}, "more output than expected");
  taken_ += length;
  if (taken_ > longest_file) {
    demand(ftruncate(file_, 0) == 0 && lseek(file_, 0, SEEK_SET) == 0, "the file cannot be cut");
    taken_ = 0;
  }
  return std::string(text, static_cast<size_t>(length));
}

}  // namespace libsec::test
