/* SPDX-License-Identifier: MIT
 *
 * The plug-in's entry points, which a host finds by name after dlopen(). One thread, one loop:
 *
 *     zolt_context *context = ZOLT_create();
 *     for (;;) {
 *       uint8_t *request; int32_t length;
 *       if (ZOLT_receive(context, &request, &length) == 0)
 *         ZOLT_send(context, reply, reply_length);
 *     }
 */
#ifndef LIBSEC_ZOLT_H
#define LIBSEC_ZOLT_H

#include "abi.h"
#include "context.h"

LIBSEC_BEGIN

/* Exported for hosts that look it up; the library neither reads nor writes it. The port is 161. */
LIBSEC_DATA extern uint16_t override_port;

/* ZOLT_create opens a TCP and a UDP socket on port 161 of all IPv4 addresses and reads the key
 * file "./publickeys.dat". The host owns the result until ZOLT_destroy().
 * Result: the context, or null when memory, a socket or the port could not be had. A missing key
 * file is no failure: the context then serves without protection, see full_encryption. */
LIBSEC_FUNCTION zolt_context *ZOLT_create(void);

/* ZOLT_receive serves the network until one message for the host has arrived, and stores its
 * address in *out_data and its length in bytes in *out_length. The bytes lie inside the context
 * and stay valid until the next call on it.
 * Result: 0; or -1 when nothing is delivered: with *out_data null and *out_length -1 when a read
 * brought no data, with both untouched when select() failed. Call again after either. */
LIBSEC_FUNCTION int32_t ZOLT_receive(zolt_context *context, uint8_t **out_data, int32_t *out_length);

/* ZOLT_send answers the message that was delivered last with `length` bytes at `buffer`, which is
 * only read and may lie inside the context. Enciphered replies go out on the transport that the
 * request came on and hold at most 39979 bytes; plain ones always over UDP, to the last sender.
 * Result: 0; or -1 when the reply is null, negative or too long, or could not be sent. */
LIBSEC_FUNCTION int32_t ZOLT_send(zolt_context *context, uint8_t *buffer, int32_t length);

/* ZOLT_destroy wipes and releases the context. Deliberate: no socket is closed; the descriptors
 * stay open until the process ends. Always 0. */
LIBSEC_FUNCTION int32_t ZOLT_destroy(zolt_context *context);

/* socket_tcp_destroy shuts down and closes the accepted connection and sets its field to -1;
 * tcp_session_active stays as it is. With a null context it does nothing. */
LIBSEC_FUNCTION void socket_tcp_destroy(zolt_context *context);

/* socket_send sends the packet that packet_generate() left in the context: over TCP on the accepted
 * connection when transport_is_tcp is 1 (writable within 1 s; one send(), whose partial success is
 * success), else over UDP. Result: 0 or -1. Prints "Sent %d" (TCP) or what failed. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t socket_send(zolt_context *context);

/* socket_udp_send sends data_length bytes at `data` to peer_address. Result: that of sendto(), or
 * -1 when the socket was not writable within `timeout_seconds`. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t socket_udp_send(zolt_context *context, int32_t timeout_seconds);

LIBSEC_END

#endif
