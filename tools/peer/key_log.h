// SPDX-License-Identifier: MIT
#pragma once

#include "peer/bytes.h"
#include "peer/descriptor.h"
#include "peer/result.h"

namespace peer {

// A text file that takes the key of every session, for deciphering captures: one line each,
// "ZOLT <session id, 8 hex digits> <key, 256 hex digits>".
class key_log {
 public:
  // Opens the file, or makes it with mode 0600, for appending. One that others may read is refused.
  static result<key_log> open(const std::string &path);

  // Appends a line whole, so that several programs may share a file. A failure is for the caller to tell;
  // the session goes on without it.
  status append(uint32_t session_id, byte_view key) const;

 private:
  key_log(descriptor file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}
  descriptor file_;
  std::string path_;
};

}  // namespace peer
