// SPDX-License-Identifier: MIT
// raw_peer garbage COUNT, raw_peer reset COUNT: a rude peer of port 161 on 127.0.0.1. It opens one TCP
// connection after the other and sends bytes that are no packet of the protocol; "garbage" ends each in
// an orderly way, "reset" with a reset. Prints how many connections it has had.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Garbage of three kinds in turn: an unknown signature; a known one with a body that cannot be parsed;
// one byte. Bytes 4 and 5 are the length that the receiver waits for: 0, so that it does not wait.
struct garbage {
  const char *bytes;
  size_t length;
};
constexpr garbage kinds[] = {{"\xff\xfe\xfd\xfc\0\0rest", 10}, {"WAKE\0\0rest", 10}, {"\0", 1}};

bool connect_once(int index, bool reset) {
  sockaddr_in device = {};
  device.sin_family = AF_INET;
  device.sin_port = htons(161);
  device.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int connection = socket(AF_INET, SOCK_STREAM, 0);
  if (connect(connection, reinterpret_cast<sockaddr *>(&device), sizeof device) != 0) {
    std::perror("raw_peer: connect");
    close(connection);
    return false;
  }
  const garbage &kind = kinds[index % 3];
  (void)!send(connection, kind.bytes, kind.length, MSG_NOSIGNAL);
  const linger at_once = {1, 0};
  if (reset) setsockopt(connection, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close(connection);
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  const bool reset = std::strcmp(argv[1], "reset") == 0;
  const int count = std::atoi(argv[2]);
  int had = 0;
  while (had < count && connect_once(had, reset)) {
    had++;
    // A full queue of connections makes the kernel wait a second; a short rest avoids that.
    if (had % 32 == 0) usleep(5000);
  }
  std::printf("%d connections\n", had);
  return had == count ? 0 : 1;
}
