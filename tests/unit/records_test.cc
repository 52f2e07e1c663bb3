// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <libsec/session.h>

namespace {

// What a host finds right after loading, taken before any test has touched it.
struct load_state {
  security_session live = security_sessions;
  security_session scratch = security_session_tmp;
  security_session *pointer = session_ptr;
  uint32_t encryption = full_encryption;
};
const load_state at_load;

void expect_empty(const security_session &session) {
  for (const num *number : {&session.p, &session.g, &session.x, &session.gx, &session.yb, &session.k, &session.rr_p,
                            &session.rsa_n, &session.rsa_e, &session.rsa_s, &session.rr_n}) {
    EXPECT_EQ(number->sign, 1);
    EXPECT_EQ(number->limb_count, 0);
    EXPECT_EQ(number->limbs, nullptr);
  }
  EXPECT_EQ(session.timer.seconds, 0);
  EXPECT_EQ(session.timer.microseconds, 0);
  EXPECT_EQ(session.timer_start, 0u);
  for (const uint8_t byte : session.key) EXPECT_EQ(byte, 0);
  EXPECT_EQ(session.key_length, 0);
  EXPECT_EQ(session.state, uint32_t{SESSION_DORMANT});
  EXPECT_EQ(session.session_id, 0u);
  EXPECT_EQ(session.ip_address_length, 0u);
  EXPECT_EQ(session.key_p_length, 0);
  EXPECT_EQ(session.key_yb_length, 0);
  EXPECT_EQ(session.rsa_length, 0);
  for (const uint8_t byte : session.rsa_block) EXPECT_EQ(byte, 0);
  EXPECT_EQ(session.admission_mark, 0);
}

TEST(Records, TheLiveSessionIsZeroAtLoadWithNumbersOfSignPlusOne) {
  expect_empty(at_load.live);
}

TEST(Records, TheScratchRecordIsZeroAtLoadWithNumbersOfSignPlusOne) {
  expect_empty(at_load.scratch);
}

TEST(Records, NothingIsEncipheredAndThePointerIsNullAtLoad) {
  EXPECT_EQ(at_load.encryption, 0u);
  EXPECT_EQ(at_load.pointer, nullptr);
}

}  // namespace
