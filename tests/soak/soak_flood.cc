// SPDX-License-Identifier: MIT
// soak_flood KEYFILE SECONDS: a good session with an echoing device on port 161 of 127.0.0.1, then datagrams
// that it has to refuse, as fast as they can be sent, then a good session again. Prints, each on a line of
// its own: the datagrams sent; the milliseconds from the end of the flood until the second session's reply;
// the milliseconds between the two sessions' replies.
#include <openssl/rand.h>

#include <cstdio>
#include <cstdlib>

#include "peer/session.h"

namespace {

using peer::bytes;

peer::session_options options() {
  peer::session_options chosen;
  chosen.device = {"127.0.0.1", 161, peer::protocol::udp};
  // What comes in the third of a second after a refused packet is not looked at: asked more often than that,
  // a device answers as soon as it does.
  chosen.resend_after = peer::milliseconds(100);
  return chosen;
}

peer::status session(const peer::private_key &key, peer::clock::time_point *answered) {
  const bytes content(64, 'r');
  peer::session with(key, options());
  if (peer::status opened = with.open(); !opened) return opened;
  peer::result<bytes> reply = with.request(content);
  *answered = peer::clock::now();
  if (!reply) return reply.error();
  if (*reply != content) return peer::failure{peer::exit_code::verification, "ENCR", "a wrong reply", {}, {}, {}};
  return with.close();
}

// One of every kind that is refused at another place: too short, unknown, a WAKE in which all is right but
// the signature, a short WAKE, the other kinds of a session that is not there, and noise.
peer::result<std::vector<bytes>> bad_packets() {
  const peer::dh_group group = peer::dh_group::oakley2();
  peer::result<peer::dh_secret> secret = peer::dh_secret::draw(group);
  if (!secret) return secret.error();
  bytes key(peer::key_field_bytes, 'k');
  bytes noise(1400);
  RAND_bytes(noise.data(), static_cast<int>(noise.size()));
  const peer::wake_fields fields{0x01020304, {127, 0, 0, 1}, group.prime(), secret->public_value()};
  peer::result<bytes> wake = peer::build_wake(fields, [&](peer::byte_view) -> peer::result<bytes> { return key; });
  if (!wake) return wake.error();
  bytes request = peer::build_request(0x01020304, key, noise);
  return std::vector<bytes>{peer::bytes_of("WAK"),
                            peer::bytes_of("no packet of any kind"),
                            *wake,
                            bytes(wake->begin(), wake->begin() + 200),
                            peer::build_login(0x01020304, key),
                            request,
                            peer::build_logout(0x01020304, key),
                            noise};
}

peer::result<size_t> flood(peer::clock::duration time) {
  const peer::result<std::vector<bytes>> packets = bad_packets();
  if (!packets) return packets.error();
  const auto end = peer::clock::now() + time;
  auto to = peer::transport::connect(options().device, end);
  if (!to) return to.error();
  size_t sent = 0;
  for (; peer::clock::now() < end; sent++) {
    if (peer::status gone = (*to)->send((*packets)[sent % packets->size()], end); !gone) return gone.error();
  }
  return sent;
}

int complain(const peer::failure &why) {
  std::fprintf(stderr, "soak_flood: %s\n", peer::describe(why).c_str());
  return 1;
}

double ms(peer::clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  const peer::result<peer::private_key> key = peer::private_key::load(argv[1]);
  if (!key) return complain(key.error());
  peer::clock::time_point before;
  peer::clock::time_point after;
  if (peer::status passed = session(*key, &before); !passed) return complain(passed.error());
  peer::result<size_t> sent = flood(std::chrono::seconds(std::atoi(argv[2])));
  if (!sent) return complain(sent.error());
  const auto ended = peer::clock::now();
  if (peer::status passed = session(*key, &after); !passed) return complain(passed.error());
  std::printf("%zu\n%.0f\n%.0f\n", *sent, ms(after - ended), ms(after - before));
}
