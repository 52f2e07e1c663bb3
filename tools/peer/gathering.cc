// SPDX-License-Identifier: MIT
#include "peer/gathering.h"

#include <fmt/format.h>

#include <algorithm>

#include "peer/reading.h"
#include "peer/wire.h"

namespace peer {
namespace {

constexpr uint8_t tcp_number = 6, udp_number = 17;
constexpr size_t udp_header_bytes = 8, least_header_bytes = 20;
constexpr size_t most_datagrams = 64;  // in pieces at a time
constexpr size_t most_early = 256;     // segments that wait for one before them
constexpr uint8_t fin_flag = 1, syn_flag = 2;

// What a packet that ends here and has so many bytes looks like: by its letters, or by a header that is right
// but for its letters.
bool is_ours(byte_view data, size_t length) {
  if (is_packet_kind(data)) return true;
  return data.size() >= header_bytes && read16(data, 4) == length && read16(data, 6) == protocol_version;
}

bool begins_like_ours(byte_view data) {
  constexpr std::string_view kinds[] = {"WAKE", "WRSP", "LGIN", "ACK1", "ENCR", "LOUT", "ACK2"};
  return data.size() < 4 && std::any_of(std::begin(kinds), std::end(kinds), [&](std::string_view each) {
           return std::equal(data.begin(), data.end(), each.begin());
         });
}

}  // namespace

std::string describe(const address &where) {
  return fmt::format("{}:{}", fmt::join(where.ip, "."), where.port);
}

void gatherer::add(size_t frame, double seconds, byte_view ip) {
  if (ip.size() < least_header_bytes || ip[0] >> 4 != 4) return;
  size_t header = (ip[0] & 15U) * 4;
  size_t total = read16(ip, 2);
  if (total == 0) total = ip.size();  // the network card was to fill it in
  if (header < least_header_bytes || header > ip.size() || total < header) return;
  sighting seen{frame, seconds, {}, {}, protocol::udp};
  std::copy_n(ip.begin() + 12, 4, seen.from.ip.begin());
  std::copy_n(ip.begin() + 16, 4, seen.to.ip.begin());
  byte_view data = ip.subspan(header, std::min(total, ip.size()) - header);
  size_t offset = (read16(ip, 6) & 0x1fffU) * 8;
  bool more = (read16(ip, 6) & 0x2000U) != 0;
  if (!more && offset == 0) return add_transport(seen, ip[9], data, total - header);
  if (data.size() == total - header) add_fragment(seen, ip, data, offset, more);
}

void gatherer::add_fragment(const sighting &seen, byte_view header, byte_view part, size_t offset, bool more) {
  datagram_name name{};
  std::copy_n(header.begin() + 12, 8, name.begin());     // the addresses
  std::copy_n(header.begin() + 4, 2, name.begin() + 8);  // the identification
  name[10] = header[9];
  if (!fragments_.contains(name)) {
    if (fragments_.size() == most_datagrams) {
      fragments_.erase(fragments_by_age_.front());
      fragments_by_age_.pop_front();
    }
    fragments_by_age_.push_back(name);
  }
  datagram &whole = fragments_[name];
  whole.parts.insert_or_assign(offset, bytes(part.begin(), part.end()));
  if (!more) whole.length = offset + part.size();
  bytes joined;
  for (const auto &[at, data] : whole.parts) {
    if (at > joined.size()) return;  // one is missing
    if (at + data.size() > joined.size())
      joined.insert(joined.end(), data.begin() + static_cast<ptrdiff_t>(joined.size() - at), data.end());
  }
  if (whole.length == 0 || joined.size() < whole.length) return;
  fragments_.erase(name);
  std::erase(fragments_by_age_, name);
  add_transport(seen, header[9], joined, joined.size());
}

void gatherer::add_transport(sighting seen, uint8_t number, byte_view data, size_t length) {
  if (data.size() < udp_header_bytes || (number != udp_number && number != tcp_number)) return;
  seen.from.port = read16(data, 0);
  seen.to.port = read16(data, 2);
  if (seen.from.port != port_ && seen.to.port != port_) return;
  if (number == udp_number) return add_datagram(seen, data, length);
  seen.over = protocol::tcp;
  add_segment(seen, data, length);
}

void gatherer::add_datagram(const sighting &seen, byte_view data, size_t length) {
  length = std::min<size_t>(length, read16(data, 4));
  if (length < udp_header_bytes) return;
  byte_view packet = data.subspan(udp_header_bytes, std::min(length, data.size()) - udp_header_bytes);
  length -= udp_header_bytes;
  if (!is_ours(packet, length)) {
    foreign_++;
    return;
  }
  take_({seen, bytes(packet.begin(), packet.end()), length});
}

void gatherer::add_segment(const sighting &seen, byte_view data, size_t length) {
  if (data.size() < least_header_bytes) return;
  size_t header = (data[12] >> 4) * 4U;
  if (header < least_header_bytes || header > data.size()) return;
  uint32_t number = read32(data, 4);
  uint8_t flags = data[13];
  stream &into = streams_[{seen.from, seen.to}];
  if ((flags & syn_flag) != 0) {
    hand_on_rest(into);
    into = {};
    into.begun = true;
    into.next = number + 1;
    return;
  }
  segment found{seen, bytes(data.begin() + static_cast<ptrdiff_t>(header), data.end()), length - header};
  if (found.length == 0 || (found.length == 1 && found.data.empty() && (flags & fin_flag) != 0)) return;
  if (!into.begun) into.next = number;  // the capture began later than the connection
  into.begun = true;
  if (static_cast<int32_t>(number - into.next) > 0) {
    into.early.emplace(number, std::move(found));
    if (into.early.size() > most_early) take_early(into, true);
    return;
  }
  // What was there before is a repetition.
  size_t known = into.next - number;
  if (known >= found.length) return;
  found.data.erase(found.data.begin(), found.data.begin() + static_cast<ptrdiff_t>(std::min(known, found.data.size())));
  found.length -= known;
  take_segment(into, found);
  take_early(into, false);
}

void gatherer::take_segment(stream &into, const segment &from) {
  into.next += static_cast<uint32_t>(from.length);
  into.seen = from.seen;
  append(into.buffer, from.data);
  cut_packets(into);
  if (from.data.size() < from.length) hand_on_rest(into);  // the rest was not captured
}

// Goes on with segments that came before their turn; when a gap will not close, behind it.
void gatherer::take_early(stream &into, bool skip_gap) {
  while (!into.early.empty()) {
    auto first = into.early.begin();
    // In the order of the sequence numbers, which start anew at 2^32.
    for (auto at = into.early.begin(); at != into.early.end(); ++at) {
      if (static_cast<int32_t>(at->first - first->first) < 0) first = at;
    }
    if (static_cast<int32_t>(first->first - into.next) > 0) {
      if (!skip_gap) return;
      hand_on_rest(into);
      into.next = first->first;
    }
    size_t known = into.next - first->first;
    segment found = std::move(first->second);
    into.early.erase(first);
    if (known >= found.length) continue;
    found.data.erase(found.data.begin(),
                     found.data.begin() + static_cast<ptrdiff_t>(std::min(known, found.data.size())));
    found.length -= known;
    take_segment(into, found);
  }
}

void gatherer::cut_packets(stream &from) {
  byte_view left = from.buffer;
  while (!left.empty()) {
    if (begins_like_ours(left)) break;
    if (!is_ours(left, left.size())) {
      foreign_++;
      left = {};
      break;
    }
    if (left.size() < 6) break;
    size_t length = read16(left, 4);
    // A length that cannot be: the device takes all that it has read for one packet.
    if (length < header_bytes) length = left.size();
    if (left.size() < length) break;
    take_({from.seen, bytes(left.begin(), left.begin() + static_cast<ptrdiff_t>(length)), length});
    left = left.subspan(length);
  }
  from.buffer.erase(from.buffer.begin(), from.buffer.end() - static_cast<ptrdiff_t>(left.size()));
}

void gatherer::hand_on_rest(stream &from) {
  bytes rest;
  rest.swap(from.buffer);
  if (rest.empty()) return;
  if (!is_packet_kind(rest)) {
    foreign_++;
    return;
  }
  size_t length = rest.size() < 6 ? header_bytes : std::max<size_t>(read16(rest, 4), rest.size());
  take_({from.seen, std::move(rest), length});
}

void gatherer::finish() {
  for (auto &[ends, each] : streams_) {
    take_early(each, true);
    hand_on_rest(each);
  }
}

}  // namespace peer
