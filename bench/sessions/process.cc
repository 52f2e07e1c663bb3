// SPDX-License-Identifier: MIT
#include "process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <utility>

namespace bench {
namespace {

pid_t run(const std::function<void()> &body) {
  const pid_t parent = getpid();
  const pid_t id = fork();
  if (id != 0) return id;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() == parent) body();
  _exit(1);
}

void execute(const std::vector<std::string> &command) {
  const int nowhere = open("/dev/null", O_RDWR);
  for (int stream = 0; stream <= 2; ++stream) dup2(nowhere, stream);
  std::vector<char *> arguments;
  for (const std::string &each : command) arguments.push_back(const_cast<char *>(each.c_str()));
  arguments.push_back(nullptr);
  execv(arguments[0], arguments.data());
}

}  // namespace

process::process(const std::vector<std::string> &command) : id_(run([&] { execute(command); })) {}

process::process(const std::function<void()> &body) : id_(run(body)) {}

process::~process() {
  if (id_ <= 0) return;
  kill(id_, SIGKILL);
  waitpid(id_, nullptr, 0);
}

bool process::end() {
  int status = -1;
  kill(id_, SIGTERM);
  waitpid(std::exchange(id_, 0), &status, 0);
  return status == 0;
}

double processor_us(pid_t id) {
  clockid_t clock;
  timespec used{};
  if (clock_getcpuclockid(id, &clock) != 0 || clock_gettime(clock, &used) != 0) return 0;
  return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

bool wait_for_udp_port(unsigned port) {
  char local[16];
  std::snprintf(local, sizeof local, ":%04X ", port);
  for (int i = 0; i < 200; ++i, usleep(50'000)) {
    std::ifstream table("/proc/net/udp");
    for (std::string line; std::getline(table, line);) {
      if (line.find(local) < 20) return true;  // the local address stands first
    }
  }
  return false;
}

}  // namespace bench
