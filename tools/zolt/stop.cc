// SPDX-License-Identifier: MIT
#include "zolt/stop.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace zolt {
namespace {

volatile sig_atomic_t caught = 0;
int ends[2] = {-1, -1};

void on_signal(int number) {
  int error = errno;
  if (number != SIGCHLD && caught == 0) caught = number;
  request_stop();
  errno = error;
}

void handle(int number, int flags) {
  struct sigaction action {};
  action.sa_handler = on_signal;
  action.sa_flags = flags;
  ::sigaction(number, &action, nullptr);
}

}  // namespace

int catch_signals() {
  if (ends[0] < 0 && ::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return -1;
  for (int number : {SIGINT, SIGTERM}) handle(number, static_cast<int>(SA_RESETHAND));
  return ends[0];
}

void catch_child_end() {
  handle(SIGCHLD, SA_NOCLDSTOP);
}

// Nobody reads the pipe: once it is readable it stays so.
void request_stop() {
  if (::write(ends[1], "", 1) < 0) {
    // The pipe is full, so it is readable.
  }
}

int caught_signal() {
  return caught;
}

}  // namespace zolt
