// SPDX-License-Identifier: MIT
#include "zolt/decode_capture.h"

#include <fmt/format.h>
#include <pcap/pcap.h>
#include <pcap/sll.h>

#include <memory>
#include <optional>

namespace zolt {
namespace {

constexpr uint16_t ethertype_ipv4 = 0x0800;
constexpr size_t ethernet_header_bytes = 14;

struct closer {
  void operator()(pcap_t *capture) const { pcap_close(capture); }
};

// The IPv4 packet behind a header whose last two bytes, or those of the VLAN tags behind it, name it.
std::optional<peer::byte_view> behind_ethertype(peer::byte_view frame, size_t at) {
  while (frame.size() >= at + 2) {
    uint16_t type = peer::read16(frame, at);
    if (type == ethertype_ipv4) return frame.subspan(at + 2);
    if (type != 0x8100 && type != 0x88a8) return std::nullopt;
    at += 4;
  }
  return std::nullopt;
}

// Four bytes that hold a family in the byte order of the machine that captured, or in the network's.
std::optional<peer::byte_view> behind_family(peer::byte_view frame) {
  constexpr uint32_t family_ipv4 = 2;
  if (frame.size() < 4) return std::nullopt;
  uint32_t family = peer::read32(frame, 0);
  if (family != family_ipv4 && family != family_ipv4 << 24) return std::nullopt;
  return frame.subspan(4);
}

std::optional<peer::byte_view> ipv4_in(int link, peer::byte_view frame) {
  switch (link) {
    case DLT_EN10MB:
      return behind_ethertype(frame, ethernet_header_bytes - 2);
    case DLT_LINUX_SLL:
      return behind_ethertype(frame, SLL_HDR_LEN - 2);
    case DLT_LINUX_SLL2:
      if (frame.size() < SLL2_HDR_LEN || peer::read16(frame, 0) != ethertype_ipv4) return std::nullopt;
      return frame.subspan(SLL2_HDR_LEN);
    case DLT_NULL:
    case DLT_LOOP:
      return behind_family(frame);
    default:
      return frame;  // DLT_RAW and DLT_IPV4: nothing stands before it
  }
}

bool is_known(int link) {
  for (int each : {DLT_EN10MB, DLT_LINUX_SLL, DLT_LINUX_SLL2, DLT_NULL, DLT_LOOP, DLT_RAW, DLT_IPV4}) {
    if (link == each) return true;
  }
  return false;
}

peer::failure damaged(const std::string &name, const char *why) {
  return {peer::exit_code::verification,
          "capture",
          fmt::format("{} is damaged: {}", name, why),
          "a whole capture file (pcap or pcapng)",
          "it was cut short, or it is still being written",
          "capture again"};
}

}  // namespace

bool begins_a_capture(peer::byte_view first) {
  if (first.size() < 4) return false;
  switch (peer::read32(first, 0)) {
    case 0xa1b2c3d4:  // pcap, in both byte orders; and with nanoseconds
    case 0xd4c3b2a1:
    case 0xa1b23c4d:
    case 0x4d3cb2a1:
    case 0x0a0d0d0a:  // pcapng
      return true;
    default:
      return false;
  }
}

peer::status read_capture(std::FILE *file, const std::string &name, const ip_taker &take) {
  char why[PCAP_ERRBUF_SIZE] = "";
  std::unique_ptr<pcap_t, closer> capture(pcap_fopen_offline(file, why));
  if (!capture) {
    std::fclose(file);
    return damaged(name, why);
  }
  int link = pcap_datalink(capture.get());
  if (!is_known(link)) {
    const char *known_as = pcap_datalink_val_to_name(link);
    return peer::failure{peer::exit_code::other,
                         "capture",
                         fmt::format("{} is of the link type {}", name, known_as != nullptr ? known_as : "unknown"),
                         "Ethernet, Linux cooked, raw IP or loopback",
                         {},
                         "capture on an Ethernet interface, or on any (tcpdump -i any)"};
  }
  pcap_pkthdr *header = nullptr;
  const u_char *data = nullptr;
  int state = 0;
  for (size_t frame = 1; (state = pcap_next_ex(capture.get(), &header, &data)) == 1; frame++) {
    double seconds = static_cast<double>(header->ts.tv_sec) + static_cast<double>(header->ts.tv_usec) / 1e6;
    if (std::optional<peer::byte_view> ip = ipv4_in(link, {data, header->caplen})) take(frame, seconds, *ip);
  }
  if (state == PCAP_ERROR) return damaged(name, pcap_geterr(capture.get()));
  return peer::done;
}

}  // namespace zolt
