// SPDX-License-Identifier: MIT
#include "forward.h"

#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "stop.h"
#include "wait.h"

namespace host {
namespace {

int32_t failed(const agent_address &agent, const char *step) {
  std::fprintf(stderr, "zolt-host: agent %s: %s: %s\n", agent.name, step, std::strerror(errno));
  if (errno == ECONNREFUSED) std::fprintf(stderr, "zolt-host: nothing listens there: is the agent running?\n");
  return -1;
}

int32_t exchange(int socket, const agent_address &agent, int32_t timeout_ms, const uint8_t *request,
                 int32_t request_length, uint8_t *reply, size_t capacity) {
  if (connect(socket, reinterpret_cast<const sockaddr *>(&agent.address), agent.length) != 0) {
    return failed(agent, "connect");
  }
  if (send(socket, request, static_cast<size_t>(request_length), 0) < 0) return failed(agent, "send");
  pollfd readable = {socket, POLLIN, 0};
  if (!wait_until(now_ms() + timeout_ms, &readable, 1)) {
    if (!stop_requested()) {
      std::fprintf(stderr, "zolt-host: agent %s: no reply within %d ms; it may not accept this request\n", agent.name,
                   timeout_ms);
    }
    return -1;
  }
  // MSG_TRUNC makes the result the datagram's length, however much of it fits.
  const ssize_t length = recv(socket, reply, capacity, MSG_TRUNC);
  if (length < 0) return failed(agent, "receive");
  if (static_cast<size_t>(length) > capacity) {
    std::fprintf(stderr, "zolt-host: agent %s: its reply of %zd bytes is too long, dropped\n", agent.name, length);
    return -1;
  }
  return static_cast<int32_t>(length);
}

}  // namespace

bool agent_resolve(const char *text, agent_address *out) {
  char name[256];
  const char *colon = std::strrchr(text, ':');
  const size_t length = static_cast<size_t>(colon - text);
  if (length >= sizeof name) {
    std::fprintf(stderr, "zolt-host: cannot resolve the agent '%s': the name is too long\n", text);
    return false;
  }
  const bool brackets = text[0] == '[' && colon[-1] == ']';
  const size_t start = brackets ? 1 : 0;
  const size_t name_length = length - 2 * start;
  std::memcpy(name, text + start, name_length);
  name[name_length] = '\0';
  addrinfo hints = {};
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo *found = nullptr;
  const int error = getaddrinfo(name, colon + 1, &hints, &found);
  if (error != 0) {
    std::fprintf(stderr, "zolt-host: cannot resolve the agent '%s': %s\n", text, gai_strerror(error));
    return false;
  }
  std::memcpy(&out->address, found->ai_addr, found->ai_addrlen);
  out->length = found->ai_addrlen;
  out->name = text;
  freeaddrinfo(found);
  return true;
}

int32_t agent_ask(const agent_address &agent, int32_t timeout_ms, const uint8_t *request, int32_t request_length,
                  uint8_t *reply, size_t capacity) {
  const int socket = ::socket(agent.address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return failed(agent, "socket");
  const int32_t length = exchange(socket, agent, timeout_ms, request, request_length, reply, capacity);
  close(socket);
  return length;
}

}  // namespace host
