// SPDX-License-Identifier: MIT
// The gathering of one packet from a TCP stream that comes in any pieces and at any pace.
#include "fuzz/device.h"
#include "transport/sockets.h"

namespace {

// The gathering once more: bytes in a list, cut at the buffer's end.
struct model {
  fuzz::bytes gathered;
  bool overflowed = false;
  uint32_t waited_ms = 0;
  fuzz::bytes stale;  // what stood in the buffer before

  uint32_t wanted() const {
    const auto at = [this](size_t i) { return i < gathered.size() ? gathered[i] : stale[i]; };
    return static_cast<uint32_t>(at(4) << 8 | at(5));
  }
  bool finished() const { return waited_ms >= 5000 || overflowed || gathered.size() >= wanted(); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::input in(data, size);
  fuzz::device device;
  model expected;
  expected.stale = {0xA5, 0xA5, 0xA5, 0xA5, in.byte(), in.byte()};
  std::copy(expected.stale.begin(), expected.stale.end(), device.context->packet);
  bool over = false;
  device.calls->recv = [&](int, void *to, size_t room, int) -> ssize_t {
    fuzz::require(!over, "no read after the end");
    const uint32_t pause = in.byte();
    const uint32_t shape = in.byte();
    device.clock.advance_ms(1 + pause);
    expected.waited_ms += 1 + pause;
    ssize_t result = -1;
    if (shape < 250) {
      // A short piece comes from the input; a long one repeats a byte.
      const size_t length = std::min(room, size_t{shape < 200 ? shape : (shape - 199) * 800});
      fuzz::bytes piece = in.take(shape < 200 ? length : 1);
      piece.resize(length, 'x');
      std::copy(piece.begin(), piece.end(), static_cast<uint8_t *>(to));
      const size_t fits = std::min(piece.size(), size_t{ZOLT_PACKET_BYTES} - expected.gathered.size());
      expected.gathered.insert(expected.gathered.end(), piece.begin(),
                               piece.begin() + static_cast<std::ptrdiff_t>(fits));
      expected.overflowed = fits < piece.size();
      result = static_cast<ssize_t>(piece.size());
    }
    over = expected.finished();
    return result;
  };
  bool overflowed = false;
  libsec::gather_packet(device.context.get(), &overflowed);
  fuzz::require(over, "the gathering ends where it must, not before");
  fuzz::require(overflowed == expected.overflowed, "an overflow is told");
  fuzz::require(device.context->data_length == static_cast<int32_t>(expected.gathered.size()), "the length is right");
  fuzz::require(std::equal(expected.gathered.begin(), expected.gathered.end(), device.context->packet),
                "the bytes are those that came");
  return 0;
}
