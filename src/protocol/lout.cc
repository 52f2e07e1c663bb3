// SPDX-License-Identifier: MIT
// LOUT, answered with ACK2: the logout.
#include <libsec/zolt.h>

#include <cstdio>

#include "packet/layouts.h"
#include "protocol/handlers.h"

int32_t libsec::handle_lout(zolt_context *context) {
  auto lout = copy_of(lout_layout);
  if (packet_parse(context, lout.rows) != 0) {
    return refuse(context, "Something was wrong with the LOUT packet. Resetting...");
  }
  context->session->state = SESSION_LOUT_ACCEPTED;

  auto ack2 = copy_of(ack2_layout);
  packet_generate(context, ack2.rows);
  context->session->state = SESSION_DORMANT;  // closed, whether or not ACK2 gets out
  if (socket_send(context) != 0) {
    std::puts("Quitting after ACK2");  // Deliberate: on this path only
    return -1;
  }
  context->tcp_session_active = 0;
  if (context->transport_is_tcp == 1) socket_tcp_destroy(context);
  return 0;
}
