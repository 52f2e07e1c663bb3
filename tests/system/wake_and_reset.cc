// SPDX-License-Identifier: MIT
// wake_and_reset KEYFILE: over TCP to port 161 of 127.0.0.1, sends a WAKE that is good in every respect,
// ends its side of the connection and resets it at once. What the device answers meets a dead connection.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "peer/dh.h"
#include "peer/keys.h"
#include "peer/wire.h"

namespace {

peer::result<peer::bytes> make_wake(const char *key_file) {
  peer::result<peer::private_key> key = peer::private_key::load(key_file);
  if (!key) return key.error();
  const peer::dh_group group = peer::dh_group::oakley2();
  peer::result<peer::dh_secret> secret = peer::dh_secret::draw(group);
  if (!secret) return secret.error();
  peer::wake_fields fields;
  fields.session_id = 0x01020304;
  fields.prime = group.prime();
  fields.public_value = secret->public_value();
  return peer::build_wake(fields, [&](peer::byte_view message) { return key->sign(message); });
}

bool send_and_reset(const peer::bytes &wake) {
  sockaddr_in device = {};
  device.sin_family = AF_INET;
  device.sin_port = htons(161);
  device.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int connection = socket(AF_INET, SOCK_STREAM, 0);
  if (connect(connection, reinterpret_cast<sockaddr *>(&device), sizeof device) != 0) return false;
  if (send(connection, wake.data(), wake.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(wake.size())) return false;
  // First the end, then the reset: a connection that is reset in this order fails with EPIPE, and a send
  // that does not forbid it raises SIGPIPE.
  shutdown(connection, SHUT_WR);
  const linger at_once = {1, 0};
  setsockopt(connection, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  return close(connection) == 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  const peer::result<peer::bytes> wake = make_wake(argv[1]);
  if (!wake) {
    std::fprintf(stderr, "wake_and_reset: %s\n", peer::describe(wake.error()).c_str());
    return 1;
  }
  return send_and_reset(*wake) ? 0 : 1;
}
