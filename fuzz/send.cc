// SPDX-License-Identifier: MIT
// Replies of any length, from the host's memory and from inside the context, in any state.
#include "fuzz/device.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace libsec::test;
  fuzz::input in(data, size);
  fuzz::device device;
  const uint8_t mode = in.byte();
  device.start_session(2 + mode % 4);
  full_encryption = mode >> 2 & 1;
  device.context->encrypt_replies = mode >> 3 & 1;
  device.context->transport_is_tcp = mode >> 4 & 1;
  device.context->session = (mode >> 5 & 1) != 0 ? &security_session_tmp : &security_sessions;
  device.context->protocol_version = 256;
  const bool inside = (mode >> 6 & 1) != 0;
  const bool encrypted = full_encryption == 1 || device.context->encrypt_replies == 1;
  const auto length = static_cast<int32_t>(in.u16()) - 10;
  bytes reply = in.rest();
  reply.resize(static_cast<size_t>(std::max(length, 1)), 0x5A);

  uint8_t *from = reply.data();
  if (inside) {
    // At the end of the buffer or near its start: where a reply that was built in place stands.
    const size_t room = sizeof device.context->packet + sizeof device.context->receive_chunk;
    const size_t offset = reply.size() > room - 20 ? 0 : (mode & 0x80) != 0 ? 20 : room - reply.size();
    from = reinterpret_cast<uint8_t *>(device.context.get()) + offsetof(zolt_context, packet) + offset;
    std::copy(reply.begin(), reply.end(), from);
  }
  const int32_t result = ZOLT_send(device.context.get(), from, length);
  const bool fits = length >= 0 && (!encrypted || length <= 39979);
  fuzz::require((result == 0) == fits, "what fits is sent");
  fuzz::require(!fits == device.sent.empty() || (fits && length == 0), "what does not fit is not sent");
  if (!fits) return 0;
  reply.resize(static_cast<size_t>(length));
  if (!encrypted) {
    fuzz::require(device.sent == reply, "a plain reply is what the host gave");
    return 0;
  }
  const bytes head(device.sent.begin(), device.sent.begin() + 16);
  const opened_block block = opened(bytes(device.sent.begin() + 16, device.sent.end()), test_key());
  fuzz::require(head == header("ENCR", device.sent.size(), fuzz::live_id), "the header is right");
  fuzz::require(block.whole && block.crc_good && block.content() == reply, "the peer reads what the host gave");
  return 0;
}
