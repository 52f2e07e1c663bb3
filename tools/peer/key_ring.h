// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <vector>

#include "peer/bytes.h"
#include "peer/result.h"

namespace peer {

// The keys that a key log holds. A session id may occur again and again: the right key is the one under
// which a payload's check value is right.
class key_ring {
 public:
  // Reads lines as key_log writes them. Empty lines and those that begin with "#" are skipped.
  static result<key_ring> read(const std::string &path);

  // Takes the lines of such a text.
  void add(std::string_view text);

  const std::vector<secret_bytes> &keys_of(uint32_t session_id) const;

  // How many lines were neither a key nor a comment.
  size_t odd_lines() const { return odd_lines_; }

 private:
  void add_line(std::string_view line);

  std::map<uint32_t, std::vector<secret_bytes>> keys_;
  size_t odd_lines_ = 0;
};

}  // namespace peer
