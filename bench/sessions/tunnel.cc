// SPDX-License-Identifier: MIT
// tunnel_latency ZOLT ZOLT-HOST LIBSEC.SO: what `zolt tunnel` adds to a request's round trip. Turns of
// requests directly in a session with zolt-host --echo, and of the same as plain datagrams through a tunnel
// to it; a device has one session at a time. Needs a network namespace of its own, with port 161. A line for
// each transport, separated by tabs: name; the median of the direct round trips; the median and the 99th
// percentile of what the tunnel's took beyond the direct median of their turn (microseconds); the same
// percentile of the direct ones themselves; round trips of each kind; failures.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "exchange.h"
#include "peer/descriptor.h"
#include "peer/session.h"
#include "process.h"

namespace bench {
namespace {

constexpr int turns = 40;
constexpr int round_trips = 100;  // in each turn
constexpr int warming_up = 5;
constexpr uint16_t tunnel_port = 1161;

// Where a share of the numbers is not greater.
double quantile(std::vector<double> of, double share) {
  if (of.empty()) return 0;
  const auto at = of.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(of.size() - 1) * share);
  std::nth_element(of.begin(), at, of.end());
  return *at;
}

struct measured {
  std::vector<double> direct, direct_beyond, tunnel_beyond;
  int failures = 0;
};

// Microseconds of each round trip that succeeded, after a few that do not count.
template <typename RoundTrip>
std::vector<double> time_turn(const RoundTrip &round_trip, int *failures) {
  std::vector<double> took;
  for (int i = 0; i < warming_up + round_trips; i++) {
    const stopwatch time;
    if (!round_trip()) {
      ++*failures;
    } else if (i >= warming_up) {
      took.push_back(time.microseconds());
    }
  }
  return took;
}

void beyond(const std::vector<double> &took, double base, std::vector<double> *out) {
  for (double each : took) out->push_back(each - base);
}

class contest {
 public:
  contest(const peer::private_key &key, const std::string &key_file, const std::string &zolt, peer::protocol over)
      : key_(key), key_file_(key_file), zolt_(zolt), over_(over) {}

  measured run() {
    measured sums;
    for (int turn = 0; turn < turns; turn++) {
      const std::vector<double> direct = directly(&sums.failures);
      const double base = quantile(direct, 0.5);
      sums.direct.insert(sums.direct.end(), direct.begin(), direct.end());
      beyond(direct, base, &sums.direct_beyond);
      beyond(through_tunnel(&sums.failures), base, &sums.tunnel_beyond);
    }
    return sums;
  }

 private:
  std::vector<double> directly(int *failures) {
    peer::session_options options;
    options.device = {"127.0.0.1", 161, over_};
    peer::session session(key_, options);
    if (!session.open()) {
      ++*failures;
      return {};
    }
    return time_turn(
        [&] {
          peer::result<peer::bytes> reply = session.request(content_);
          return reply && *reply == content_;
        },
        failures);
  }

  std::vector<double> through_tunnel(int *failures) {
    process tunnel({zolt_, "tunnel", "127.0.0.1", "--key", key_file_, over_ == peer::protocol::tcp ? "--tcp" : "--udp",
                    "--listen", "127.0.0.1:" + std::to_string(tunnel_port)});
    if (!wait_for_udp_port(tunnel_port)) ++*failures;
    peer::descriptor client(socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(tunnel_port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connect(client.get(), reinterpret_cast<sockaddr *>(&address), sizeof address);
    const auto round_trip = [&] {
      uint8_t reply[2 * request_bytes];
      if (send(client.get(), content_.data(), content_.size(), 0) < 0) return false;
      if (!peer::wait_for(client.get(), POLLIN, peer::clock::now() + std::chrono::seconds(5))) return false;
      const ssize_t got = recv(client.get(), reply, sizeof reply, 0);
      return got == ssize_t{request_bytes} && std::equal(content_.begin(), content_.end(), reply);
    };
    std::vector<double> took = time_turn(round_trip, failures);
    if (!tunnel.end()) ++*failures;  // it logs out: the device is free for the next turn
    return took;
  }

  const peer::private_key &key_;
  const std::string key_file_;
  const std::string zolt_;
  const peer::protocol over_;
  const peer::bytes content_ = peer::bytes(request_bytes, 'r');
};

int compare(const peer::private_key &key, const std::string &key_file, const std::string &zolt) {
  int failures = 0;
  for (peer::protocol over : {peer::protocol::udp, peer::protocol::tcp}) {
    const measured sums = contest(key, key_file, zolt, over).run();
    std::printf("zolt tunnel over %s\t%.1f\t%.1f\t%.1f\t%.1f\t%zu\t%d\n", over == peer::protocol::udp ? "UDP" : "TCP",
                quantile(sums.direct, 0.5), quantile(sums.tunnel_beyond, 0.5), quantile(sums.tunnel_beyond, 0.99),
                quantile(sums.direct_beyond, 0.99), sums.tunnel_beyond.size(), sums.failures);
    failures += sums.failures;
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace bench

int main(int argc, char **argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: tunnel_latency ZOLT ZOLT-HOST LIBSEC.SO\n");
    return 2;
  }
  peer::result<peer::private_key> key = peer::private_key::generate();
  char folder[] = "/tmp/bench-keys-XXXXXX";
  if (!key || mkdtemp(folder) == nullptr || !peer::write_key_files(*key, folder, false)) return 2;
  const peer::key_files files = peer::key_files_in(folder);
  int status = 2;
  {
    const bench::process device({argv[2], "--lib", argv[3], "--dir", folder, "--echo"});
    if (bench::wait_for_udp_port(161)) status = bench::compare(*key, files.private_pem, argv[1]);
  }
  std::remove(files.private_pem.c_str());
  std::remove(files.publickeys.c_str());
  std::remove(folder);
  return status;
}
