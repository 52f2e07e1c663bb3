// SPDX-License-Identifier: MIT
// ENCR: the peer's enciphered requests, and the host's enciphered replies.
#include <libsec/zolt.h>

#include <cstdio>

#include "base/bytes.h"
#include "packet/layouts.h"
#include "protocol/handlers.h"

namespace {

using libsec::no_text;
using libsec::none;
using libsec::variable;

// clang-format off
constexpr packet_field reply_layout[] = {
    {"payload",          16, variable, no_text /* the reply, at run time */, none, get_pay, none},
    {"signature_id",      0, 4,        libsec::text_encr,                    none, get_sig, none},
    {"packet_length",     4, 2,        no_text,                              none, none,    none},
    {"protocol_version",  6, 2,        no_text,                              none, get_ver, none},
    {"block_size",        8, 4,        no_text,                              none, get_blk, none},
    {"session_id",       12, 4,        no_text,                              none, get_ses, none},
    libsec::end_row,
};
// clang-format on
static_assert(libsec::is_generated(reply_layout));

// Header, block header, reply and at least one byte of padding fill the packet to the last byte.
constexpr int32_t longest_reply = 39979;
static_assert(libsec::header_bytes + (longest_reply + 4) / 8 * 8 + 8 == ZOLT_PACKET_BYTES);

bool was_ever_keyed(const security_session &session) {
  uint8_t any = 0;
  for (const uint8_t byte : session.key) any |= byte;
  return session.state > SESSION_WAKE_ADMITTED || any != 0;
}

// Replies belong to the live session: a refused packet leaves the context at the scratch record, which
// has no key. False when no session was ever keyed.
bool choose_live_session(zolt_context *context) {
  if (context->session == nullptr || context->session == &security_session_tmp) context->session = &security_sessions;
  return was_ever_keyed(*context->session);
}

int32_t send_reply(zolt_context *context) {
  if (context->data == nullptr || context->data_length < 0 || context->data_length > longest_reply) return -1;
  if (!choose_live_session(context)) return -1;
  auto reply = libsec::copy_of(reply_layout);
  reply.rows[0].text = context->data;
  reply.rows[0].length = static_cast<uint32_t>(context->data_length);
  packet_generate(context, reply.rows);
  return socket_send(context);
}

}  // namespace

int32_t libsec::handle_encr(zolt_context *context) {
  auto encr = copy_of(encr_layout);
  if (packet_parse(context, encr.rows) != 0) {
    return refuse(context, "Something was wrong with the ENCR packet. Resetting...");
  }
  context->session->state = SESSION_DATA_FLOWING;
  context->encrypt_replies = 1;
  return 0;
}

int32_t packet_process_encr_send(zolt_context *context) {
  const int32_t result = send_reply(context);
  libsec::wipe_stack_below();
  if (result != 0) {
    std::puts("There was a problem sending the ENCR packet");
    return -1;
  }
  return 0;
}
