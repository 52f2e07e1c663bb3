// SPDX-License-Identifier: MIT
// Descriptors, and waiting for them.
#pragma once

#include <libsec/zolt.h>

namespace libsec {

// A new socket's descriptor as the plug-in keeps it: above the standard streams, closed on exec, and
// within what select() can hold. -1 when `descriptor` is -1 or cannot be kept, with errno set; it is
// closed then.
int32_t adopt_descriptor(int32_t descriptor);

// True for a descriptor that an fd_set has room for.
bool selectable(int32_t descriptor);

// Wait for one descriptor, at most so many seconds. The result is that of select(); *ready tells whether
// the descriptor is in the set. -1 for a descriptor that is not selectable().
int32_t wait_readable(int32_t descriptor, int32_t seconds, bool *ready);
int32_t wait_writable(int32_t descriptor, int32_t seconds, bool *ready);

// Accepts a connection into tcp_client_socket (-1 on failure, with errno set). The connection that was
// accepted before, if it is still open, is closed: nothing would name it any more.
void accept_connection(zolt_context *context);

// Reads one packet from the accepted connection into `packet`, and its length into data_length; -1 there
// when the connection fails. *overflowed tells that the stream holds more than the buffer.
void gather_packet(zolt_context *context, bool *overflowed);

}  // namespace libsec
