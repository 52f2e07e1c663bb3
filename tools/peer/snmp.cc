// SPDX-License-Identifier: MIT
#include "peer/snmp.h"

#include <iterator>

namespace peer {
namespace {

constexpr uint8_t integer = 0x02;
constexpr uint8_t octet_string = 0x04;
constexpr uint8_t sequence = 0x30;
constexpr uint8_t response = 0xa2;

// The PDUs of SNMPv1 and v2c, which start with a request-id; a4 is the old trap, which has none.
bool is_pdu(uint8_t tag) {
  return tag >= 0xa0 && tag <= 0xa8 && tag != 0xa4;
}

// One BER element after the other, each with a tag of one byte and a definite length.
class reader {
 public:
  explicit reader(byte_view from) : left_(from) {}

  struct element {
    uint8_t tag;
    byte_view content;
  };

  std::optional<element> next() {
    if (left_.size() < 2) return std::nullopt;
    uint8_t tag = left_[0];
    size_t length = left_[1];
    size_t header = 2;
    if (length >= 0x80) {
      size_t octets = length - 0x80;
      if (octets < 1 || octets > 4 || left_.size() < header + octets) return std::nullopt;
      for (length = 0; octets > 0; octets--) length = length * 256 + left_[header++];
    }
    if (left_.size() - header < length) return std::nullopt;
    element found{tag, left_.subspan(header, length)};
    left_ = left_.subspan(header + length);
    return found;
  }

  // The content of the next element, when it has the tag.
  std::optional<byte_view> next(uint8_t tag) {
    std::optional<element> found = next();
    if (!found || found->tag != tag) return std::nullopt;
    return found->content;
  }

  std::optional<int64_t> next_integer() {
    std::optional<byte_view> content = next(integer);
    if (!content || content->empty() || content->size() > 8) return std::nullopt;
    uint64_t value = (*content)[0] >= 0x80 ? ~uint64_t{0} : 0;
    for (uint8_t byte : *content) value = value << 8 | byte;
    return static_cast<int64_t>(value);
  }

 private:
  byte_view left_;
};

}  // namespace

std::optional<snmp_head> read_snmp(byte_view message) {
  std::optional<byte_view> whole = reader(message).next(sequence);
  if (!whole) return std::nullopt;
  reader fields(*whole);
  std::optional<int64_t> version = fields.next_integer();
  if (version == 3) {
    std::optional<byte_view> header = fields.next(sequence);
    std::optional<int64_t> number = header ? reader(*header).next_integer() : std::nullopt;
    if (!number) return std::nullopt;
    return snmp_head{*version, *number, 0, 0};
  }
  if ((version != 0 && version != 1) || !fields.next(octet_string)) return std::nullopt;
  std::optional<reader::element> pdu = fields.next();
  if (!pdu || !is_pdu(pdu->tag)) return std::nullopt;
  reader parts(pdu->content);
  std::optional<int64_t> number = parts.next_integer();
  if (!number) return std::nullopt;
  return snmp_head{*version, *number, pdu->tag, pdu->tag == response ? parts.next_integer().value_or(0) : 0};
}

std::string_view snmp_pdu_name(uint8_t pdu) {
  static constexpr std::string_view names[] = {"get-request",      "get-next-request", "response",    "set-request", "",
                                               "get-bulk-request", "inform-request",   "snmpV2-trap", "report"};
  return is_pdu(pdu) ? names[pdu - 0xa0] : std::string_view();
}

std::string_view snmp_error_name(int64_t error_status) {
  static constexpr std::string_view names[] = {"noError",
                                               "tooBig",
                                               "noSuchName",
                                               "badValue",
                                               "readOnly",
                                               "genErr",
                                               "noAccess",
                                               "wrongType",
                                               "wrongLength",
                                               "wrongEncoding",
                                               "wrongValue",
                                               "noCreation",
                                               "inconsistentValue",
                                               "resourceUnavailable",
                                               "commitFailed",
                                               "undoFailed",
                                               "authorizationError",
                                               "notWritable",
                                               "inconsistentName"};
  return error_status >= 0 && error_status < static_cast<int64_t>(std::size(names)) ? names[error_status]
                                                                                    : std::string_view();
}

int64_t snmp_agent_failure(byte_view reply) {
  constexpr int64_t gen_err = 5, resource_unavailable = 13, undo_failed = 15;
  std::optional<snmp_head> head = read_snmp(reply);
  if (!head) return 0;
  bool failed = head->error_status == gen_err ||
                (head->error_status >= resource_unavailable && head->error_status <= undo_failed);
  return failed ? head->error_status : 0;
}

std::optional<int64_t> snmp_request_id(byte_view message) {
  std::optional<snmp_head> head = read_snmp(message);
  if (!head) return std::nullopt;
  return head->request_id;
}

bool answers_snmp(byte_view request, byte_view reply) {
  std::optional<int64_t> asked = snmp_request_id(request);
  std::optional<int64_t> answered = snmp_request_id(reply);
  return !asked || !answered || *asked == *answered;
}

}  // namespace peer
