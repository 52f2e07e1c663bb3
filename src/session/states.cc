// SPDX-License-Identifier: MIT
// Which packets a session takes, and for how long.
#include <libsec/session.h>

#include <cstdio>
#include <cstring>

namespace {

struct packet_signature {
  char text[5];
  uint32_t kind;
};

constexpr packet_signature signatures[] = {
    {"WAKE", PACKET_WAKE},
    {"LGIN", PACKET_LGIN},
    {"LOUT", PACKET_LOUT},
    {"ENCR", PACKET_ENCR},
};

constexpr int32_t signature_bytes = 4;

// Milliseconds that a session may stay in each state, counted from its WAKE's answer.
constexpr uint32_t time_limits_ms[] = {
    0,       // SESSION_DORMANT
    0,       // SESSION_WAKE_ADMITTED
    10000,   // SESSION_WRSP_SENT
    0,       // SESSION_LGIN_ACCEPTED
    180000,  // SESSION_LOGGED_IN
    180000,  // SESSION_DATA_FLOWING
    0,       // SESSION_LOUT_ACCEPTED
};
static_assert(sizeof time_limits_ms / sizeof time_limits_ms[0] == SESSION_LOUT_ACCEPTED + 1);

uint32_t time_limit_ms(uint32_t state) {
  return state <= SESSION_LOUT_ACCEPTED ? time_limits_ms[state] : 0;
}

// PACKET_OTHER when no signature fits.
uint32_t kind_of(const uint8_t *packet) {
  for (const packet_signature &signature : signatures) {
    if (std::memcmp(packet, signature.text, signature_bytes) == 0) return signature.kind;
  }
  return PACKET_OTHER;
}

// The reason why a packet of this kind does not fit the live session's state; null when it does.
const char *misfit(uint32_t kind, uint32_t state) {
  if (kind == PACKET_LOUT) return nullptr;
  if (kind == PACKET_ENCR) {
    return static_cast<int32_t>(state) < SESSION_LOGGED_IN ? "Session should not be ENCR at this point" : nullptr;
  }
  return kind == state + 1 ? nullptr : "Session is not allowed in this state";
}

}  // namespace

uint32_t session_elapsed(security_session *session) {
  return get_timer(&session->timer, 0) > time_limit_ms(session->state) ? 1 : 0;
}

int32_t session_get(security_session **slot, const uint8_t *packet, int32_t length) {
  security_session &live = security_sessions;
  security_session &scratch = security_session_tmp;
  *slot = &scratch;
  if (length < signature_bytes) return -1;

  const uint32_t kind = kind_of(packet);
  if (kind == PACKET_OTHER) {
    std::puts("The packet wasn't recognised");
    if (full_encryption != 0) return -1;
  }
  scratch.state = kind;
  if (kind != PACKET_WAKE) return 0;

  if (live.state != SESSION_DORMANT) {
    if (session_elapsed(&live) == 0) {  // a running session is not taken over
      scratch.session_id = 0;
      return -1;
    }
    std::puts("timeout");
    live.state = SESSION_DORMANT;
    live.session_id = 0;
  }
  live.admission_mark = 0;
  live.state = SESSION_WAKE_ADMITTED;
  *slot = &live;
  return 0;
}

int32_t session_swap(security_session **slot) {
  security_session &live = security_sessions;
  const security_session &parsed = **slot;
  if (live.session_id != parsed.session_id) return -1;
  if (live.state == SESSION_DORMANT) {
    std::puts("Session state is dormant");
    return -1;
  }
  if (session_elapsed(&live) != 0) {
    std::puts("Session has elapsed");
    return -1;
  }
  if (const char *reason = misfit(parsed.state, live.state)) {
    std::puts(reason);
    return -1;
  }
  *slot = &live;
  return 0;
}

uint32_t session_exists(security_session *session) {
  security_session &live = security_sessions;
  if (session->admission_mark == live.admission_mark) return 0;
  if (session->session_id != live.session_id) return 0;
  return session_elapsed(&live) == 0 ? 1 : 0;
}
