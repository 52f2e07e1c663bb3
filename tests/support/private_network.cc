// SPDX-License-Identifier: MIT
#include "support/private_network.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace libsec::test {
namespace {

std::string failed(const char *what) {
  return std::string(what) + ": " + std::strerror(errno);
}

std::string raise_loopback() {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  if (descriptor < 0) return failed("socket");
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  const bool good = ioctl(descriptor, SIOCSIFFLAGS, &request) == 0;
  const std::string reason = good ? "" : failed("SIOCSIFFLAGS");
  close(descriptor);
  return reason;
}

std::string enter() {
  if (unshare(geteuid() == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0) return failed("unshare");
  return raise_loopback();
}

}  // namespace

const std::string &enter_private_network() {
  static const std::string reason = enter();
  return reason;
}

}  // namespace libsec::test
