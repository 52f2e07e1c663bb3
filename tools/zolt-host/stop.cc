// SPDX-License-Identifier: MIT
#include "stop.h"

#include <unistd.h>

#include <csignal>
#include <cstring>

namespace host {
namespace {

// Seconds after which the host ends although the plug-in has not come back: a flood of refused
// packets keeps ZOLT_receive() busy, and then nothing interrupts it.
constexpr int patience = 10;

volatile sig_atomic_t stop = 0;

// A signal that arrives just before select() would be lost, because only a sleeping select() is
// interrupted. So the first one starts an alarm that repeats every second: whatever the plug-in
// waits in next is interrupted too.
void on_signal(int number) {
  if (number == SIGALRM && stop > patience) {
    static const char text[] = "zolt-host: the plug-in does not come back, ending without it\n";
    (void)!write(STDERR_FILENO, text, sizeof text - 1);
    _exit(0);
  }
  if (number == SIGALRM || stop == 0) stop = stop + 1;
  alarm(1);
}

}  // namespace

void stop_on_signals() {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = on_signal;  // Deliberate: no SA_RESTART, waiting calls have to return.
  // One at a time, so that no handler interrupts another between reading and writing `stop`.
  sigaddset(&action.sa_mask, SIGINT);
  sigaddset(&action.sa_mask, SIGTERM);
  sigaddset(&action.sa_mask, SIGALRM);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGALRM, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

bool stop_requested() {
  return stop != 0;
}

}  // namespace host
