// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include "peer/payload.h"
#include "peer/wire.h"

namespace peer {
namespace {

failure refuse(std::string_view step, std::string happened, std::string expected) {
  return {exit_code::verification, std::string(step), std::move(happened), std::move(expected), {}, {}};
}

// Four bytes from the network, fit for a terminal.
std::string printable(std::string text) {
  for (char &character : text) {
    if (character < ' ' || character > '~') character = '.';
  }
  return text;
}

// Checks the header of an answer that must have `size` bytes, or at least one whole block of payload
// when that is 0.
status check_header(std::string_view step, std::string_view signature, byte_view packet, uint32_t session_id,
                    size_t size) {
  std::optional<packet_header> header = read_header(packet);
  if (!header)
    return refuse(step, fmt::format("the answer has {} bytes", packet.size()),
                  fmt::format("{} with a header of {} bytes", signature, header_bytes));
  if (header->signature != signature)
    return refuse(step, fmt::format("the answer is a packet \"{}\"", printable(header->signature)),
                  fmt::format("{}", signature));
  if (header->length != packet.size())
    return refuse(step,
                  fmt::format("{} says that it has {} bytes but has {}", signature, header->length, packet.size()),
                  "a packet_length that counts the whole packet");
  if (size != 0 ? packet.size() != size : packet.size() < header_bytes + block_bytes(0))
    return refuse(step, fmt::format("{} has {} bytes", signature, packet.size()),
                  size != 0 ? fmt::format("{} bytes", size) : fmt::format("{} or more", header_bytes + block_bytes(0)));
  if (header->version != protocol_version)
    return refuse(step, fmt::format("{} has the protocol version {}", signature, header->version),
                  fmt::format("version {}", protocol_version));
  if (header->block_size != cipher_block_bits)
    return refuse(step, fmt::format("{} names a cipher block of {} bits", signature, header->block_size),
                  fmt::format("{} bits", cipher_block_bits));
  if (header->session_id != session_id)
    return refuse(step, fmt::format("{} answers to session {:08x}", signature, header->session_id),
                  fmt::format("session {:08x}", session_id));
  return done;
}

// The content of an answer with an enciphered payload.
result<bytes> open_answer(std::string_view step, std::string_view signature, byte_view packet, uint32_t session_id,
                          byte_view key, size_t size) {
  if (status header = check_header(step, signature, packet, session_id, size); !header) return header.error();
  result<bytes> content = unseal(key, packet.subspan(header_bytes));
  if (!content) {
    content.error().step = step;
    content.error().happened = fmt::format("{} is damaged: {}", signature, content.error().happened);
  }
  return content;
}

// An acknowledgement holds a fixed text, the session identifier and fixed last bytes.
result<bytes> parse_acknowledgement(std::string_view step, std::string_view signature, byte_view packet,
                                    uint32_t session_id, byte_view key, std::string_view text, byte_view last) {
  bytes wanted = bytes_of(text);
  append32(wanted, session_id);
  append(wanted, last);
  result<bytes> content =
      open_answer(step, signature, packet, session_id, key, header_bytes + block_bytes(wanted.size()));
  if (!content) return content;
  if (*content != wanted)
    return refuse(step, fmt::format("{} holds {}", signature, to_hex(*content)),
                  fmt::format("{}, the text \"{}\", the session identifier{}", to_hex(wanted), text,
                              last.empty() ? std::string() : " and " + to_hex(last)));
  return bytes{};
}

}  // namespace

std::optional<packet_header> read_header(byte_view packet) {
  if (packet.size() < header_bytes) return std::nullopt;
  return packet_header{text_of(packet.first(4)), read16(packet, 4), read16(packet, 6), read32(packet, 8),
                       read32(packet, 12)};
}

result<bytes> parse_wrsp(byte_view packet, uint32_t session_id) {
  if (status header = check_header("WAKE", "WRSP", packet, session_id, wrsp_bytes); !header) return header.error();
  return bytes(packet.begin() + header_bytes, packet.end());
}

result<bytes> parse_ack1(byte_view packet, uint32_t session_id, byte_view key) {
  // 180, the seconds that a session lives.
  static constexpr uint8_t lifetime[] = {0x00, 0xb4};
  return parse_acknowledgement("LGIN", "ACK1", packet, session_id, key, "LOGGEDIN", lifetime);
}

result<bytes> parse_reply(byte_view packet, uint32_t session_id, byte_view key) {
  return open_answer("ENCR", "ENCR", packet, session_id, key, 0);
}

result<bytes> parse_ack2(byte_view packet, uint32_t session_id, byte_view key) {
  return parse_acknowledgement("LOUT", "ACK2", packet, session_id, key, "LOGGEDOUT", {});
}

}  // namespace peer
