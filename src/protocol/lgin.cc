// SPDX-License-Identifier: MIT
// LGIN, answered with ACK1: the login.
#include <libsec/zolt.h>

#include <cstdio>

#include "packet/layouts.h"
#include "protocol/handlers.h"

int32_t libsec::handle_lgin(zolt_context *context) {
  auto lgin = copy_of(lgin_layout);
  if (packet_parse(context, lgin.rows) != 0) {
    return refuse(context, "Something was wrong with the LGIN packet. Resetting...");
  }
  context->session->state = SESSION_LGIN_ACCEPTED;

  auto ack1 = copy_of(ack1_layout);
  packet_generate(context, ack1.rows);
  if (socket_send(context) != 0) {
    std::puts("There was a problem with the ack1 process");
    return -1;
  }
  context->session->state = SESSION_LOGGED_IN;
  return 0;
}
