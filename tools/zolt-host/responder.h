// SPDX-License-Identifier: MIT
// Who answers the requests: nobody but an echo, a UDP agent, or a command.
#pragma once

#include <cstdint>

#include "forward.h"
#include "options.h"

namespace host {

struct responder {
  responder_kind kind = responder_kind::none;
  const char *command = nullptr;
  agent_address agent;
  int32_t timeout_ms = 0;
};

struct message {
  uint8_t *bytes;
  int32_t length;
};

// responder_open prepares the responder that the options ask for; an agent's name is resolved here,
// once. Result: false after a message on standard error.
bool responder_open(const options &chosen, responder *out);

// responder_answer has a request answered. The reply's bytes are valid until the next call or,
// for an echo, as long as the request's. Result: false after a message on standard error, when
// there is no reply to send.
bool responder_answer(const responder &from, message request, message *reply);

}  // namespace host
