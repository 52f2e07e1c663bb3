// SPDX-License-Identifier: MIT
// The library beside its model over random traffic, with arithmetic that costs nothing.
#include "model/walk.h"

#include <gtest/gtest.h>
#include <libsec/crypto.h>

#include "model/cheap_arithmetic.h"

namespace libsec::test {
namespace {

constexpr uint64_t usual_steps = LIBSEC_USUAL_STEPS;
constexpr uint64_t usual_seed = 20260101;

bytes digest_of(const bytes &packet) {
  bytes digest(SHA256_DIGEST_BYTES);
  sha256(packet.data(), 282, digest.data());
  return digest;
}

bytes signed_wake(traffic &peers, const wake_fields &fields, bool good) {
  bytes packet = fields.packet();
  if (packet.size() < 412) return packet;
  bytes signature = cheap_signature(digest_of(packet), static_cast<uint8_t>(peers.below(256)));
  if (!good) signature[96 + peers.below(32)] ^= static_cast<uint8_t>(1u << peers.below(8));
  std::copy(signature.begin(), signature.end(), packet.begin() + 284);
  return packet;
}

// What the library works with, said once more.
void tell(device_model &model) {
  model.signature_is_good = [has_key = model.full_encryption](const bytes &packet) {
    const bytes block = cheap_power(bytes(packet.begin() + 284, packet.begin() + 412), {1, 0, 1});
    return has_key && bytes(block.begin() + 96, block.end()) == digest_of(packet);
  };
  model.agree = [](const bytes &prime, const bytes &public_value, uint32_t n) -> std::optional<agreement> {
    if ((prime.back() & 1) == 0) return std::nullopt;
    const bytes exponent = cheap_exponent(n);
    return agreement{cheap_power({4}, exponent), cheap_power(public_value, exponent)};
  };
}

// Every packet kind in every state at every age that can be: one millisecond before the limit, at it, after
// it. Where the limit is zero, a millisecond before it is the clock put back.
// With every identifier over either transport, if asked for and if the packet is one that has to name it.
void expect_all_places(const std::map<traffic::place, uint64_t> &visits, bool in_full) {
  const auto identified = [=](uint32_t kind) { return in_full && kind != 1 && kind != 8; };
  std::map<traffic::place, uint64_t> sums;
  for (const auto &[place, count] : visits) {
    traffic::place at = place;
    if (!identified(at.kind)) at.identifier = at.tcp = 0;
    sums[at] += count;
  }
  for (uint32_t state = 0; state <= 6; ++state) {
    for (const uint32_t kind : {1u, 3u, 5u, 6u, 8u}) {
      for (const uint32_t age : {traffic::just_before, traffic::at_the_limit, traffic::just_after, traffic::older}) {
        for (uint32_t identifier = 0; identifier < (identified(kind) ? 4u : 1u); ++identifier) {
          for (uint32_t tcp = 0; tcp < (identified(kind) ? 2u : 1u); ++tcp) {
            EXPECT_TRUE(sums.contains({state, kind, age, identifier, tcp}))
                << "state " << state << ", kind " << kind << ", age " << age << ", identifier " << identifier
                << (tcp ? ", TCP" : ", UDP") << ": never seen";
          }
        }
      }
    }
  }
}

TEST(Walk, TheLibraryDoesWhatTheModelDoes) {
  const uint64_t seed = walk_seed(usual_seed), steps = walk_steps(usual_steps);
  std::string difference;
  uint64_t played = 0, answers = 0, deliveries = 0;
  std::map<traffic::place, uint64_t> visits;
  {
    walk both(seed, signed_wake);
    both.tell = tell;
    both.drawn = cheap_exponents_drawn;
    difference = both.run(steps);
    played = both.packets_played();
    answers = both.answers();
    deliveries = both.deliveries();
    visits = both.peers.visits;
  }
  std::printf("LIBSEC_SEED=%llu LIBSEC_STEPS=%llu: %llu answers, %llu deliveries, %zu places\n",
              static_cast<unsigned long long>(seed), static_cast<unsigned long long>(played),
              static_cast<unsigned long long>(answers), static_cast<unsigned long long>(deliveries), visits.size());
  ASSERT_EQ(difference, "");
  EXPECT_GT(answers, steps / 20);
  EXPECT_GT(deliveries, steps / 100);
  if (steps >= 50'000) expect_all_places(visits, false);
  if (steps >= 1'000'000) expect_all_places(visits, true);
}

}  // namespace
}  // namespace libsec::test
