// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include "peer/bytes.h"

namespace peer {

// What stands at the head of an SNMP message. A message of version 3 may be enciphered: it has no PDU here.
struct snmp_head {
  int64_t version = 0;       // as on the wire: 0, 1 or 3 for SNMPv1, v2c and v3
  int64_t request_id = 0;    // of version 3, the msgID
  uint8_t pdu = 0;           // the tag of the PDU, a0 and on; 0 when it is not to be seen
  int64_t error_status = 0;  // of a response
};

// None when the bytes are no SNMP message that has a request-id.
std::optional<snmp_head> read_snmp(byte_view message);

// "get-request", "response"; empty for a tag that is none.
std::string_view snmp_pdu_name(uint8_t pdu);

// "noSuchName"; empty for a number that has no name.
std::string_view snmp_error_name(int64_t error_status);

// The error by which an agent says that it failed, and not that the request was not to its liking: genErr,
// resourceUnavailable, commitFailed or undoFailed. 0 when the reply says nothing of the kind.
int64_t snmp_agent_failure(byte_view reply);

// The number by which an SNMP reply names its request: the request-id of versions 1 and 2c, the msgID of
// version 3. None when the bytes are no SNMP message that has one.
std::optional<int64_t> snmp_request_id(byte_view message);

// False when both are SNMP and their numbers differ. What cannot be read is trusted to come in order.
bool answers_snmp(byte_view request, byte_view reply);

}  // namespace peer
