// SPDX-License-Identifier: MIT
// The system calls of a session, of which a chosen one fails at a chosen use.
#pragma once

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "faults/failing_heap.h"
#include "support/fake_clock.h"

namespace libsec::test {

// A call that can fail, and with what.
struct fallible_call {
  const char *name;
  std::vector<int> errors;
  int stride = 1;  // of hundreds of uses that are all alike, a slow machine is given each stride-th only
};

inline const std::vector<fallible_call> &fallible_calls() {
  static const std::vector<fallible_call> list = {
      {"select", {EINTR, EBADF, ENOMEM, EINVAL}},
      {"listen", {EADDRINUSE, EBADF, ENOTSOCK, EOPNOTSUPP}},
      {"accept", {EINTR, EAGAIN, EMFILE, ENFILE, ENOBUFS, ENOMEM, ECONNABORTED, EPERM, EBADF, EPROTO}},
      {"setsockopt", {ENOMEM, ENOBUFS, ENOPROTOOPT, EBADF}},
      {"fcntl", {EINTR, EAGAIN, EBADF, EMFILE, EINVAL}},
      {"recv", {EINTR, EAGAIN, ECONNRESET, ENOTCONN, ENOMEM, ENOBUFS, EBADF, ECONNREFUSED, ETIMEDOUT}},
      {"recvfrom", {EINTR, EAGAIN, ENOMEM, ENOBUFS, ECONNREFUSED, ECONNRESET, ENOTCONN, EBADF}},
      {"send", {EINTR, EAGAIN, EPIPE, ECONNRESET, ENOTCONN, ENOBUFS, ENOMEM, EBADF}},
      {"sendto", {EINTR, EAGAIN, ENOBUFS, ENOMEM, EPIPE, ENETUNREACH, EHOSTUNREACH, EPERM, EMSGSIZE, EBADF}},
      {"shutdown", {ENOTCONN, EBADF, ENOBUFS}},
      {"close", {EINTR, EIO, EBADF}},
      {"puts", {EINTR, EAGAIN, EPIPE, ENOMEM, EBADF}},
      {"printf", {EINTR, EAGAIN, EPIPE, ENOMEM, EBADF}},
      {"getrandom", {EAGAIN, ENOSYS, EPERM}, 5},  // 16 for one secret
      {"gettimeofday", {ENOSYS}, 23},             // 512 for one secret
  };
  return list;
}

// Takes all of them into its hands while it lives. Reads of a connection cost time, so that polling ends.
class failing_calls {
 public:
  failing_calls(hooked_calls &calls, fake_clock &clock) {
    take("select", calls->select, calls->select);
    take("listen", calls->listen, real_listen);
    take("accept", calls->accept, real_accept);
    take("setsockopt", calls->setsockopt, real_setsockopt);
    take("fcntl", calls->fcntl, real_fcntl);
    take("recv", calls->recv,
         [this](int d, void *to, size_t n, int flags) { return real_recv(d, to, std::min(n, longest_read), flags); });
    // Also when it fails: without time a poll for a packet has no end.
    calls->recv = [this, &clock, next = calls->recv](int d, void *to, size_t n, int flags) {
      clock.advance_ms(ms_per_read);
      return next(d, to, n, flags);
    };
    take("recvfrom", calls->recvfrom, real_recvfrom);
    take("send", calls->send, [this](int d, const void *from, size_t n, int flags) {
      return real_send(d, from, std::min(n, longest_write), flags);
    });
    take("sendto", calls->sendto, real_sendto);
    take("shutdown", calls->shutdown, real_shutdown);
    take("puts", calls->puts, real_puts);
    take("printf", calls->printf, real_printf);
    take("getrandom", calls->getrandom, real_getrandom);
    take("gettimeofday", calls->gettimeofday, real_gettimeofday);
    calls->close = [this](int d) {
      const int result = real_close(d);  // a close() that fails has closed all the same
      return fails("close") ? fail(error_) : result;
    };
  }

  void let_fail(const std::string &name, int index, how_long length, int error) {
    name_ = name;
    index_ = index;
    length_ = length;
    error_ = error;
    used_ = 0;
  }
  void let_all_work() { let_fail("", 0, how_long::once, 0); }
  bool failed() const { return used_ > index_; }
  int made() const { return made_; }  // calls of all kinds but the clock's

  int64_t ms_per_read = 100;
  size_t longest_read = SIZE_MAX;
  size_t longest_write = SIZE_MAX;

 private:
  bool fails(const char *name) {
    if (std::strcmp(name, "gettimeofday") != 0) ++made_;  // a single draw of a secret reads the clock 512 times
    if (name_ != name) return false;
    const int index = used_++;
    return index == index_ || (index > index_ && length_ == how_long::from_then_on);
  }

  template <typename R, typename... A, typename Next>
  void take(const char *name, std::function<R(A...)> &hook, Next next) {
    hook = [this, name, next](A... arguments) -> R {
      return fails(name) ? fail(error_) : static_cast<R>(next(arguments...));
    };
  }

  std::string name_;
  int index_ = 0;
  how_long length_ = how_long::once;
  int error_ = 0;
  int used_ = 0;
  int made_ = 0;
};

}  // namespace libsec::test
