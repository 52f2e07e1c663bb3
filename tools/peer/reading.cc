// SPDX-License-Identifier: MIT
#include "peer/reading.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "peer/wire.h"
#include "peer/xtea.h"

namespace peer {
namespace {

using weight = enum problem::weight;

// What a packet of a kind is for, and the length it has; 0 when that varies.
struct kind_row {
  std::string_view letters;
  size_t bytes;
  std::string_view meaning;
};

constexpr kind_row kinds[] = {
    {"WAKE", wake_bytes, "station to device: opens a session"},
    {"WRSP", wrsp_bytes, "device to station: answers WAKE"},
    {"LGIN", 32, "station to device: logs in"},
    {"ACK1", 40, "device to station: answers LGIN"},
    {"ENCR", 0, "a request or a reply"},
    {"LOUT", 32, "station to device: logs out"},
    {"ACK2", 40, "device to station: answers LOUT"},
};

const kind_row *row_of(byte_view letters) {
  const auto *found = std::find_if(std::begin(kinds), std::end(kinds), [&](const kind_row &each) {
    return letters.size() >= 4 && std::equal(each.letters.begin(), each.letters.end(), letters.begin());
  });
  return found == std::end(kinds) ? nullptr : found;
}

std::string printable(byte_view letters) {
  std::string text;
  for (uint8_t each : letters) text += each >= ' ' && each <= '~' ? static_cast<char>(each) : '.';
  return text;
}

// Puts down one field after the other, as far as the packet was captured.
class reader {
 public:
  reader(byte_view from, reading &into) : from_(from), into_(into) {}

  // False, and nothing put down, when the bytes are not there.
  bool has(size_t offset, size_t length) const { return offset + length <= from_.size(); }

  field_reading *put(const char *name, size_t offset, size_t length, std::string value) {
    into_.fields.push_back({name, offset, length, std::move(value), {}});
    return &into_.fields.back();
  }

  void error(const char *name, std::string text) { into_.problems.push_back({weight::error, name, std::move(text)}); }
  void note(const char *name, std::string text) { into_.problems.push_back({weight::note, name, std::move(text)}); }

  // A number that must have one value, or else the packet has the problem.
  void number(const char *name, size_t offset, size_t length, uint32_t expected, const char *trouble) {
    if (!has(offset, length)) return;
    uint32_t value = length == 2 ? read16(from_, offset) : read32(from_, offset);
    field_reading *field = put(name, offset, length, fmt::format("{}", value));
    if (value == expected) return;
    field->meaning = fmt::format("must be {}", expected);
    error(trouble, fmt::format("{} is {}, must be {}", name, value, expected));
  }

  byte_view bytes_at(size_t offset, size_t length) const { return from_.subspan(offset, length); }

 private:
  byte_view from_;
  reading &into_;
};

// The values that fix the shared secret whatever the other side has drawn.
std::string degenerate(byte_view value, const std::optional<bytes> &prime) {
  bool small = std::all_of(value.begin(), value.end() - 1, [](uint8_t byte) { return byte == 0; });
  if (small && value.back() <= 1) return fmt::format("{}", value.back());
  if (!prime) return {};
  bool same_but_last = std::equal(value.begin(), value.end() - 1, prime->begin());
  if (same_but_last && prime->back() % 2 == 1 && value.back() + 1 == prime->back()) return "p - 1";
  return std::lexicographical_compare(value.begin(), value.end(), prime->begin(), prime->end()) ? "" : "not below p";
}

void read_public_value(reader &from, const char *name, size_t offset, const std::optional<bytes> &prime) {
  if (!from.has(offset, key_field_bytes)) return;
  byte_view value = from.bytes_at(offset, key_field_bytes);
  field_reading *field = from.put(name, offset, key_field_bytes, to_hex(value));
  std::string which = degenerate(value, prime);
  field->meaning = which.empty() ? "a public value" : "the value is " + which;
  if (!which.empty())
    from.error("degenerate", fmt::format("{} is {}: the secret would be known to everybody", name, which));
}

void read_wake(reader &from, reading &into) {
  from.number("ip_address_length", 16, 2, 4, "field_length");
  if (from.has(18, 4)) {
    byte_view address = from.bytes_at(18, 4);
    from.put("ip_address", 18, 4, fmt::format("{}", fmt::join(address, ".")))->meaning = "the device ignores it";
  }
  from.number("key_p_length", 22, 2, key_field_bytes, "field_length");
  if (from.has(24, key_field_bytes)) {
    byte_view prime = from.bytes_at(24, key_field_bytes);
    from.put("key_p", 24, key_field_bytes, to_hex(prime))->meaning = "the Diffie-Hellman prime p";
    into.prime = bytes(prime.begin(), prime.end());
    if (prime.back() % 2 == 0) from.error("prime", "key_p is even: the device refuses it");
    if (prime.front() < 0x80) from.error("prime", "key_p is shorter than 1024 bits");
  }
  from.number("key_yb_length", 152, 2, key_field_bytes, "field_length");
  read_public_value(from, "key_yb", 154, into.prime);
  from.number("rsa_length", 282, 2, key_field_bytes, "field_length");
  if (from.has(284, key_field_bytes))
    from.put("rsa", 284, key_field_bytes, to_hex(from.bytes_at(284, key_field_bytes)))->meaning =
        "the signature; not checked here, where the station's public key is not";
}

void check_length(reader &from, const kind_row &kind, byte_view captured, size_t length) {
  if (captured.size() < length) from.error("cut", fmt::format("only {} of {} bytes are here", captured.size(), length));
  if (length > max_packet_bytes)
    from.error("too_long", fmt::format("{} bytes do not fit the device's buffer of {}", length, max_packet_bytes));
  constexpr size_t least_encr = header_bytes + xtea_block_bytes;
  if (kind.letters == "WAKE" && length > wake_bytes)
    from.note("trailer", fmt::format("{} bytes behind the signature, which the device ignores", length - wake_bytes));
  else if (kind.letters == "ENCR" && length < least_encr)
    from.error("short", fmt::format("ENCR has {} bytes, must have {} or more", length, least_encr));
  else if (kind.letters == "WRSP" && length != wrsp_bytes)
    from.error("length", fmt::format("WRSP has {} bytes, must have {}", length, wrsp_bytes));
  else if (kind.bytes != 0 && length != kind.bytes)
    from.error(length < kind.bytes ? "short" : "length",
               fmt::format("{} has {} bytes, must have {}", kind.letters, length, kind.bytes));
}

// The first 8 bytes, as far as they are there.
void read_beginning(reader &from, const kind_row *kind, size_t length) {
  if (!from.has(0, 4)) return;
  from.put("signature_id", 0, 4, printable(from.bytes_at(0, 4)))->meaning =
      kind != nullptr ? std::string(kind->meaning) : "unknown";
  if (!from.has(4, 2)) return;
  size_t claimed = read16(from.bytes_at(4, 2), 0);
  field_reading *field = from.put("packet_length", 4, 2, fmt::format("{}", claimed));
  if (claimed != length) {
    field->meaning = fmt::format("the packet has {} bytes", length);
    from.error("length", fmt::format("packet_length says {}, the packet has {} bytes", claimed, length));
  }
  from.number("protocol_version", 6, 2, protocol_version, "version");
}

}  // namespace

bool reading::is_good() const {
  return std::none_of(problems.begin(), problems.end(),
                      [](const problem &each) { return each.weight == weight::error; });
}

bool is_packet_kind(byte_view letters) {
  return row_of(letters) != nullptr;
}

reading read_packet(byte_view captured, size_t length, const key_ring &keys, const std::optional<bytes> &prime) {
  reading into;
  into.length = length;
  reader from(captured, into);
  const kind_row *kind = row_of(captured);
  if (kind != nullptr) into.kind = kind->letters;
  read_beginning(from, kind, length);
  if (kind == nullptr) {
    from.error("signature", captured.size() < 4
                                ? fmt::format("{} bytes are no packet", captured.size())
                                : fmt::format("\"{}\" is no kind of packet", printable(captured.subspan(0, 4))));
    return into;
  }
  if (!from.has(0, header_bytes)) {
    from.error(length < header_bytes ? "short" : "cut",
               fmt::format("only {} of the header's {} bytes are here", captured.size(), header_bytes));
    return into;
  }
  if (into.kind == "WAKE")
    from.put("signing_key_id", 8, 4, to_hex(from.bytes_at(8, 4)))->meaning = "anything";
  else
    from.number(into.kind == "WRSP" ? "reserved" : "block_size", 8, 4, cipher_block_bits, "block_size");
  into.session_id = read32(captured, 12);
  from.put("session_id", 12, 4, fmt::format("{:08x}", *into.session_id));
  check_length(from, *kind, captured, length);
  if (into.kind == "WAKE") {
    read_wake(from, into);
  } else if (into.kind == "WRSP") {
    read_public_value(from, "dh_gx", 16, prime);
  } else if (captured.size() > header_bytes) {
    from.put("payload", header_bytes, captured.size() - header_bytes, to_hex(captured.subspan(header_bytes)));
    read_payload(into, captured.subspan(header_bytes), keys);
  }
  return into;
}

}  // namespace peer
