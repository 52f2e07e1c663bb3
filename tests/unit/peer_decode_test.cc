// SPDX-License-Identifier: MIT
// Packets read for people: whole ones, damaged ones, and the texts and captures that they come in.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <random>

#include "peer/gathering.h"
#include "peer/hex_dump.h"
#include "peer/reading.h"
#include "peer/wire.h"

namespace {

using peer::bytes;

// The recorded session, by the names of its lines; "key" is its key.
const std::map<std::string, bytes> &recorded() {
  static const std::map<std::string, bytes> lines = [] {
    std::map<std::string, bytes> found;
    std::ifstream file(LIBSEC_VECTORS "/session.txt");
    for (std::string line; std::getline(file, line);) {
      size_t colon = line.find(": ");
      if (line[0] != '#' && colon != std::string::npos)
        found[line.substr(0, colon)] = *peer::from_hex(line.substr(colon + 2));
    }
    return found;
  }();
  return lines;
}

peer::key_ring ring() {
  peer::key_ring keys;
  keys.add("# a comment\n\nZOLT 11223344 " + std::string(256, '7') + "\nZOLT 11223344 " +
           peer::to_hex(recorded().at("key")) + "\r\n");
  return keys;
}

peer::reading read(const bytes &packet) {
  return peer::read_packet(packet, packet.size(), ring(), {});
}

std::string names_of(const peer::reading &packet) {
  std::string names;
  for (const peer::problem &each : packet.problems) names += (names.empty() ? "" : " ") + each.name;
  return names;
}

TEST(Reading, EveryPacketOfASessionIsGoodAndItsFieldsCoverIt) {
  for (const auto &[name, packet] : recorded()) {
    if (name == "key") continue;
    peer::reading found = read(packet);
    EXPECT_TRUE(found.is_good()) << name << ": " << names_of(found);
    EXPECT_EQ(found.kind, name.substr(0, 4));
    EXPECT_EQ(found.session_id, 0x11223344u);
    size_t end = 0;
    for (const peer::field_reading &field : found.fields) {
      EXPECT_EQ(field.offset, end) << name << ", " << field.name;
      end = field.offset + field.length;
    }
    EXPECT_EQ(end, packet.size()) << name;
    end = 0;
    for (const peer::field_reading &field : found.block) {
      EXPECT_EQ(field.offset, end) << name << ", " << field.name;
      end = field.offset + field.length;
    }
    EXPECT_EQ(end, name == "WAKE" || name == "WRSP" ? 0 : packet.size() - 16) << name;
  }
}

TEST(Reading, TheRightOneOfSeveralKeysOpensThePayload) {
  EXPECT_EQ(read(recorded().at("ENCR request")).content, peer::bytes_of("what is your name?"));
  EXPECT_EQ(read(recorded().at("ENCR reply")).content, peer::bytes_of("localhost"));
  peer::reading closed = peer::read_packet(recorded().at("ENCR reply"), 32, {}, {});
  EXPECT_EQ(names_of(closed), "no_key");
  EXPECT_TRUE(closed.is_good());
  EXPECT_FALSE(closed.content);
}

TEST(Reading, LinesOfAKeyLogThatAreNoneAreCounted) {
  peer::key_ring keys;
  std::string key(256, 'a');
  keys.add("ZOLT 00000001 " + key + "\nZOLT 1 " + key + "\nZOLT 00000001 " + key.substr(1) + "\nZOLF 00000001 " + key +
           "\nZOLT 00000001 " + key + " more\n#\n\n  ZOLT\t00000002  " + key);
  EXPECT_EQ(keys.odd_lines(), 4u);
  EXPECT_EQ(keys.keys_of(1).size(), 1u);
  EXPECT_EQ(keys.keys_of(2).size(), 1u);
  EXPECT_EQ(keys.keys_of(3).size(), 0u);
}

struct damage {
  const char *packet;
  std::function<void(bytes &)> change;
  const char *names;
};

auto flip(size_t at) {
  return [at](bytes &packet) { packet[at] ^= 1; };
}
auto resize(size_t to) {
  return [to](bytes &packet) { packet.resize(to); };
}

TEST(Reading, DamageHasItsName) {
  const damage all[] = {
      {"WAKE", flip(5), "length"},
      {"WAKE", flip(7), "version"},
      {"WAKE", flip(0), "signature"},
      {"WAKE", flip(17), "field_length"},
      {"WAKE", flip(151), "prime"},
      {"WAKE", resize(411), "length short"},
      {"WAKE", resize(15), "length short"},
      {"WAKE", resize(3), "signature"},
      {"WAKE", resize(0), "signature"},
      {"WAKE", resize(413), "length trailer"},
      {"WRSP", flip(11), "block_size"},
      {"WRSP", [](bytes &packet) { std::fill(packet.begin() + 16, packet.end(), uint8_t{0}); }, "degenerate"},
      {"LGIN", flip(20), "crc"},
      {"ACK1", flip(11), "block_size"},
      {"ENCR reply", flip(31), "crc"},
      {"ENCR reply", resize(31), "length payload_length"},
      {"LOUT", [](bytes &packet) { packet[12] ^= 1; }, "no_key"},
  };
  for (const damage &each : all) {
    bytes packet = recorded().at(each.packet);
    each.change(packet);
    EXPECT_EQ(names_of(read(packet)), each.names) << each.packet;
  }
}

TEST(Reading, APublicValueIsHeldAgainstThePrime) {
  bytes prime = *read(recorded().at("WAKE")).prime;
  bytes packet = recorded().at("WRSP");
  auto with = [&](bytes value) {
    std::copy(value.begin(), value.end(), packet.begin() + 16);
    return names_of(peer::read_packet(packet, packet.size(), {}, prime));
  };
  EXPECT_EQ(with(prime), "degenerate");
  bytes less_one = prime;
  less_one.back()--;
  EXPECT_EQ(with(less_one), "degenerate");
  less_one.back()--;
  EXPECT_EQ(with(less_one), "");
  EXPECT_EQ(with(bytes(128, 0xff)), "degenerate");
}

TEST(HexDump, AllFormsAreUnderstood) {
  bytes packet = recorded().at("LOUT");
  const char *forms[] = {
      "4c4f5554 00200100 00000040 11223344\n70b9cbc8 e2152748 d9b3a29d 957549d1\n",
      "4C:4F:55:54:00:20:01:00:00:00:00:40:11:22:33:44:70:b9:cb:c8:e2:15:27:48:d9:b3:a2:9d:95:75:49:d1",
      "0x4c, 0x4f, 0x55,0x54,0x00,0x20,0x01,0x00,0x00,0x00,0x00,0x40,0x11,0x22,0x33,0x44,\n0x70,0xb9,0xcb,0xc8,0xe2,"
      "0x15,0x27,0x48,0xd9,0xb3,0xa2,0x9d,0x95,0x75,0x49,0xd1",
      "\"\\x4c\\x4f\\x55\\x54\\x00\\x20\\x01\\x00\\x00\\x00\\x00\\x40\\x11\\x22\\x33\\x44\"\n"
      "\"\\x70\\xb9\\xcb\\xc8\\xe2\\x15\\x27\\x48\\xd9\\xb3\\xa2\\x9d\\x95\\x75\\x49\\xd1\"\n",
      // xxd, hexdump -C, od -A x -t x1z, Wireshark, zolt -vv
      "00000000: 4c4f 5554 0020 0100 0000 0040 1122 3344  LOUT. .....@.\"3D\n"
      "00000010: 70b9 cbc8 e215 2748 d9b3 a29d 9575 49d1  p.....'H.....uI.\n",
      "00000000  4c 4f 55 54 00 20 01 00  00 00 00 40 11 22 33 44  |LOUT. .....@.\"3D|\n"
      "00000010  70 b9 cb c8 e2 15 27 48  d9 b3 a2 9d 95 75 49 d1  |p.....'H.....uI.|\n00000020\n",
      "000000 4c 4f 55 54 00 20 01 00 00 00 00 40 11 22 33 44  >LOUT. .....@.\"3D<\n"
      "000010 70 b9 cb c8 e2 15 27 48 d9 b3 a2 9d 95 75 49 d1  >p.....'H.....uI.<\n000020\n",
      "0000   4c 4f 55 54 00 20 01 00 00 00 00 40 11 22 33 44   LOUT. .....@.\"3D\n"
      "0010   70 b9 cb c8 e2 15 27 48 d9 b3 a2 9d 95 75 49 d1   p.....'H.....uI.\n",
      "sent     0000  4c4f555400200100000000401122334470b9cbc8e2152748d9b3a29d957549d1\n"};
  for (const char *form : forms) {
    auto found = peer::read_hex_dump(form);
    ASSERT_TRUE(found) << form << peer::describe(found.error());
    ASSERT_EQ(found->size(), 1u) << form;
    EXPECT_EQ(peer::to_hex(found->front()), peer::to_hex(packet)) << form;
  }
}

TEST(HexDump, EachOffsetZeroBeginsAPacket) {
  auto found = peer::read_hex_dump("sent     0000  4c4f\n         0002  5554\ngot      0000  4143\n");
  ASSERT_TRUE(found);
  EXPECT_EQ(*found, (std::vector<bytes>{{0x4c, 0x4f, 0x55, 0x54}, {0x41, 0x43}}));
}

TEST(HexDump, WhatIsNoneIsNamedByItsLine) {
  const std::pair<const char *, const char *> all[] = {{"4c4f\n4c4f5\n", "line 2 is no byte string"},
                                                       {"4c 4f 5 5", "line 1 is no byte string"},
                                                       {"hello", "line 1 is no byte string"},
                                                       {"00000000: 4c4f\n00000010: 5554", "line 2 has the offset 10"},
                                                       {"0000 4c 4f\n*\n0020\n", "line 2 stands for"},
                                                       {"0000 4c 4f\nhello\n", "line 2 has no offset"},
                                                       {"", "there are no bytes"},
                                                       {"\n# nothing\n", "there are no bytes"}};
  for (const auto &[text, says] : all) {
    auto found = peer::read_hex_dump(text);
    ASSERT_FALSE(found) << text;
    EXPECT_EQ(found.error().code, peer::exit_code::usage);
    EXPECT_NE(found.error().happened.find(says), std::string::npos) << found.error().happened;
  }
}

// One IPv4 packet of UDP or TCP from the station to the device.
bytes ip_packet(uint8_t protocol, const bytes &transport, uint16_t fragment = 0) {
  bytes packet = {0x45, 0};
  peer::append16(packet, 20 + transport.size());
  peer::append16(packet, 7);
  peer::append16(packet, fragment);
  peer::append(packet, bytes{64, protocol, 0, 0, 192, 0, 2, 1, 192, 0, 2, 7});
  peer::append(packet, transport);
  return packet;
}

bytes datagram(const bytes &data) {
  bytes udp = {0x9c, 0x41, 0, 161};
  peer::append16(udp, 8 + data.size());
  peer::append16(udp, 0);
  peer::append(udp, data);
  return udp;
}

bytes segment(uint32_t number, const bytes &data, uint8_t flags = 0x18) {
  bytes tcp = {0x9c, 0x42, 0, 161};
  peer::append32(tcp, number);
  peer::append(tcp, bytes{0, 0, 0, 0, 0x50, flags, 0, 0, 0, 0, 0, 0});
  peer::append(tcp, data);
  return ip_packet(6, tcp);
}

struct gathered {
  std::vector<peer::gathered_packet> packets;
  peer::gatherer from{161, [this](const peer::gathered_packet &each) { packets.push_back(each); }};
};

TEST(Gathering, AFragmentedDatagramIsJoinedInAnyOrder) {
  const bytes &wake = recorded().at("WAKE");
  bytes whole = datagram(wake);
  auto piece = [&](size_t from, size_t to, bool more) {
    bytes part(whole.begin() + static_cast<ptrdiff_t>(from), whole.begin() + static_cast<ptrdiff_t>(to));
    return ip_packet(17, part, static_cast<uint16_t>(from / 8 | (more ? 0x2000 : 0)));
  };
  bytes parts[] = {piece(0, 104, true), piece(104, 200, true), piece(200, whole.size(), false)};
  int order[] = {0, 1, 2};
  do {
    gathered found;
    for (int each : order) found.from.add(1, 0, parts[each]);
    ASSERT_EQ(found.packets.size(), 1u);
    EXPECT_EQ(found.packets[0].captured, wake);
  } while (std::next_permutation(std::begin(order), std::end(order)));
}

TEST(Gathering, AStreamIsCutByItsLengthsWhateverItsSegments) {
  bytes stream = recorded().at("WAKE");
  peer::append(stream, recorded().at("LGIN"));
  peer::append(stream, recorded().at("LOUT"));
  std::mt19937 random(7);
  for (int round = 0; round < 200; round++) {
    gathered found;
    uint32_t start = 0xffffff00;  // the numbers start anew on the way
    std::vector<bytes> segments;
    for (size_t at = 0; at < stream.size();) {
      size_t length = std::min<size_t>(1 + random() % 150, stream.size() - at);
      bytes part(stream.begin() + static_cast<ptrdiff_t>(at), stream.begin() + static_cast<ptrdiff_t>(at + length));
      segments.push_back(segment(start + 1 + static_cast<uint32_t>(at), part));
      if (random() % 4 == 0) segments.push_back(segments.back());  // sent again
      at += length - (length > 10 && random() % 4 == 0 ? 5 : 0);   // the next one overlaps
    }
    for (size_t i = 1; i < segments.size(); i++)
      if (random() % 3 == 0) std::swap(segments[i], segments[i - 1]);
    found.from.add(1, 0, segment(start, {}, 0x02));
    for (size_t i = 0; i < segments.size(); i++) found.from.add(2 + i, 0, segments[i]);
    found.from.finish();
    ASSERT_EQ(found.packets.size(), 3u) << round;
    EXPECT_EQ(found.packets[0].captured, recorded().at("WAKE"));
    EXPECT_EQ(found.packets[1].captured, recorded().at("LGIN"));
    EXPECT_EQ(found.packets[2].captured, recorded().at("LOUT"));
  }
}

TEST(Gathering, ALostSegmentLeavesAPacketThatIsCut) {
  gathered found;
  const bytes &wake = recorded().at("WAKE");
  found.from.add(1, 0, segment(100, {wake.begin(), wake.begin() + 200}));
  found.from.add(2, 0, segment(512, recorded().at("LGIN")));
  found.from.finish();
  ASSERT_EQ(found.packets.size(), 2u);
  EXPECT_EQ(found.packets[0].captured.size(), 200u);
  EXPECT_EQ(found.packets[0].length, 412u);
  EXPECT_EQ(names_of(peer::read_packet(found.packets[0].captured, found.packets[0].length, {}, {})), "cut");
  EXPECT_EQ(found.packets[1].captured, recorded().at("LGIN"));
}

TEST(Gathering, PlainSnmpIsSomethingElse) {
  gathered found;
  found.from.add(1, 0,
                 ip_packet(17, datagram(*peer::from_hex("3019020101040100a2110201090201050201003006300406000500"))));
  found.from.add(2, 0, segment(1, peer::bytes_of("hello")));
  found.from.finish();
  EXPECT_EQ(found.packets.size(), 0u);
  EXPECT_EQ(found.from.foreign(), 2u);
}

// Under a sanitizer, no byte is read that is not there, whatever comes.
TEST(Decoding, TenThousandMutatedPacketsAreReadWithoutHarm) {
  std::mt19937 random(11);
  std::vector<bytes> good;
  for (const auto &[name, packet] : recorded())
    if (name != "key") good.push_back(packet);
  peer::key_ring keys = ring();
  bytes prime = *read(recorded().at("WAKE")).prime;
  gathered found;
  size_t named = 0, read_again = 0;
  for (int round = 0; round < 10000; round++) {
    bytes packet = good[random() % good.size()];
    for (auto changes = random() % 5; changes > 0; changes--)
      packet[random() % packet.size()] ^= static_cast<uint8_t>(1 << random() % 8);
    if (random() % 4 == 0) packet.resize(random() % (packet.size() + 20));
    packet.shrink_to_fit();
    size_t length = random() % 4 == 0 ? packet.size() + random() % 65536 : packet.size();
    peer::reading seen = peer::read_packet(packet, length, keys, prime);
    named += seen.is_good() ? 0 : 1;
    bytes ip = random() % 2 ? segment(static_cast<uint32_t>(random()) % 4096, packet, static_cast<uint8_t>(random()))
                            : ip_packet(17, datagram(packet), random() % 8 == 0 ? static_cast<uint16_t>(random()) : 0);
    if (random() % 2) ip[random() % std::min<size_t>(ip.size(), 48)] ^= static_cast<uint8_t>(1 << random() % 8);
    if (random() % 8 == 0) ip.resize(random() % (ip.size() + 1));
    ip.shrink_to_fit();
    found.from.add(1, 0, ip);
    std::string text = peer::to_hex(packet);
    if (!text.empty() && random() % 2) text[random() % text.size()] = static_cast<char>(random() % 128);
    auto dump = peer::read_hex_dump(text);
    read_again += dump && dump->size() == 1 && dump->front() == packet ? 1 : 0;
  }
  found.from.finish();
  for (const peer::gathered_packet &each : found.packets)
    (void)peer::read_packet(each.captured, each.length, keys, prime);
  EXPECT_GT(named, 5000u);
  EXPECT_GT(read_again, 4000u);
  EXPECT_GT(found.packets.size(), 2000u);
}

}  // namespace
