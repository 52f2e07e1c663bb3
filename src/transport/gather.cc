// SPDX-License-Identifier: MIT
// One packet out of a TCP stream, by the length in its header.
#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/bytes.h"
#include "transport/sockets.h"

namespace {

constexpr int32_t readable_seconds = 5;
constexpr uint32_t whole_packet_ms = 5000;
constexpr uint32_t length_offset = 4;  // of "packet_length" in every header

bool fcntl_failed(const char *command) {
  std::printf("Error fcntl(..., %s) (%s)\n", command, std::strerror(errno));
  return false;
}

bool set_nonblocking(int32_t descriptor, bool on) {
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags < 0) return fcntl_failed("F_GETFL");
  if (fcntl(descriptor, F_SETFL, on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) < 0) return fcntl_failed("F_SETFL");
  return true;
}

// Appends what recv() brought, as far as it fits. False when it does not.
bool append(zolt_context *context, int32_t *gathered, ssize_t received) {
  if (received <= 0) return true;
  const ssize_t room = ZOLT_PACKET_BYTES - *gathered;
  const ssize_t taken = received < room ? received : room;
  std::memcpy(context->packet + *gathered, context->receive_chunk, static_cast<size_t>(taken));
  *gathered += static_cast<int32_t>(taken);
  return taken == received;
}

// Polls the non-blocking connection until the packet is whole, too long or too late.
// Deliberate: the length is read even before it has arrived; the buffer then holds an older one.
int32_t read_whole_packet(zolt_context *context, bool *overflowed) {
  timer_state timer{};
  get_timer(&timer, 1);
  int32_t gathered = 0;
  for (;;) {
    const ssize_t received = recv(context->tcp_client_socket, context->receive_chunk, sizeof context->receive_chunk, 0);
    *overflowed = !append(context, &gathered, received);
    const bool whole = gathered >= static_cast<int32_t>(libsec::load_be16(context->packet + length_offset));
    if (whole) std::puts("All data received");
    if (get_timer(&timer, 0) >= whole_packet_ms) {
      std::printf("timed out waiting for the whole packet");
      return gathered;
    }
    if (whole || *overflowed) return gathered;
  }
}

}  // namespace

void libsec::gather_packet(zolt_context *context, bool *overflowed) {
  const int32_t connection = context->tcp_client_socket;
  int32_t gathered = 0;
  context->data_length = -1;
  if (!set_nonblocking(connection, true)) return;
  bool readable = false;
  if (wait_readable(connection, readable_seconds, &readable) <= 0) std::puts("No more data was in the buffer");
  if (readable) gathered = read_whole_packet(context, overflowed);
  if (!set_nonblocking(connection, false)) return;
  context->data_length = gathered;
}
