// SPDX-License-Identifier: MIT
// WAKE, answered with WRSP: the key exchange.
//
//     gx = g^x mod p    sent to the peer
//     k  = yb^x mod p   the session's key
#include <libsec/zolt.h>

#include "base/bytes.h"
#include "packet/layouts.h"
#include "protocol/handlers.h"

namespace {

using libsec::no_text;
using libsec::none;

constexpr int32_t dh_gx_bytes = 128;

// clang-format off
constexpr packet_field wrsp_layout[] = {
    {"dh_gx",            16, 128, no_text /* gx, at run time */, none, get_key, none},
    {"signature_id",      0,   4, libsec::text_wrsp,             none, get_sig, none},
    {"packet_length",     4,   2, no_text,                       none, none,    none},
    {"protocol_version",  6,   2, no_text,                       none, get_ver, none},
    {"reserved",          8,   4, no_text,                       none, get_blk, none},
    {"session_id",       12,   4, no_text,                       none, get_ses, none},
    libsec::end_row,
};
// clang-format on
static_assert(libsec::is_generated(wrsp_layout) && libsec::fixed_bytes(wrsp_layout) == 144);

// Computes both values, writes gx to 128 bytes and k to the session's key. The key is written last, and
// only if all else went well: a WAKE that is refused leaves it as it was.
bool agree(security_session *session, uint8_t *gx) {
  return num_exp_mod(&session->gx, &session->g, &session->x, &session->p, &session->rr_p) == 0 &&
         num_exp_mod(&session->k, &session->yb, &session->x, &session->p, &session->rr_p) == 0 &&
         num_write_binary(&session->gx, gx, dh_gx_bytes) == 0 &&
         num_write_binary(&session->k, session->key, session->key_yb_length) == 0;
}

}  // namespace

int32_t libsec::handle_wake(zolt_context *context) {
  constexpr const char *refusal = "Something was wrong with the WAKE packet. Resetting...";
  security_session *session = context->session;
  auto wake = copy_of(wake_layout);
  if (context->data_length < wake_bytes) return -1;
  if (packet_parse(context, wake.rows) != 0) return refuse(context, refusal);
  // Deliberate: a WAKE is parsed into the live session, about which this never says yes.
  if (session_exists(session) != 0) return -1;

  uint8_t gx[dh_gx_bytes];
  if (!agree(session, gx)) return refuse(context, refusal);  // an even prime, or no memory
  session->key_length = static_cast<uint8_t>(session->key_yb_length);
  session->timer_start = get_timer(&session->timer, 1);  // the session's age counts from here
  session->state = SESSION_WAKE_ADMITTED;

  auto wrsp = copy_of(wrsp_layout);
  wrsp.rows[0].text = gx;
  packet_generate(context, wrsp.rows);
  if (socket_send(context) != 0) return -1;
  session->state = SESSION_WRSP_SENT;
  return 0;
}
