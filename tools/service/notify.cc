// SPDX-License-Identifier: MIT
#include "service/notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace service {
namespace {

// Result: the length of the address; 0, with errno set, when the name is none.
socklen_t address_of(const char *name, sockaddr_un *out) {
  const size_t length = std::strlen(name);
  if ((name[0] != '/' && name[0] != '@') || length >= sizeof out->sun_path) {
    errno = name[0] == '/' || name[0] == '@' ? ENAMETOOLONG : EAFNOSUPPORT;
    return 0;
  }
  std::memset(out, 0, sizeof *out);
  out->sun_family = AF_UNIX;
  std::memcpy(out->sun_path, name, length);
  if (name[0] == '@') out->sun_path[0] = '\0';
  // Every byte of an abstract name counts, so the zeros behind it stay outside.
  return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
}

bool send_to(const char *name, const char *state) {
  sockaddr_un address;
  const socklen_t length = address_of(name, &address);
  if (length == 0) return false;
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return false;
  const bool sent =
      ::sendto(socket, state, std::strlen(state), MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&address), length) >= 0;
  const int error = errno;
  close(socket);
  errno = error;
  return sent;
}

}  // namespace

void notify(const char *state) {
  const char *name = std::getenv("NOTIFY_SOCKET");
  if (name == nullptr || name[0] == '\0' || send_to(name, state)) return;
  std::fprintf(stderr, "the service manager at NOTIFY_SOCKET=%s cannot be told %s: %s\n", name, state,
               std::strerror(errno));
}

}  // namespace service
