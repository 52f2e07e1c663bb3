// SPDX-License-Identifier: MIT
// The linker's --wrap=NAME leads calls of NAME to __wrap_NAME, and __real_NAME to NAME itself.
#include "support/calls.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "support/msan/memory.h"

namespace libsec::test {
namespace {

call_hooks *hooks = nullptr;

constexpr size_t longest_datagram = 65535;  // the system refuses more without reading it

// What the code under test passes must have been written, whoever takes it: the numbers and pointers themselves,
// behind pointers to const a text or as many bytes as the next argument says, and what select() and the lengths of
// addresses start from. Of the times it is the last argument's: gettimeofday(), whose is not, only writes.
void passed() {}

template <typename First, typename... Rest>
void passed(First first, Rest... rest) {
  must_be_written(&first, sizeof first);
  if constexpr (std::is_same_v<First, const char *>) {
    if (first != nullptr) must_be_written(first, std::strlen(first) + 1);
  } else if constexpr (std::is_same_v<First, const void *> || std::is_same_v<First, const sockaddr *>) {
    const size_t length = [](auto next, auto...) { return static_cast<size_t>(next); }(rest...);
    if (length <= longest_datagram) must_be_written(first, length);
  } else if constexpr (std::is_same_v<First, fd_set *> || std::is_same_v<First, socklen_t *> ||
                       (std::is_same_v<First, timeval *> && sizeof...(rest) == 0)) {
    must_be_written(first, sizeof *first);
  }
  passed(rest...);
}

// What a line is made of, up to the first that is neither "%s" nor "%d": the library prints nothing else.
void passed_line(const char *format, va_list arguments) {
  va_list list;
  va_copy(list, arguments);
  passed(format);
  for (const char *at = std::strchr(format, '%'); at != nullptr; at = std::strchr(at + 2, '%')) {
    if (at[1] != 's' && at[1] != 'd') break;
    at[1] == 's' ? passed(va_arg(list, const char *)) : passed(va_arg(list, int));
  }
  va_end(list);
}

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
using libsec::test::passed;

#define WRAPPED(result, name, parameters, ...)                                \
  extern "C" result __real_##name parameters;                                 \
  extern "C" result __wrap_##name parameters;                                 \
  extern "C" result __wrap_##name parameters {                                \
    passed(__VA_ARGS__);                                                      \
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
  passed(descriptor, command);
  if (command == F_SETFL) passed(argument);
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
  passed(path, flags);
  return call(&call_hooks::open, libsec::test::real_open, path, flags, mode);
}

extern "C" int __wrap_printf(const char *format, ...);

int libsec::test::real_printf(const char *format, va_list arguments) {
  return std::vprintf(format, arguments);
}

extern "C" int __wrap_printf(const char *format, ...) {
  va_list list;
  va_start(list, format);
  libsec::test::passed_line(format, list);
  const int result = call(&call_hooks::printf, libsec::test::real_printf, format, list);
  va_end(list);
  return result;
}
