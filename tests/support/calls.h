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
#include <sys/types.h>

#include <cstddef>
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

}  // namespace libsec::test
