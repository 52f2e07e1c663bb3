// SPDX-License-Identifier: MIT
#pragma once

#include <netinet/in.h>

#include "peer/transport.h"

namespace peer {

// The IPv4 address and port of a device. An address in digits is taken as it is; a name is looked up, until
// the deadline or until `stop` is readable. A failure has the codes of transport::connect().
result<sockaddr_in> resolve(const endpoint &where, clock::time_point deadline, int stop);

}  // namespace peer
