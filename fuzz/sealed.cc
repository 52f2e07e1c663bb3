// SPDX-License-Identifier: MIT
// LGIN, ENCR and LOUT with any header and any content, rightly enciphered and perhaps damaged, against a
// live session in any state. The oracle is the rule of each packet, written out once more.
#include "fuzz/device.h"

using namespace libsec::test;

namespace {

constexpr const char *names[] = {"LGIN", "ENCR", "LOUT"};

bool allowed(int kind, uint32_t state, int64_t age_ms) {
  constexpr int64_t limits[] = {0, 0, 10000, 0, 180000, 180000, 0};
  if (state == 0 || age_ms > limits[state]) return false;
  if (kind == 0) return state == 2;
  return kind == 2 || state >= 4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::input in(data, size);
  fuzz::device device;
  const int kind = in.byte() % 3;
  const uint32_t state = in.byte() % 7;
  const int64_t age_ms = int64_t{in.u16()} * 4;
  const uint8_t damage = in.byte();
  const uint32_t id = (damage & 1) != 0 ? in.u32() : fuzz::live_id;
  const int claimed = (damage & 2) != 0 ? static_cast<int>(in.u16()) : -1;
  const size_t damaged_byte = (damage & 4) != 0 ? in.u16() : SIZE_MAX;
  bytes content = (damage & 8) != 0 ? bytes{}
                  : kind == 0       ? joined({text("LOGIN"), be32(id)})
                                    : joined({text("LOGOUT"), be32(id)});
  const bytes more = in.take(2000);
  content.insert(content.end(), more.begin(), more.end());

  device.start_session(state);
  device.clock.advance_ms(age_ms);
  bytes packet = enciphered(names[kind], id, content, test_key(), claimed);
  if (damaged_byte < packet.size()) packet[damaged_byte] ^= static_cast<uint8_t>(1 << (damage >> 5));

  // What must come of it.
  const bytes head(packet.begin(), packet.begin() + 16);
  const opened_block block = opened(bytes(packet.begin() + 16, packet.end()), test_key());
  const bytes expected_word = joined({text(kind == 0 ? "LOGIN" : "LOGOUT"), be32(id)});
  const bytes &inside = block.content_and_padding;
  const bool says_so =
      inside.size() >= expected_word.size() && std::equal(expected_word.begin(), expected_word.end(), inside.begin());
  const bool good = head == header(names[kind], packet.size(), fuzz::live_id) && allowed(kind, state, age_ms) &&
                    block.crc_good && (kind == 1 || says_so);
  if (head != header(names[kind], packet.size(), read_be32(head, 12)) && head[0] != 'L' && head[0] != 'E') return 0;

  const int32_t result = device.serve(packet);
  fuzz::require((result == 0) == (good && kind == 1), "the host gets what a good ENCR holds, and nothing else");
  fuzz::require(!device.sent.empty() == (good && kind != 1), "good LGIN and LOUT are answered, and nothing else");
  fuzz::require(device.context->packet_failed == (good ? 0u : 1u), "what is refused counts as refused");
  if (!good) {
    fuzz::require(security_sessions.state == state, "what is refused changes no state");
    return 0;
  }
  if (kind == 1) {
    bytes wanted = inside;
    wanted.resize(block.claimed, 0);
    fuzz::require(static_cast<uint32_t>(device.context->data_length) == block.claimed &&
                      bytes(device.context->data, device.context->data + block.claimed) == wanted,
                  "content reaches the host as it was sent, zeros behind it");
  } else {
    const bytes answer = opened(bytes(device.sent.begin() + 16, device.sent.end()), test_key()).content();
    fuzz::require(
        answer == (kind == 0 ? joined({text("LOGGEDIN"), be32(id), {0, 180}}) : joined({text("LOGGEDOUT"), be32(id)})),
        "the answer says what it must");
  }
  return 0;
}
