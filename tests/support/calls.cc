// SPDX-License-Identifier: MIT
// The linker's --wrap=NAME leads calls of NAME to __wrap_NAME, and __real_NAME to NAME itself.
#include "support/calls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace libsec::test {
namespace {

call_hooks *hooks = nullptr;

// The hook of one call, or the call itself.
template <typename Signature, typename Real, typename... Arguments>
auto call(std::function<Signature> call_hooks::*hook, Real *real, Arguments... arguments) {
  if (hooks != nullptr && hooks->*hook) return (hooks->*hook)(arguments...);
  return real(arguments...);
}

}  // namespace

hooked_calls::hooked_calls() {
  if (hooks != nullptr) std::abort();
  hooks = new call_hooks;
}

hooked_calls::~hooked_calls() {
  call_hooks *old = hooks;
  hooks = nullptr;
  delete old;
}

call_hooks *hooked_calls::operator->() {
  return hooks;
}

int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace libsec::test

using libsec::test::call;
using libsec::test::call_hooks;

#define WRAPPED(result, name, parameters, ...)                                \
  extern "C" result __real_##name parameters;                                 \
  extern "C" result __wrap_##name parameters;                                 \
  extern "C" result __wrap_##name parameters {                                \
    return call(&call_hooks::name, __real_##name __VA_OPT__(, ) __VA_ARGS__); \
  }                                                                           \
  result libsec::test::real_##name parameters {                               \
    return __real_##name(__VA_ARGS__);                                        \
  }

WRAPPED(int, select, (int n, fd_set *r, fd_set *w, fd_set *e, timeval *t), n, r, w, e, t)
WRAPPED(int, socket, (int domain, int type, int protocol), domain, type, protocol)
WRAPPED(int, setsockopt, (int d, int level, int option, const void *v, socklen_t n), d, level, option, v, n)
WRAPPED(int, getsockopt, (int d, int level, int option, void *v, socklen_t *n), d, level, option, v, n)
WRAPPED(int, bind, (int d, const sockaddr *address, socklen_t n), d, address, n)
WRAPPED(int, listen, (int d, int backlog), d, backlog)
WRAPPED(int, accept, (int d, sockaddr *address, socklen_t *n), d, address, n)
WRAPPED(ssize_t, recv, (int d, void *to, size_t n, int flags), d, to, n, flags)
WRAPPED(ssize_t, recvfrom, (int d, void *to, size_t n, int flags, sockaddr *a, socklen_t *an), d, to, n, flags, a, an)
WRAPPED(ssize_t, send, (int d, const void *from, size_t n, int flags), d, from, n, flags)
WRAPPED(ssize_t, sendto, (int d, const void *from, size_t n, int flags, const sockaddr *a, socklen_t an), d, from, n,
        flags, a, an)
WRAPPED(int, shutdown, (int d, int how), d, how)
WRAPPED(int, close, (int d), d)
WRAPPED(void *, malloc, (size_t n), n)
WRAPPED(void *, calloc, (size_t count, size_t n), count, n)
WRAPPED(void, free, (void *memory), memory)
WRAPPED(int, gettimeofday, (timeval * now, void *zone), now, zone)
WRAPPED(ssize_t, getrandom, (void *to, size_t n, unsigned flags), to, n, flags)
WRAPPED(ssize_t, read, (int d, void *to, size_t n), d, to, n)
WRAPPED(FILE *, fopen, (const char *path, const char *mode), path, mode)
WRAPPED(char *, fgets, (char *line, int size, FILE *stream), line, size, stream)
WRAPPED(size_t, fread, (void *to, size_t size, size_t count, FILE *stream), to, size, count, stream)
WRAPPED(int, fclose, (FILE * stream), stream)
WRAPPED(int, puts, (const char *line), line)
WRAPPED(char *, strerror, (int error), error)

extern "C" int __real_fcntl(int descriptor, int command, ...);
extern "C" int __wrap_fcntl(int descriptor, int command, ...);

int libsec::test::real_fcntl(int descriptor, int command, long argument) {
  return __real_fcntl(descriptor, command, argument);
}

extern "C" int __wrap_fcntl(int descriptor, int command, ...) {
  va_list list;
  va_start(list, command);
  const long argument = va_arg(list, long);  // read even where none was passed: it is not used then
  va_end(list);
  return call(&call_hooks::fcntl, libsec::test::real_fcntl, descriptor, command, argument);
}

extern "C" int __real_open(const char *path, int flags, ...);
extern "C" int __wrap_open(const char *path, int flags, ...);

int libsec::test::real_open(const char *path, int flags, int mode) {
  return __real_open(path, flags, mode);
}

extern "C" int __wrap_open(const char *path, int flags, ...) {
  va_list list;
  va_start(list, flags);
  const int mode = va_arg(list, int);  // as above
  va_end(list);
  return call(&call_hooks::open, libsec::test::real_open, path, flags, mode);
}

extern "C" int __wrap_printf(const char *format, ...);

int libsec::test::real_printf(const char *format, va_list arguments) {
  return std::vprintf(format, arguments);
}

extern "C" int __wrap_printf(const char *format, ...) {
  va_list list;
  va_start(list, format);
  const int result = call(&call_hooks::printf, libsec::test::real_printf, format, list);
  va_end(list);
  return result;
}
