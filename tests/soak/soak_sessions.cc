// SPDX-License-Identifier: MIT
// soak_sessions KEYFILE COUNT: so many whole sessions with an echoing device on port 161 of 127.0.0.1, over
// UDP and TCP in turns, each under another prime than the last, with three requests whose replies are
// compared. The first wrong result or failure ends it with status 1. Prints what it did.
#include <openssl/bn.h>

#include <cstdio>
#include <cstdlib>
#include <set>

#include "peer/payload.h"
#include "peer/session.h"

namespace {

constexpr int requests_each = 3;
constexpr int primes_of_each_size = 8;
// Primes whose top limbs are full, half full and zero on the device.
constexpr int prime_bits[] = {1024, 1024, 1024, 1023, 1009, 992, 768, 544};

struct totals {
  size_t requests = 0;
  size_t bytes = 0;
  size_t repeated_packets = 0;
};

// Counts what had to be sent again: on loopback that is a device that has not kept up.
class watcher : public peer::session_observer {
 public:
  explicit watcher(totals *sums) : sums_(sums) {}
  void on_step(const peer::step_report &report) override {
    if (report.times_sent > 1) sums_->repeated_packets += static_cast<size_t>(report.times_sent) - 1;
  }

 private:
  totals *sums_;
};

std::vector<peer::dh_group> make_groups() {
  std::vector<peer::dh_group> all{peer::dh_group::oakley2()};
  BIGNUM *prime = BN_new();
  for (int i = 0; i < primes_of_each_size; i++) {
    for (int bits : prime_bits) {
      peer::bytes digits(peer::key_field_bytes);
      if (BN_generate_prime_ex(prime, bits, 0, nullptr, nullptr, nullptr) != 1) continue;
      BN_bn2binpad(prime, digits.data(), static_cast<int>(digits.size()));
      if (peer::result<peer::dh_group> group = peer::dh_group::from_bytes(digits)) all.push_back(*group);
    }
  }
  BN_free(prime);
  return all;
}

// Every length turns up, mostly short ones; now and then one that fills the device's buffer.
peer::bytes make_content(size_t number) {
  size_t length = number % 97 == 0 ? peer::max_content_bytes : number * 37 % 1451;
  peer::bytes content(length);
  for (size_t i = 0; i < length; i++) content[i] = static_cast<uint8_t>((number * 2654435761U + i * 97) >> 8);
  return content;
}

peer::status one_session(peer::session *session, size_t number, totals *sums) {
  if (peer::status opened = session->open(); !opened) return opened;
  for (size_t i = 0; i < requests_each; i++) {
    peer::bytes content = make_content(number * requests_each + i);
    peer::result<peer::bytes> reply = session->request(content);
    if (!reply) return reply.error();
    if (*reply != content)
      return peer::failure{peer::exit_code::verification, "ENCR", "the reply is not what was sent", {}, {}, {}};
    sums->requests++;
    sums->bytes += content.size();
  }
  return session->close();
}

int run(const peer::private_key &key, size_t count) {
  const std::vector<peer::dh_group> groups = make_groups();
  totals sums;
  watcher watching(&sums);
  std::set<peer::bytes> keys;
  const auto started = peer::clock::now();
  for (size_t i = 0; i < count; i++) {
    peer::session_options options;
    options.device = {"127.0.0.1", 161, i % 2 == 0 ? peer::protocol::udp : peer::protocol::tcp};
    options.timeout = peer::milliseconds(10'000);
    options.group = groups[i % groups.size()];
    options.observer = &watching;
    options.key_log = [&](uint32_t, peer::byte_view made) { keys.emplace(made.begin(), made.end()); };
    peer::session session(key, options);
    if (peer::status passed = one_session(&session, i, &sums); !passed) {
      std::fprintf(stderr, "session %zu: %s\n", i, peer::describe(passed.error()).c_str());
      return 1;
    }
  }
  const double took = std::chrono::duration<double>(peer::clock::now() - started).count();
  std::printf("%zu sessions, %zu primes, %zu requests, %.1f MB each way, %zu packets sent again, %.0f s\n", count,
              groups.size(), sums.requests, static_cast<double>(sums.bytes) / 1e6, sums.repeated_packets, took);
  if (keys.size() != count) std::fprintf(stderr, "%zu sessions had %zu different keys\n", count, keys.size());
  return keys.size() == count ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  const peer::result<peer::private_key> key = peer::private_key::load(argv[1]);
  if (!key) {
    std::fprintf(stderr, "soak_sessions: %s\n", peer::describe(key.error()).c_str());
    return 2;
  }
  return run(*key, std::strtoul(argv[2], nullptr, 10));
}
