// SPDX-License-Identifier: MIT
// Written for this side alone, with the key schedule computed as the published algorithm states it:
// the device's library, which tabulates the schedule, and this one check each other.
#include "peer/xtea.h"

namespace peer {
namespace {

constexpr uint32_t delta = 0x9e3779b9;
constexpr int cycles = 32;
constexpr size_t group_bytes = 16;

uint32_t mix(uint32_t half) {
  return ((half << 4) ^ (half >> 5)) + half;
}

struct block {
  uint32_t left;
  uint32_t right;
};

block encipher(block in, byte_view key) {
  uint32_t sum = 0;
  for (int cycle = 0; cycle < cycles; cycle++) {
    in.left += mix(in.right) ^ (sum + read32(key, (sum & 3) * 4));
    sum += delta;
    in.right += mix(in.left) ^ (sum + read32(key, (sum >> 11 & 3) * 4));
  }
  return in;
}

block decipher(block in, byte_view key) {
  uint32_t sum = delta * cycles;
  for (int cycle = 0; cycle < cycles; cycle++) {
    in.right -= mix(in.left) ^ (sum + read32(key, (sum >> 11 & 3) * 4));
    sum -= delta;
    in.left -= mix(in.right) ^ (sum + read32(key, (sum & 3) * 4));
  }
  return in;
}

void write32(std::span<uint8_t> to, uint32_t value) {
  for (size_t byte = 4; byte-- > 0; value >>= 8) to[byte] = static_cast<uint8_t>(value & 0xff);
}

template <typename Transform>
void for_each_block(byte_view key, std::span<uint8_t> blocks, Transform transform) {
  if (key.size() != session_key_bytes || blocks.size() % xtea_block_bytes != 0) return;
  size_t group = 0;
  for (size_t at = 0; at < blocks.size(); at += xtea_block_bytes) {
    block changed = transform(block{read32(blocks, at), read32(blocks, at + 4)}, key.subspan(group, group_bytes));
    write32(blocks.subspan(at, 4), changed.left);
    write32(blocks.subspan(at + 4, 4), changed.right);
    group = (group + group_bytes) % session_key_bytes;
  }
}

}  // namespace

void xtea_encipher(byte_view key, std::span<uint8_t> blocks) {
  for_each_block(key, blocks, encipher);
}

void xtea_decipher(byte_view key, std::span<uint8_t> blocks) {
  for_each_block(key, blocks, decipher);
}

}  // namespace peer
