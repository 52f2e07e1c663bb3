// SPDX-License-Identifier: MIT
// The receive loop: one packet a pass, from either transport, until one is for the host.
#include <libsec/packet.h>
#include <libsec/zolt.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "transport/sockets.h"

namespace {

constexpr int listen_backlog = 128;
constexpr int32_t throttle_reset_ms = 10000;
constexpr uint32_t throttle_ms_per_rejection = 333;

// Peers whose packets keep failing are ignored for a while. One throttle for all contexts and all
// peers, cleared by every call of ZOLT_receive().
timer_state throttle_timer;
uint32_t rejected_count;
uint32_t throttle_elapsed_ms;

void reset_throttle() {
  throttle_elapsed_ms = get_timer(&throttle_timer, 1);
  rejected_count = 0;
}

// At most one rejection in 333 ms, on average, until a pass has been quiet for ten seconds.
bool throttled(int32_t pass_ms) {
  throttle_elapsed_ms = get_timer(&throttle_timer, 0);
  if (pass_ms >= throttle_reset_ms) reset_throttle();
  return rejected_count != 0 && throttle_elapsed_ms / rejected_count < throttle_ms_per_rejection;
}

int32_t connecting_failed(int error) {
  std::printf("Error connecting %d - %s\n", error, std::strerror(error));
  return -1;
}

void accept_peer(zolt_context *context) {
  libsec::accept_connection(context);
  if (context->tcp_client_socket == -1) {
    const int error = errno;
    std::printf("Error accepting connection: %d - %s\n", error, std::strerror(error));
  }
  // Deliberate: said and set after a failure too; the read that follows ends it as "no data".
  std::puts("TCP connection accepted");
  context->tcp_session_active = 1;
}

// Waits until one of the transports has something, and chooses it: UDP if both have. -1 on failure.
int32_t choose_transport(zolt_context *context) {
  const int32_t tcp = context->tcp_listen_socket;
  const int32_t udp = context->udp_socket;
  if (!libsec::selectable(tcp) || !libsec::selectable(udp)) return connecting_failed(EBADF);
  listen(tcp, listen_backlog);
  fd_set set;
  FD_ZERO(&set);
  FD_SET(tcp, &set);
  FD_SET(udp, &set);
  if (select((tcp > udp ? tcp : udp) + 1, &set, nullptr, nullptr, nullptr) < 0) return connecting_failed(errno);
  if (FD_ISSET(udp, &set)) {
    context->transport_is_tcp = 0;
  } else if (FD_ISSET(tcp, &set)) {
    context->transport_is_tcp = 1;
    accept_peer(context);
  } else {
    std::puts("Error - No sockets were ready but 'select' completed anyway");
    return -1;
  }
  return 0;
}

// One datagram is one packet; its sender gets the replies.
void receive_datagram(zolt_context *context) {
  socklen_t length = sizeof context->peer_address;
  context->data_length = static_cast<int32_t>(recvfrom(context->udp_socket, context->packet, sizeof context->packet, 0,
                                                       reinterpret_cast<sockaddr *>(&context->peer_address), &length));
}

int32_t no_data(zolt_context *context, uint8_t **out_data, int32_t *out_length) {
  *out_data = nullptr;
  *out_length = -1;
  std::puts("no data");
  context->tcp_session_active = 0;
  return -1;
}

// A stream that does not fit the buffer is malformed, even if its first bytes look complete.
int32_t refuse_overflow(zolt_context *context) {
  std::puts("Error getting session");
  context->packet_failed = 1;
  context->tcp_session_active = 0;
  return -1;
}

}  // namespace

int32_t ZOLT_receive(zolt_context *context, uint8_t **out_data, int32_t *out_length) {
  reset_throttle();
  throttle_elapsed_ms = 0;
  for (;;) {
    context->iteration_time_ms = static_cast<int32_t>(get_timer(&context->receive_timer, 1));
    if (context->tcp_session_active != 0) {
      std::puts("There is already an active TCP session");
    } else if (choose_transport(context) != 0) {
      return -1;
    }

    bool overflowed = false;
    if (context->transport_is_tcp == 1) {
      libsec::gather_packet(context, &overflowed);
    } else {
      receive_datagram(context);
    }
    std::printf("received %d\n", context->data_length);
    if (context->data_length < 1) return no_data(context, out_data, out_length);

    context->iteration_time_ms = static_cast<int32_t>(get_timer(&context->receive_timer, 0));
    context->total_receive_time_ms += static_cast<uint32_t>(context->iteration_time_ms);
    if (throttled(context->iteration_time_ms)) continue;

    const int32_t result = overflowed ? refuse_overflow(context) : packet_process(context);
    if (result == 0) {
      *out_data = context->data;
      *out_length = context->data_length;
      return 0;
    }
    if (context->packet_failed == 1) ++rejected_count;
  }
}
