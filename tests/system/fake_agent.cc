// SPDX-License-Identifier: MIT
// fake_agent ADDRESS PORT: a UDP agent for tests of the host. It answers what the request asks for:
// "big N" gets N bytes, "late MS TEXT" gets TEXT after that time, "silent" gets nothing, and anything
// else itself with "agent:" in front. A peer that asked for a late answer does not hold up others.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

char reply[60000];

// Returns the reply's length, or -1 for no reply.
int answer(const char *request, int length) {
  if (std::strncmp(request, "big ", 4) == 0) {
    std::memset(reply, 'y', sizeof reply);
    return std::atoi(request + 4);
  }
  if (std::strncmp(request, "late ", 5) == 0) {
    char *text = nullptr;
    const long delay = std::strtol(request + 5, &text, 10);
    usleep(static_cast<useconds_t>(delay * 1000));
    return std::snprintf(reply, sizeof reply, "%s", text + 1);
  }
  if (std::strcmp(request, "silent") == 0) return -1;
  if (length == 0) return 0;
  return std::snprintf(reply, sizeof reply, "agent:%s", request);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  const bool six = std::strchr(argv[1], ':') != nullptr;
  sockaddr_in v4 = {};
  v4.sin_family = AF_INET;
  v4.sin_port = htons(static_cast<uint16_t>(std::atoi(argv[2])));
  sockaddr_in6 v6 = {};
  v6.sin6_family = AF_INET6;
  v6.sin6_port = v4.sin_port;
  if (inet_pton(six ? AF_INET6 : AF_INET, argv[1], six ? static_cast<void *>(&v6.sin6_addr) : &v4.sin_addr) != 1) {
    return 2;
  }
  const int agent = socket(six ? AF_INET6 : AF_INET, SOCK_DGRAM, 0);
  const sockaddr *own = six ? reinterpret_cast<sockaddr *>(&v6) : reinterpret_cast<sockaddr *>(&v4);
  if (bind(agent, own, six ? sizeof v6 : sizeof v4) != 0) {
    std::perror("fake_agent: bind");
    return 1;
  }
  std::puts("ready");
  std::fflush(stdout);
  for (;;) {
    static char request[60000];
    sockaddr_storage peer = {};
    socklen_t peer_length = sizeof peer;
    sockaddr *address = reinterpret_cast<sockaddr *>(&peer);
    const ssize_t length = recvfrom(agent, request, sizeof request - 1, 0, address, &peer_length);
    if (length < 0) continue;
    request[length] = '\0';
    if (std::strncmp(request, "late ", 5) == 0 && fork() != 0) continue;
    const int count = answer(request, static_cast<int>(length));
    if (count >= 0) sendto(agent, reply, static_cast<size_t>(count), 0, address, peer_length);
    if (std::strncmp(request, "late ", 5) == 0) return 0;
  }
}
