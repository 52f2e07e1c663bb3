// SPDX-License-Identifier: MIT
#include "transport/sockets.h"

#include <fcntl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>

#include "base/unistd.h"

namespace {

constexpr int32_t lowest_descriptor = 3;
constexpr int32_t send_seconds = 5;

// The connection that accept_connection() opened last and nobody has closed yet; -1 for none. A handler
// that gives a connection up leaves it open, and the record has no field that would tell whether its
// descriptor is ours to close.
int32_t last_accepted = -1;

// Only a connection that the context still holds is given up: another context may be serving it, and what
// stands in the field may be the host's.
void close_left_behind(const zolt_context *context) {
  if (last_accepted == -1 || context->tcp_client_socket != last_accepted) return;
  close(last_accepted);
  last_accepted = -1;
}

int32_t close_and_fail(int32_t descriptor, int error) {
  close(descriptor);
  errno = error;
  return -1;
}

int32_t wait_for(int32_t descriptor, int32_t seconds, bool to_write, bool *ready) {
  *ready = false;
  if (!libsec::selectable(descriptor)) return -1;
  fd_set set;
  FD_ZERO(&set);
  FD_SET(descriptor, &set);
  timeval timeout{};
  timeout.tv_sec = seconds;
  const int result = select(descriptor + 1, to_write ? nullptr : &set, to_write ? &set : nullptr, nullptr, &timeout);
  *ready = result > 0 && FD_ISSET(descriptor, &set);
  return result;
}

}  // namespace

bool libsec::selectable(int32_t descriptor) {
  return descriptor >= 0 && descriptor < FD_SETSIZE;
}

int32_t libsec::adopt_descriptor(int32_t descriptor) {
  if (descriptor < 0) return -1;
  if (descriptor < lowest_descriptor) {
    const int32_t moved = fcntl(descriptor, F_DUPFD, lowest_descriptor);
    if (moved < 0) return close_and_fail(descriptor, errno);
    close(descriptor);
    descriptor = moved;
  }
  if (!selectable(descriptor)) return close_and_fail(descriptor, EMFILE);
  (void)fcntl(descriptor, F_SETFD, FD_CLOEXEC);  // a connection is worth more than its mark
  return descriptor;
}

int32_t libsec::wait_readable(int32_t descriptor, int32_t seconds, bool *ready) {
  return wait_for(descriptor, seconds, false, ready);
}

int32_t libsec::wait_writable(int32_t descriptor, int32_t seconds, bool *ready) {
  return wait_for(descriptor, seconds, true, ready);
}

void libsec::accept_connection(zolt_context *context) {
  close_left_behind(context);
  const int32_t accepted = adopt_descriptor(accept(context->tcp_listen_socket, nullptr, nullptr));
  context->tcp_client_socket = accepted;
  if (accepted == -1) return;
  last_accepted = accepted;
  // A peer that stops reading must not hold the agent for ever.
  timeval timeout{};
  timeout.tv_sec = send_seconds;
  (void)setsockopt(accepted, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);  // sends merely stay unbounded
}

void socket_tcp_destroy(zolt_context *context) {
  if (context == nullptr) return;
  shutdown(context->tcp_client_socket, SHUT_RDWR);
  close(context->tcp_client_socket);
  if (context->tcp_client_socket == last_accepted) last_accepted = -1;
  context->tcp_client_socket = -1;
}
