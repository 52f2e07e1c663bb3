// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "peer/bytes.h"

namespace peer {

// The number by which an SNMP reply names its request: the request-id of versions 1 and 2c, the msgID of
// version 3. None when the bytes are no SNMP message that has one.
std::optional<int64_t> snmp_request_id(byte_view message);

// False when both are SNMP and their numbers differ. What cannot be read is trusted to come in order.
bool answers_snmp(byte_view request, byte_view reply);

}  // namespace peer
