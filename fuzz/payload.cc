// SPDX-License-Identifier: MIT
// The codec of the enciphered block both ways: a content is sealed and read again, a block that was sealed by
// other means, perhaps wrongly, is read, and so are bytes that are no block at all.
#include <libsec/packet.h>

#include "fuzz/plain_codec.h"
#include "support/fake_clock.h"
#include "support/sessions.h"

namespace {

using namespace libsec::test;

constexpr uint32_t live_id = 0xA1B2C3D4;

// One context for all inputs: making its 80 KB anew would cost more than the codec.
struct device {
  fake_clock clock{1'000'000};
  std::unique_ptr<zolt_context> context = make_context();
  bytes key = test_key();

  device() {
    fuzz::silence();
    reset_sessions();
    full_encryption = 1;
    set_key(&security_sessions, key);
    get_timer(&security_sessions.timer, 1);
    security_sessions.session_id = security_session_tmp.session_id = live_id;
  }
  // As a packet's header leaves the records.
  void parsed() {
    security_sessions.state = SESSION_LOGGED_IN;
    security_session_tmp.state = PACKET_ENCR;
    context->session = &security_session_tmp;
  }
};

void check_sealing(device &d, const uint8_t *content, uint32_t length, uint32_t offset) {
  uint8_t wanted[fuzz::block_bytes(2000)];
  fuzz::plain_seal(wanted, content, length, length, 0, d.key.data());
  d.context->session = &security_sessions;
  const int32_t result = get_pay(d.context.get(), offset, &length, content, d.context->packet);
  fuzz::require(static_cast<size_t>(result) == fuzz::block_bytes(length), "the block is as long as it must be");
  fuzz::require(std::memcmp(d.context->packet + offset, wanted, fuzz::block_bytes(length)) == 0,
                "and says what it must");
}

// Reads `length` bytes at the offset; the oracle deciphers a copy.
void check_reading(device &d, uint32_t offset, uint32_t length) {
  uint8_t *const block = d.context->packet + offset;
  uint8_t copy[fuzz::block_bytes(2000)];
  std::memcpy(copy, block, (length + 7) / 8 * 8);  // a part of a block is read with what stands behind it
  fuzz::plain_blocks(copy, (length + 7) / 8, d.key.data(), 32, 32, plain_decipher);
  const bool good = length >= 8 && plain_crc16(copy + 4, length - 4) == (uint32_t{copy[0]} << 8 | copy[1]);
  const uint32_t claimed = uint32_t{copy[2]} << 8 | copy[3];
  const uint32_t held = length - 4;

  d.parsed();
  d.context->data_length = static_cast<int32_t>(offset + length);
  uint32_t row_length = 0;
  const int32_t result = set_pay(d.context.get(), offset, &row_length, nullptr, block);
  fuzz::require((result == 0) == good, "a block is taken when its check value is right, and only then");
  fuzz::require(d.context->session == &security_sessions, "the live session is chosen");
  if (!good) return;
  const uint8_t *const got = d.context->data;
  fuzz::require(got == block + 4 && d.context->data_length == static_cast<int32_t>(claimed), "the claim is handed on");
  fuzz::require(std::memcmp(got, copy + 4, std::min(claimed, held)) == 0, "the content is the one that was sealed");
  if (claimed <= held) return;
  const uint32_t more = claimed - held;
  fuzz::require(got[held] == 0 && std::memcmp(got + held, got + held + 1, more - 1) == 0, "and zeros are behind it");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static device d;
  fuzz::input in(data, size);
  const uint8_t mode = in.byte();
  const uint32_t offset = (mode & 8) != 0 ? 16 : 16 + in.byte() % 64;
  const uint32_t claimed = (mode & 4) != 0 ? in.u16() : 0;
  const uint32_t flaw = (mode & 16) != 0 ? in.u16() : 0;
  const uint8_t *const content = data + (size - in.left());
  const auto length = static_cast<uint32_t>(std::min<size_t>(in.left(), 2000));
  switch (mode & 3) {
    case 0:  // bytes as they are
      std::memcpy(d.context->packet + offset, content, length);
      check_reading(d, offset, length);
      break;
    case 1:  // sealed elsewhere
      fuzz::plain_seal(d.context->packet + offset, content, length, (mode & 4) != 0 ? claimed : length, flaw,
                       d.key.data());
      check_reading(d, offset, static_cast<uint32_t>(fuzz::block_bytes(length)));
      break;
    default:
      check_sealing(d, content, length, offset);
      check_reading(d, offset, static_cast<uint32_t>(fuzz::block_bytes(length)));
  }
  return 0;
}
