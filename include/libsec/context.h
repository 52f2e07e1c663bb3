/* SPDX-License-Identifier: MIT
 *
 * The plug-in context: everything that libsec knows about one instance in the host, but for the
 * sessions and the key file, which are module-wide. One heap record, made by ZOLT_create() and
 * released by ZOLT_destroy(). To a host it is opaque; the packet functions work on it.
 */
#ifndef LIBSEC_CONTEXT_H
#define LIBSEC_CONTEXT_H

#include "abi.h"
#include "session.h"

LIBSEC_BEGIN

enum { ZOLT_PORT = 161, ZOLT_PACKET_BYTES = 40000 };

/* An IPv4 socket address as the operating system has it; port and address in network order. */
typedef struct zolt_address {
  uint16_t family;
  uint16_t port;
  uint32_t address;
  uint8_t zero[8];
} zolt_address;

typedef struct zolt_context {
  uint32_t protocol_version; /* of the last parsed request; echoed in replies */
  uint32_t packet_failed;    /* 1 while a packet is being handled and when it was refused */
  int32_t tcp_listen_socket; /* descriptors; -1 for none */
  int32_t udp_socket;
  int32_t tcp_client_socket;                /* the connection that was accepted last */
  uint8_t tcp_session_active;               /* 1 while an accepted connection is being served */
  uint8_t transport_is_tcp;                 /* 1 when the current packet came, and its reply goes, over TCP */
  zolt_address peer_address;                /* sender of the last datagram */
  int32_t iteration_time_ms;                /* spent in the current pass of the receive loop */
  uint32_t total_receive_time_ms;           /* sum over all passes that delivered data */
  int32_t data_length;                      /* bytes received, to be sent, or in `packet` to be sent */
  uint32_t encrypt_replies;                 /* 1 once an ENCR was accepted: replies are enciphered */
  timer_state receive_timer;                /* measures a pass of the receive loop */
  uint32_t host_flags;                      /* 0; for the host */
  const char *host_name;                    /* "localhost"; for the host */
  uint32_t host_value;                      /* 20000; for the host */
  security_session *session;                /* the session that the current packet belongs to */
  uint8_t *data;                            /* payload for the host, from the host, or `packet` */
  uint8_t packet[ZOLT_PACKET_BYTES];        /* the packet received or to be sent */
  uint8_t receive_chunk[ZOLT_PACKET_BYTES]; /* what one recv() brought */
} zolt_context;

LIBSEC_END

#endif
