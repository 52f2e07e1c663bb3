// SPDX-License-Identifier: MIT
#include "zolt/child.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "zolt/stop.h"

namespace zolt {

peer::result<child> child::start(const std::string &command, const std::string &variable, const std::string &value) {
  catch_child_end();
  pid_t number = ::fork();
  if (number < 0)
    return peer::failure{
        peer::exit_code::other, "exec", fmt::format("no process: {}", std::strerror(errno)), {}, {}, {}};
  if (number == 0) {
    for (int each : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE}) std::signal(each, SIG_DFL);  // what is ignored stays ignored
    ::setenv(variable.c_str(), value.c_str(), 1);
    ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
    ::_exit(127);
  }
  return child(number);
}

bool child::ended() {
  if (!ended_) ended_ = ::waitpid(number_, &status_, WNOHANG) == number_;
  return ended_;
}

void child::stop() {
  if (ended()) return;
  ::kill(number_, SIGTERM);
  while (::waitpid(number_, &status_, 0) < 0 && errno == EINTR) {
  }
  ended_ = true;
}

int child::exit_status() const {
  return WIFSIGNALED(status_) ? 128 + WTERMSIG(status_) : WEXITSTATUS(status_);
}

}  // namespace zolt
