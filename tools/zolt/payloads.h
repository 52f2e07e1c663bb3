// SPDX-License-Identifier: MIT
// What is asked, and how the reply to it is written.
#pragma once

#include <string>
#include <vector>

#include "peer/bytes.h"
#include "peer/result.h"

namespace zolt {

enum class form {
  text,  // an argument; the reply is written with a line end behind it
  hex,   // digits; so is the reply, on a line
  raw    // from standard input; the reply is written as it is
};

struct payload {
  form in;
  peer::bytes content;
};

// The requests of a command line: texts, of which one "-" means all of standard input, or else hex.
peer::result<std::vector<payload>> read_payloads(const std::vector<std::string> &texts,
                                                 const std::vector<std::string> &hex);

// Writes a reply to standard output. On a terminal, characters that could command it are shown as \xNN.
peer::status write_reply(const payload &request, peer::byte_view reply);

}  // namespace zolt
