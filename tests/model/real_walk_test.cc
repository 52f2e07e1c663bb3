// SPDX-License-Identifier: MIT
// The same walk with nothing put in place of anything: real signatures, primes and random exponents. The
// peer's secret is 1, so the key is what the library answers with; where the keys come from otherwise is
// compared with OpenSSL elsewhere.
#include <gtest/gtest.h>

#include "model/walk.h"

namespace libsec::test {
namespace {

constexpr uint64_t usual_steps = LIBSEC_USUAL_STEPS;
constexpr uint64_t usual_seed = 20260102;

// Packets that were signed beforehand, and forgeries. Two primes are signed but cannot be used.
bytes ready_wake(traffic &peers, const wake_fields &, bool good) {
  static const bytes accepted = from_hex(vectors::wake_key_is_gx);
  static const bytes refused[] = {from_hex(vectors::wake_raw_digest), from_hex(vectors::wake_even_prime),
                                  from_hex(vectors::wake_zero_prime)};
  bytes packet = good ? accepted : refused[peers.below(3)];
  if (!good && peers.once_in(2)) packet[peers.below(412)] ^= static_cast<uint8_t>(1u << peers.below(8));
  return packet;
}

TEST(RealWalk, TheLibraryDoesWhatTheModelDoes) {
  const uint64_t seed = walk_seed(usual_seed), steps = walk_steps(usual_steps);
  std::string difference;
  uint64_t answers = 0, played = 0;
  {
    walk both(seed, ready_wake);
    both.peers.single = true;  // so that the live record tells of the packet just served
    both.tell = [&](device_model &model) {
      const bytes good = from_hex(vectors::wake_key_is_gx), even = from_hex(vectors::wake_even_prime),
                  zero = from_hex(vectors::wake_zero_prime);
      model.signature_is_good = [=, has_key = model.full_encryption](const bytes &packet) {
        return has_key && (packet == good || packet == even || packet == zero);
      };
      // The library has answered by now, or tried to: its public value is that of this WAKE.
      model.agree = [](const bytes &prime, const bytes &, uint32_t) -> std::optional<agreement> {
        if ((prime.back() & 1) == 0) return std::nullopt;
        const bytes public_value = value_of(security_sessions.gx);
        return agreement{public_value, public_value};
      };
    };
    difference = both.run(steps);
    played = both.packets_played();
    answers = both.answers();
  }
  std::printf("LIBSEC_SEED=%llu LIBSEC_STEPS=%llu: %llu answers\n", static_cast<unsigned long long>(seed),
              static_cast<unsigned long long>(played), static_cast<unsigned long long>(answers));
  ASSERT_EQ(difference, "");
  EXPECT_GT(answers, 0u);
}

}  // namespace
}  // namespace libsec::test
