// SPDX-License-Identifier: MIT
// soak_link LOSS DUPLICATION OVERTAKING DELAY JITTER: a network cable with faults, for kernels without the
// netem queue. It makes the interface near0 in this network namespace and far0 in a new one, which lives as
// long as this process, and carries IP packets between them: LOSS percent are dropped, DUPLICATION percent
// sent twice, each copy after DELAY +- JITTER ms but OVERTAKING percent at once. Addresses are for the caller
// to give. SIGTERM ends it, and it tells what it did.
#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "peer/descriptor.h"
#include "peer/transport.h"

namespace {

using peer::clock;

volatile sig_atomic_t ended = 0;

struct faults {
  double loss, duplication, overtaking;  // percent
  double delay, jitter;                  // milliseconds
};

struct packet {
  size_t to;  // which end
  std::vector<char> content;
};

peer::descriptor make_interface(const char *name) {
  peer::descriptor made(::open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK));
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
  if (!made || ::ioctl(made.get(), TUNSETIFF, &request) != 0) return peer::descriptor();
  return made;
}

class cable {
 public:
  cable(std::array<peer::descriptor, 2> ends, faults with) : ends_(std::move(ends)), with_(with) {}

  void run() {
    while (ended == 0) {
      auto next = underway_.empty() ? clock::now() + std::chrono::seconds(1) : underway_.begin()->first;
      const auto left = std::chrono::ceil<peer::milliseconds>(next - clock::now()).count();
      pollfd waiting[2] = {{ends_[0].get(), POLLIN, 0}, {ends_[1].get(), POLLIN, 0}};
      ::poll(waiting, 2, static_cast<int>(std::max<int64_t>(left, 0)));
      for (size_t from : {size_t{0}, size_t{1}}) take(from);
      while (!underway_.empty() && underway_.begin()->first <= clock::now()) {
        const packet &due = underway_.begin()->second;
        (void)!::write(ends_[due.to].get(), due.content.data(), due.content.size());
        underway_.erase(underway_.begin());
      }
    }
  }

  void tell() const {
    std::printf("%zu packets, %zu lost, %zu doubled, %zu overtook\n", all_, lost_, doubled_, overtook_);
  }

 private:
  bool happens(double percent) { return std::uniform_real_distribution<>(0, 100)(random_) < percent; }

  clock::time_point arrival() {
    if (with_.overtaking > 0 && happens(with_.overtaking)) {
      overtook_++;
      return clock::now();
    }
    const double after = with_.delay + std::uniform_real_distribution<>(-with_.jitter, with_.jitter)(random_);
    return clock::now() + std::chrono::microseconds(static_cast<int64_t>(std::max(after, 0.0) * 1000));
  }

  void take(size_t from) {
    std::array<char, 65536> content;
    for (ssize_t got; (got = ::read(ends_[from].get(), content.data(), content.size())) > 0;) {
      all_++;
      if (happens(with_.loss)) {
        lost_++;
        continue;
      }
      int copies = 1;
      if (happens(with_.duplication)) {
        doubled_++;
        copies = 2;
      }
      for (; copies > 0; copies--)
        underway_.emplace(arrival(), packet{1 - from, {content.begin(), content.begin() + got}});
    }
  }

  std::array<peer::descriptor, 2> ends_;
  faults with_;
  std::mt19937 random_{std::random_device{}()};
  std::multimap<clock::time_point, packet> underway_;
  size_t all_ = 0, lost_ = 0, doubled_ = 0, overtook_ = 0;
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != 6) return 2;
  const faults with{std::atof(argv[1]), std::atof(argv[2]), std::atof(argv[3]), std::atof(argv[4]), std::atof(argv[5])};
  std::signal(SIGTERM, [](int) { ended = 1; });
  peer::descriptor near_end = make_interface("near0");
  if (!near_end || ::unshare(CLONE_NEWNET) != 0) {
    std::perror("soak_link");
    return 1;
  }
  peer::descriptor far_end = make_interface("far0");
  if (!far_end) {
    std::perror("soak_link");
    return 1;
  }
  cable between({std::move(near_end), std::move(far_end)}, with);
  std::puts("ready");
  std::fflush(stdout);
  between.run();
  between.tell();
}
