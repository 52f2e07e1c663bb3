// SPDX-License-Identifier: MIT
#include "exec.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "stop.h"
#include "wait.h"

namespace host {
namespace {

struct child {
  pid_t pid;
  int input;   // written by the host; -1 once all is written
  int output;  // read by the host
};

void close_pair(const int *pair) {
  close(pair[0]);
  close(pair[1]);
}

[[noreturn]] void become(const char *command, int input, int output) {
  setpgid(0, 0);
  std::signal(SIGPIPE, SIG_DFL);  // what is ignored stays ignored across exec; a command expects the default
  if (dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0) {
    execl("/bin/sh", "sh", "-c", command, static_cast<char *>(nullptr));
  }
  _exit(127);
}

bool start(const char *command, child *out) {
  int in[2];
  int back[2];
  if (pipe2(in, O_CLOEXEC) != 0) return false;
  if (pipe2(back, O_CLOEXEC) != 0) {
    close_pair(in);
    return false;
  }
  out->pid = fork();
  if (out->pid < 0) {
    close_pair(in);
    close_pair(back);
    return false;
  }
  if (out->pid == 0) become(command, in[0], back[1]);
  setpgid(out->pid, out->pid);  // here too: whichever of the two runs first
  close(in[0]);
  close(back[1]);
  out->input = in[1];
  out->output = back[0];
  fcntl(out->input, F_SETFL, O_NONBLOCK);
  return true;
}

void close_input(child *from) {
  if (from->input >= 0) close(from->input);
  from->input = -1;
}

// Writes what the command takes and reads what it prints, as either is possible, until it closes
// its output. Result: the bytes read, one more than `capacity` when there were too many; or -1.
int32_t converse(child *with, int64_t deadline, const uint8_t *request, size_t request_length, uint8_t *reply,
                 size_t capacity) {
  size_t written = 0;
  size_t length = 0;
  for (;;) {
    if (written == request_length) close_input(with);
    pollfd ends[2] = {{with->output, POLLIN, 0}, {with->input, POLLOUT, 0}};  // poll() skips an input of -1
    if (!wait_until(deadline, ends, 2)) return -1;
    if (ends[1].revents != 0) {
      const ssize_t count = write(with->input, request + written, request_length - written);
      if (count > 0) written += static_cast<size_t>(count);
      if (count < 0 && errno != EAGAIN) written = request_length;  // a command need not read its input
    }
    if (ends[0].revents != 0) {
      uint8_t spill;  // tells an end from an overflow once the buffer is full
      const bool full = length == capacity;
      const ssize_t count = read(with->output, full ? &spill : reply + length, full ? 1 : capacity - length);
      if (count < 0) return -1;
      if (count == 0) return static_cast<int32_t>(length);
      length += static_cast<size_t>(count);
      if (length > capacity) return static_cast<int32_t>(length);
    }
  }
}

// Waits for the command's end. Result: false when it had to be killed.
bool finish(pid_t pid, int64_t deadline, bool kill_now, int *status) {
  bool killed = false;
  for (;;) {
    const pid_t ended = waitpid(pid, status, killed ? 0 : WNOHANG);
    if (ended == pid) break;
    if (ended < 0 && errno != EINTR) break;
    if (!killed && (kill_now || now_ms() >= deadline || stop_requested())) {
      kill(-pid, SIGKILL);
      killed = true;
    } else if (!killed) {
      pause_ms(2);
    }
  }
  kill(-pid, SIGKILL);  // whatever it left running in its group
  return !killed;
}

}  // namespace

int32_t exec_ask(const char *command, int32_t timeout_ms, const uint8_t *request, int32_t request_length,
                 uint8_t *reply, size_t capacity) {
  const int64_t deadline = now_ms() + timeout_ms;
  child running;
  if (!start(command, &running)) {
    std::fprintf(stderr, "zolt-host: cannot start the command: %s\n", std::strerror(errno));
    return -1;
  }
  const int32_t length = converse(&running, deadline, request, static_cast<size_t>(request_length), reply, capacity);
  close_input(&running);
  close(running.output);
  const bool too_long = length >= 0 && static_cast<size_t>(length) > capacity;
  int status = 0;
  const bool finished = finish(running.pid, deadline, length < 0 || too_long, &status);
  if (too_long) {
    std::fprintf(stderr, "zolt-host: the command's reply is longer than %zu bytes, dropped\n", capacity);
    return -1;
  }
  if (!finished) {
    if (!stop_requested()) {
      std::fprintf(stderr, "zolt-host: the command took longer than %d ms and was killed; see --timeout\n", timeout_ms);
    }
    return -1;
  }
  if (status != 0) {
    const bool by_signal = WIFSIGNALED(status);
    std::fprintf(stderr, "zolt-host: the command ended with %s %d, no reply is sent\n", by_signal ? "signal" : "status",
                 by_signal ? WTERMSIG(status) : WEXITSTATUS(status));
    return -1;
  }
  return length;
}

}  // namespace host
