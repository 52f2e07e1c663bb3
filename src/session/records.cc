// SPDX-License-Identifier: MIT
// The two session records and the flag that a key file switches on.
#include <libsec/session.h>

namespace {

constexpr num zero{.sign = 1, .limb_count = 0, .limbs = nullptr};

// Numbers start with a sign that arithmetic knows; everything behind them is zero.
constexpr security_session empty_session{.p = zero,
                                         .g = zero,
                                         .x = zero,
                                         .gx = zero,
                                         .yb = zero,
                                         .k = zero,
                                         .rr_p = zero,
                                         .rsa_n = zero,
                                         .rsa_e = zero,
                                         .rsa_s = zero,
                                         .rr_n = zero,
                                         .timer = {},
                                         .timer_start = 0,
                                         .key = {},
                                         .key_length = 0,
                                         .state = SESSION_DORMANT,
                                         .session_id = 0,
                                         .ip_address_length = 0,
                                         .key_p_length = 0,
                                         .key_yb_length = 0,
                                         .rsa_length = 0,
                                         .rsa_block = {},
                                         .admission_mark = 0};

}  // namespace

constinit security_session security_sessions = empty_session;
constinit security_session security_session_tmp = empty_session;
constinit security_session *session_ptr = nullptr;
constinit uint32_t full_encryption = 0;
