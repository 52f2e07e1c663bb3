// SPDX-License-Identifier: MIT
// The system calls of the code under test, in the hands of a test: every call listed here goes to its
// hook when one is set, and to the system otherwise. The linker leads them here (see calls.cmake).
//
//   hooked_calls calls;
//   calls->listen = [](int, int) { return fail(EADDRINUSE); };
//
// At most one hooked_calls lives at a time; its end removes the hooks. real_*() are the calls themselves.
#pragma once

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/types.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <functional>

namespace libsec::test {

struct call_hooks {
  std::function<int(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout)> select;
  std::function<int(int domain, int type, int protocol)> socket;
  std::function<int(int descriptor, int level, int option, const void *value, socklen_t length)> setsockopt;
  std::function<int(int descriptor, int level, int option, void *value, socklen_t *length)> getsockopt;
  std::function<int(int descriptor, const sockaddr *address, socklen_t length)> bind;
  std::function<int(int descriptor, int backlog)> listen;
  std::function<int(int descriptor, sockaddr *address, socklen_t *length)> accept;
  std::function<int(int descriptor, int command, long argument)> fcntl;
  std::function<ssize_t(int descriptor, void *to, size_t length, int flags)> recv;
  std::function<ssize_t(int descriptor, void *to, size_t length, int flags, sockaddr *from, socklen_t *from_length)>
      recvfrom;
  std::function<ssize_t(int descriptor, const void *from, size_t length, int flags)> send;
  std::function<ssize_t(int descriptor, const void *from, size_t length, int flags, const sockaddr *to,
                        socklen_t to_length)>
      sendto;
  std::function<int(int descriptor, int how)> shutdown;
  std::function<int(int descriptor)> close;
  std::function<void *(size_t length)> malloc;
  std::function<void *(size_t count, size_t length)> calloc;  // what compilers could make of malloc() and memset()
  std::function<void(void *memory)> free;
  std::function<int(timeval *now, void *zone)> gettimeofday;
  std::function<ssize_t(void *to, size_t length, unsigned flags)> getrandom;
  std::function<int(const char *path, int flags, int mode)> open;
  std::function<ssize_t(int descriptor, void *to, size_t length)> read;
  std::function<FILE *(const char *path, const char *mode)> fopen;
  std::function<char *(char *line, int size, FILE *stream)> fgets;
  std::function<size_t(void *to, size_t size, size_t count, FILE *stream)> fread;
  std::function<int(FILE *stream)> fclose;
  std::function<int(const char *line)> puts;
  std::function<int(const char *format, va_list arguments)> printf;
  std::function<char *(int error)> strerror;
};

class hooked_calls {
 public:
  hooked_calls();
  ~hooked_calls();
  hooked_calls(const hooked_calls &) = delete;
  hooked_calls &operator=(const hooked_calls &) = delete;
  call_hooks *operator->();
};

// Sets errno; -1.
int fail(int error);

int real_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *timeout);
int real_accept(int descriptor, sockaddr *address, socklen_t *length);
int real_fcntl(int descriptor, int command, long argument);
int real_close(int descriptor);
int real_bind(int descriptor, const sockaddr *address, socklen_t length);
int real_setsockopt(int descriptor, int level, int option, const void *value, socklen_t length);
int real_getsockopt(int descriptor, int level, int option, void *value, socklen_t *length);
int real_listen(int descriptor, int backlog);
int real_socket(int domain, int type, int protocol);
int real_shutdown(int descriptor, int how);
ssize_t real_recv(int descriptor, void *to, size_t length, int flags);
ssize_t real_recvfrom(int descriptor, void *to, size_t length, int flags, sockaddr *from, socklen_t *from_length);
ssize_t real_send(int descriptor, const void *from, size_t length, int flags);
ssize_t real_sendto(int descriptor, const void *from, size_t length, int flags, const sockaddr *to,
                    socklen_t to_length);
void *real_malloc(size_t length);
void *real_calloc(size_t count, size_t length);
void real_free(void *memory);
int real_gettimeofday(timeval *now, void *zone);
ssize_t real_getrandom(void *to, size_t length, unsigned flags);
int real_open(const char *path, int flags, int mode);
ssize_t real_read(int descriptor, void *to, size_t length);
FILE *real_fopen(const char *path, const char *mode);
char *real_fgets(char *line, int size, FILE *stream);
size_t real_fread(void *to, size_t size, size_t count, FILE *stream);
int real_fclose(FILE *stream);
int real_puts(const char *line);
int real_printf(const char *format, va_list arguments);
char *real_strerror(int error);

}  // namespace libsec::test
