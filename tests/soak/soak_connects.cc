// SPDX-License-Identifier: MIT
// soak_connects COUNT: so many TCP connections to port 161 of 127.0.0.1, a quarter of each kind: closed at
// once, stalled, reset, and with half a packet, after which one is left open, closed or reset. What is left
// open stays so until the device has had its turn with it. Prints how many of each kind it had.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>

#include "peer/descriptor.h"

namespace {

enum kind { closed, stalled, reset, half, kinds };

// More than the device's queue of connections holds, so that what leaves this end was accepted long ago.
constexpr size_t most_open = 400;
constexpr int looked_after = 16;
constexpr unsigned long most_queued = 64;

// How many connections wait to be accepted: what the kernel tells of the listening socket on port 161.
unsigned long queued() {
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);) {
    const size_t listening = line.find(":00A1 00000000:0000 0A ");
    if (listening == std::string::npos) continue;
    const size_t received = line.find(':', listening + 20);
    return std::strtoul(line.c_str() + received + 1, nullptr, 16);
  }
  return 0;
}

void end_with_reset(const peer::descriptor &connection) {
  const linger at_once = {1, 0};
  setsockopt(connection.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

// The first half of a WAKE, as far as its header goes: a device waits for the rest.
void send_half(const peer::descriptor &connection) {
  std::array<char, 206> packet{};
  std::memcpy(packet.data(), "WAKE\x01\x9c\x01\x00", 8);
  (void)!send(connection.get(), packet.data(), packet.size(), MSG_NOSIGNAL);
}

peer::descriptor connect_once() {
  sockaddr_in device{};
  device.sin_family = AF_INET;
  device.sin_port = htons(161);
  device.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  peer::descriptor connection(socket(AF_INET, SOCK_STREAM, 0));
  if (connect(connection.get(), reinterpret_cast<sockaddr *>(&device), sizeof device) == 0) return connection;
  std::perror("soak_connects");
  return peer::descriptor();
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  const int count = std::atoi(argv[1]);
  std::deque<peer::descriptor> open;
  std::array<int, kinds> had{};
  for (int i = 0; i < count; i++) {
    for (int waited = 0; i % looked_after == 0 && queued() > most_queued; waited++) {
      if (waited > 60'000) return 1;
      usleep(1000);
    }
    peer::descriptor connection = connect_once();
    if (!connection) return 1;
    const int which = i % kinds;
    const int ending = which == half ? i / kinds % 3 : which;
    if (which == half) send_half(connection);
    if (ending == reset) end_with_reset(connection);
    if (ending == stalled) open.push_back(std::move(connection));
    if (open.size() > most_open) open.pop_front();
    had[static_cast<size_t>(which)]++;
  }
  // The device comes to the last ones only now.
  for (int waited = 0; queued() > 0 && waited < 60'000; waited++) usleep(1000);
  std::printf("%d connections: %d closed, %d stalled, %d reset, %d with half a packet\n", count, had[closed],
              had[stalled], had[reset], had[half]);
}
