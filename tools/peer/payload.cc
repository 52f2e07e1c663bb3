// SPDX-License-Identifier: MIT
#include "peer/payload.h"

#include <fmt/format.h>

#include "peer/crc16.h"
#include "peer/xtea.h"

namespace peer {

bytes seal(byte_view key, byte_view content) {
  bytes checked(content.begin(), content.end());
  checked.resize(block_bytes(content.size()) - 4);  // the padding is zero
  bytes block;
  append16(block, crc16(checked));
  append16(block, content.size());
  append(block, checked);
  xtea_encipher(key, block);
  return block;
}

result<bytes> unseal(byte_view key, byte_view block) {
  auto refuse = [](std::string happened, std::string expected) {
    return failure{exit_code::verification, {}, std::move(happened), std::move(expected), {}, {}};
  };
  if (block.empty() || block.size() % xtea_block_bytes != 0)
    return refuse(fmt::format("its payload has {} bytes", block.size()), "a payload of whole 8-byte blocks");
  bytes plain(block.begin(), block.end());
  xtea_decipher(key, plain);
  uint16_t claimed = read16(plain, 0);
  uint16_t actual = crc16(byte_view(plain).subspan(4));
  if (claimed != actual)
    return refuse(fmt::format("its payload has the CRC {:04x} but says {:04x}", actual, claimed),
                  "a payload that is enciphered with this session's key and undamaged");
  size_t length = read16(plain, 2);
  // The length is not covered by the CRC, so it is held against the size of the block.
  if (block_bytes(length) != block.size())
    return refuse(fmt::format("its payload of {} bytes says that {} of them are content", block.size(), length),
                  fmt::format("{} to {} bytes of content in such a payload", block.size() < 12 ? 0 : block.size() - 12,
                              block.size() - 5));
  return bytes(plain.begin() + 4, plain.begin() + 4 + static_cast<ptrdiff_t>(length));
}

}  // namespace peer
