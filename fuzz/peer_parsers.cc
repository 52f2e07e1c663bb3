// SPDX-License-Identifier: MIT
// The management station's parsers of WRSP, ACK1, ENCR and ACK2, on raw bytes and on rightly sealed ones.
#include "fuzz/target.h"
#include "peer/wire.h"
#include "support/packets.h"

namespace ours = libsec::test;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  constexpr const char *names[] = {"WRSP", "ACK1", "ENCR", "ACK2"};
  constexpr uint32_t id = 0xA1B2C3D4;
  fuzz::input in(data, size);
  const uint8_t mode = in.byte();
  const int kind = mode & 3;
  const fuzz::bytes key = ours::test_key();
  fuzz::bytes packet;
  if ((mode & 4) != 0) {
    packet = in.rest();
  } else {
    const int claimed = (mode & 8) != 0 ? static_cast<int>(in.u16()) : -1;
    const fuzz::bytes content = in.rest();
    packet = kind == 0 ? ours::joined({ours::header("WRSP", 16 + content.size(), id), content})
                       : ours::enciphered(names[kind], id, content, key, claimed);
  }

  peer::result<peer::bytes> got = kind == 0   ? peer::parse_wrsp(packet, id)
                                  : kind == 1 ? peer::parse_ack1(packet, id, key)
                                  : kind == 2 ? peer::parse_reply(packet, id, key)
                                              : peer::parse_ack2(packet, id, key);
  if (!got) {
    fuzz::require(!got.error().happened.empty(), "a refusal says what happened");
    return 0;
  }
  fuzz::require(packet.size() >= 24 &&
                    fuzz::bytes(packet.begin(), packet.begin() + 16) == ours::header(names[kind], packet.size(), id),
                "only the right header is accepted");
  const fuzz::bytes behind(packet.begin() + 16, packet.end());
  if (kind == 0) {
    fuzz::require(behind.size() == 128 && *got == behind, "WRSP gives the public value");
    return 0;
  }
  const ours::opened_block block = ours::opened(behind, key);
  fuzz::require(block.whole && block.crc_good, "only a whole block is accepted");
  const fuzz::bytes content = block.content();
  if (kind == 1) fuzz::require(content == ours::joined({ours::text("LOGGEDIN"), ours::be32(id), {0, 180}}), "ACK1");
  if (kind == 2) fuzz::require(*got == content, "ENCR gives its content");
  if (kind == 3) fuzz::require(content == ours::joined({ours::text("LOGGEDOUT"), ours::be32(id)}), "ACK2");
  return 0;
}
