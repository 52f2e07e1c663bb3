// SPDX-License-Identifier: MIT
#include "zolt/decode_show.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "zolt/output.h"

namespace zolt {
namespace {

constexpr size_t most_shown = 64;  // characters of a value; whole ones are in the JSON

std::string shortened(const std::string &value) {
  return value.size() <= most_shown ? value : value.substr(0, most_shown) + "...";
}

std::string version_name(int64_t version) {
  return version == 0 ? "SNMPv1" : version == 1 ? "SNMPv2c" : fmt::format("SNMPv{}", version);
}

std::string in_words(const peer::snmp_head &snmp) {
  std::string text = version_name(snmp.version);
  if (snmp.pdu == 0) return text + fmt::format(", msgID {}", snmp.request_id);
  text += fmt::format(" {}, request-id {}", peer::snmp_pdu_name(snmp.pdu), snmp.request_id);
  if (snmp.error_status == 0) return text;
  std::string_view name = peer::snmp_error_name(snmp.error_status);
  return text + fmt::format(", error-status {}{}", snmp.error_status, name.empty() ? "" : fmt::format(" ({})", name));
}

std::string headline(const peer::reading &packet) {
  std::string text = packet.kind.empty() ? "unknown" : packet.kind;
  text += fmt::format(", {} bytes", packet.length);
  if (packet.session_id) text += fmt::format(", session {:08x}", *packet.session_id);
  if (packet.snmp) text += ", " + in_words(*packet.snmp);
  return text;
}

void show_fields(const std::vector<peer::field_reading> &fields) {
  for (const peer::field_reading &each : fields) {
    fmt::print("  {:>6} {:>6}  {:<18} {}\n", each.offset, each.length, each.name, shortened(each.value));
    if (!each.meaning.empty()) fmt::print("                   {:<17} ({})\n", "", each.meaning);
  }
}

void show_text(const peer::reading &packet, const peer::sighting *seen, double since) {
  if (seen != nullptr)
    fmt::print("{:>5}  {:.6f}  {} > {}  {}  {}\n", seen->frame, seen->seconds - since, peer::describe(seen->from),
               peer::describe(seen->to), seen->over == peer::protocol::tcp ? "TCP" : "UDP", headline(packet));
  else
    fmt::print("{}\n", headline(packet));
  if (seen == nullptr || output().verbosity > 0) {
    fmt::print("  {:>6} {:>6}  {:<18} {}\n", "offset", "bytes", "field", "value (meaning)");
    show_fields(packet.fields);
    if (!packet.block.empty()) fmt::print("  the payload, deciphered\n");
    show_fields(packet.block);
  }
  for (const peer::problem &each : packet.problems) {
    bool error = each.weight == peer::problem::weight::error;
    if (!error && seen != nullptr && output().verbosity == 0) continue;
    fmt::print("  {:<6} {}: {}\n", error ? "WRONG" : "note", each.name, each.text);
  }
}

nlohmann::ordered_json to_json(const std::vector<peer::field_reading> &fields) {
  auto all = nlohmann::ordered_json::array();
  for (const peer::field_reading &each : fields)
    all.push_back({{"name", each.name},
                   {"offset", each.offset},
                   {"length", each.length},
                   {"value", each.value},
                   {"meaning", each.meaning}});
  return all;
}

void show_json(const peer::reading &packet, const peer::sighting *seen, uint16_t port) {
  bool good = packet.is_good();
  nlohmann::ordered_json object = {
      {"ok", good}, {"exit", static_cast<int>(good ? peer::exit_code::ok : peer::exit_code::verification)}};
  if (seen != nullptr) {
    object["frame"] = seen->frame;
    object["time"] = seen->seconds;
    object["from"] = peer::describe(seen->from);
    object["to"] = peer::describe(seen->to);
    object["over"] = seen->over == peer::protocol::tcp ? "tcp" : "udp";
    object["to_device"] = seen->to.port == port;
  }
  object["kind"] = packet.kind;
  if (packet.session_id) object["session_id"] = fmt::format("{:08x}", *packet.session_id);
  object["length"] = packet.length;
  object["fields"] = to_json(packet.fields);
  object["block"] = to_json(packet.block);
  if (packet.content) object["content"] = peer::to_hex(*packet.content);
  if (packet.snmp)
    object["snmp"] = {{"version", version_name(packet.snmp->version)},
                      {"pdu", packet.snmp->pdu == 0 ? "" : peer::snmp_pdu_name(packet.snmp->pdu)},
                      {"request_id", packet.snmp->request_id},
                      {"error_status", packet.snmp->error_status}};
  object["problems"] = nlohmann::ordered_json::array();
  for (const peer::problem &each : packet.problems)
    object["problems"].push_back(
        {{"name", each.name}, {"error", each.weight == peer::problem::weight::error}, {"text", each.text}});
  print(object);
}

}  // namespace

void show_packet(const peer::reading &packet, const peer::sighting *seen, uint16_t port, double since) {
  if (output().json)
    show_json(packet, seen, port);
  else if (!output().quiet)
    show_text(packet, seen, since);
}

}  // namespace zolt
