// SPDX-License-Identifier: MIT
// A UDP agent behind the host: one datagram out and one back.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>

namespace host {

struct agent_address {
  const char *name = nullptr;  // as on the command line, for messages
  sockaddr_storage address = {};
  socklen_t length = 0;
};

// agent_resolve looks "HOST:PORT" up; an IPv6 address stands in brackets. The text has to hold a colon,
// and to outlive *out. Result: false after a message on standard error.
bool agent_resolve(const char *text, agent_address *out);

// agent_ask sends the request and waits for the reply. Every request goes out of a socket of its
// own, so a reply that comes late is never taken for the next one's.
// Result: the reply's length; or -1 after a message on standard error.
int32_t agent_ask(const agent_address &agent, int32_t timeout_ms, const uint8_t *request, int32_t request_length,
                  uint8_t *reply, size_t capacity);

}  // namespace host
