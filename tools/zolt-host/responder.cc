// SPDX-License-Identifier: MIT
#include "responder.h"

#include <libsec/context.h>

#include "exec.h"

namespace host {
namespace {

// No reply that the plug-in can send is longer than its packet buffer.
uint8_t reply_buffer[ZOLT_PACKET_BYTES];

}  // namespace

bool responder_open(const options &chosen, responder *out) {
  out->kind = chosen.kind;
  out->timeout_ms = chosen.timeout_ms;
  out->command = chosen.target;
  return chosen.kind != responder_kind::forward || agent_resolve(chosen.target, &out->agent);
}

bool responder_answer(const responder &from, message request, message *reply) {
  reply->bytes = reply_buffer;
  switch (from.kind) {
    case responder_kind::forward:
      reply->length =
          agent_ask(from.agent, from.timeout_ms, request.bytes, request.length, reply_buffer, sizeof reply_buffer);
      break;
    case responder_kind::exec:
      reply->length =
          exec_ask(from.command, from.timeout_ms, request.bytes, request.length, reply_buffer, sizeof reply_buffer);
      break;
    case responder_kind::echo:
    case responder_kind::none:
      *reply = request;
      break;
  }
  return reply->length >= 0;
}

}  // namespace host
