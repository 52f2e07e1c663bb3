// SPDX-License-Identifier: MIT
// The handlers that dispatch chooses from, by the kind of the received packet.
#pragma once

#include <libsec/packet.h>

namespace libsec {

packet_handler handle_wake;
packet_handler handle_lgin;
packet_handler handle_encr;
packet_handler handle_lout;
packet_handler pass_through;

// What every handler does with a packet that its layout does not accept: says so and gives the
// connection up. Session state and descriptor stay as they are. Always -1.
int32_t refuse(zolt_context *context, const char *text);

}  // namespace libsec
