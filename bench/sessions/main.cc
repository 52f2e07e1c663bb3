// SPDX-License-Identifier: MIT
// sessions ZOLT-HOST LIBSEC.SO [SNMPD]: whole sessions over the loopback interface, libsec and others in
// turns. Needs a network namespace of its own, with port 161. A line for each protocol, separated by
// tabs: name; medians in microseconds of the key exchange, the login and a round trip; the server's
// processor time in microseconds for each session and for each round trip; sessions; failures.
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "exchange.h"
#include "process.h"

namespace bench {
namespace {

constexpr int rounds = 200;
constexpr int round_trips = 20;  // in each session

struct measured {
  std::vector<double> key_exchange, login, round_trip;
  double session_us = 0, round_trips_us = 0;  // the server's processor time
  int sessions = 0, failures = 0;
};

void one_session(exchange &with, measured *sums) {
  const double before = processor_us(with.server());
  const std::optional<opening> took = with.open();
  if (!took) {
    ++sums->failures;
    return;
  }
  sums->key_exchange.push_back(took->key_exchange);
  sums->login.push_back(took->login);
  const double opened = processor_us(with.server());
  for (int i = 0; i < round_trips; ++i) {
    const stopwatch time;
    if (!with.round_trip()) ++sums->failures;
    sums->round_trip.push_back(time.microseconds());
  }
  const double served = processor_us(with.server());
  if (!with.close()) ++sums->failures;
  ++sums->sessions;
  sums->round_trips_us += served - opened;
  sums->session_us += opened - before + processor_us(with.server()) - served;
}

double median(std::vector<double> of) {
  if (of.empty()) return 0;
  std::nth_element(of.begin(), of.begin() + static_cast<std::ptrdiff_t>(of.size() / 2), of.end());
  return of[of.size() / 2];
}

int measure(const exchanges &all) {
  std::vector<measured> sums(all.size());
  for (size_t i = 0; i < all.size(); ++i) {
    measured warming_up;
    one_session(*all[i], &warming_up);
  }
  for (int round = 0; round < rounds; ++round) {
    for (size_t i = 0; i < all.size(); ++i) one_session(*all[i], &sums[i]);
  }
  int failures = 0;
  for (size_t i = 0; i < all.size(); ++i) {
    const measured &m = sums[i];
    const double sessions = std::max(m.sessions, 1);
    std::printf("%s\t%.1f\t%.1f\t%.1f\t%.1f\t%.2f\t%d\t%d\n", all[i]->name().c_str(), median(m.key_exchange),
                median(m.login), median(m.round_trip), m.session_us / sessions,
                m.round_trips_us / (sessions * round_trips), m.sessions, m.failures);
    failures += m.failures;
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace bench

int main(int argc, char **argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: sessions ZOLT-HOST LIBSEC.SO [SNMPD]\n");
    return 2;
  }
  char scratch[] = "/tmp/bench-sessions-XXXXXX";
  if (mkdtemp(scratch) == nullptr) return 2;
  int status;
  {
    bench::exchanges all;
    bench::add_libsec(all, argv[1], argv[2]);
    bench::add_plain_sockets(all);
#ifdef LIBSEC_WITH_SNMP
    if (argc > 3) bench::add_snmp(all, argv[3], scratch);
#endif
    bench::add_dtls(all);
    status = bench::measure(all);
  }
  std::filesystem::remove_all(scratch);
  return status;
}
