// SPDX-License-Identifier: MIT
// What is asked, and how the reply to it is written.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "peer/session.h"

namespace CLI {
class App;
}

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

// The requests as a command line names them: texts, of which one "-" means all of standard input, or else hex.
struct payload_options {
  std::vector<std::string> texts;
  std::vector<std::string> hex;
  bool empty() const { return texts.empty() && hex.empty(); }
};

// Adds them to a command: PAYLOAD, as its last positional arguments, and --hex.
void add_payload_options(CLI::App &command, payload_options &options);

peer::result<std::vector<payload>> read_payloads(const payload_options &options);

// Sends the requests one after the other in a session of their own, and hands on each reply as it comes. The
// device serves nobody else until it is told that this is over, so that is done first, and told last. An agent that
// says that it failed is asked the rest all the same; the first such failure is the result.
using reply_handler = std::function<peer::status(const payload &request, peer::byte_view reply)>;
peer::status converse(peer::session &session, const std::vector<payload> &payloads, const reply_handler &take);

// Writes a reply to standard output. On a terminal, characters that could command it are shown as \xNN.
peer::status write_reply(const payload &request, peer::byte_view reply);

}  // namespace zolt
