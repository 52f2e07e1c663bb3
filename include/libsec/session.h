/* SPDX-License-Identifier: MIT
 *
 * Sessions: one live session at a time, its states and time limits, the key file and the
 * Diffie-Hellman private exponent.
 */
#ifndef LIBSEC_SESSION_H
#define LIBSEC_SESSION_H

#include "abi.h"
#include "num.h"
#include "timer.h"

LIBSEC_BEGIN

enum { SESSION_KEY_BYTES = 128 };

/* States of the live session, with the milliseconds since the WAKE was answered after which
 * it counts as elapsed. Traffic does not extend a session. */
enum {
  SESSION_DORMANT = 0,
  SESSION_WAKE_ADMITTED = 1, /* 0 ms: elapsed once a whole millisecond has passed */
  SESSION_WRSP_SENT = 2,     /* 10000 ms */
  SESSION_LGIN_ACCEPTED = 3, /* 0 ms */
  SESSION_LOGGED_IN = 4,     /* 180000 ms */
  SESSION_DATA_FLOWING = 5,  /* 180000 ms */
  SESSION_LOUT_ACCEPTED = 6, /* 0 ms */
};

/* Kinds of received packets: the value that session_get() stores in `state` and the index
 * into the dispatch table. The same numbers as the states that they lead to. */
enum {
  PACKET_WAKE = 1,
  PACKET_LGIN = 3,
  PACKET_ENCR = 5,
  PACKET_LOUT = 6,
  PACKET_OTHER = 8, /* anything else; only while full_encryption is 0 */
};

typedef struct security_session {
  num p;     /* Diffie-Hellman prime, from the WAKE */
  num g;     /* generator: 4 */
  num x;     /* private exponent of this side; secret */
  num gx;    /* g^x mod p, public */
  num yb;    /* public value of the peer */
  num k;     /* yb^x mod p; secret */
  num rr_p;  /* cached Montgomery constant of p */
  num rsa_n; /* key that verifies WAKE signatures */
  num rsa_e;
  num rsa_s;                      /* signature, then signature^e mod n */
  num rr_n;                       /* cached Montgomery constant of rsa_n */
  timer_state timer;              /* reset when the WAKE is answered */
  uint32_t timer_start;           /* result of that reset; kept, not read */
  uint8_t key[SESSION_KEY_BYTES]; /* k, big-endian: the cipher key; secret */
  uint8_t key_length;             /* low 8 bits of key_yb_length; kept, not read */
  uint32_t state;                 /* live: session state; scratch: packet kind */
  uint32_t session_id;            /* chosen by the peer in its WAKE */
  uint32_t ip_address_length;     /* the four lengths as received, in bytes */
  uint16_t key_p_length;
  uint16_t key_yb_length;
  uint16_t rsa_length;
  uint8_t rsa_block[128]; /* signature^e mod n, big-endian */
  uint8_t admission_mark; /* cleared when a WAKE is admitted; see session_exists() */
} security_session;

/* The live session, and the scratch record that every packet but WAKE is parsed into until
 * session_swap() has matched it. Numbers start as zeros of sign +1, all else as zero. */
LIBSEC_DATA extern security_session security_sessions;
LIBSEC_DATA extern security_session security_session_tmp;

/* Exported for hosts that look it up; the library neither reads nor writes it. */
LIBSEC_DATA extern security_session *session_ptr;

/* 1 once a key file was read: every reply is enciphered and unknown packets are refused.
 * 0 until then: the library passes plain packets through. */
LIBSEC_DATA extern uint32_t full_encryption;

/* session_init reads the key file "./publickeys.dat" into the live session, sets the generator
 * and sets full_encryption to 1. `options` is not used. Lines "PublicKeyN=" with 256 hex digits
 * and "PublicKeyE=" with 6; other lines are skipped, a character that is no hex digit counts as
 * 0, a later line of a kind overwrites the bytes of an earlier one.
 * Result: 0; -1 when the file cannot be opened (nothing changes) or memory runs out (no key is
 * loaded then). A line with 258 or more characters after its eleventh ends the reading: 0, with
 * nothing loaded and full_encryption unchanged. */
LIBSEC_FUNCTION int32_t session_init(int32_t options);

/* session_generate_random draws a new private exponent of (low 16 bits of) `length` random bytes
 * into session->x; session->p must be set. Result: that of num_read_binary(), or -1 for lengths
 * above 255. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t session_generate_random(security_session *session, uint32_t length);

/* session_elapsed returns 1 when more milliseconds than the state's limit have passed since the
 * session's timer was reset, else 0. */
LIBSEC_FUNCTION uint32_t session_elapsed(security_session *session);

/* session_get finds the record that a received packet of `length` bytes is to be parsed into, by
 * its first four bytes, stores its address in *slot and the packet's kind in its state: the live
 * record for a WAKE, when no session is running, the scratch record for all else.
 * Result: 0, or -1 when the packet is to be refused. Prints "The packet wasn't recognised" and
 * "timeout". */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t session_get(security_session **slot, const uint8_t *packet, int32_t length);

/* session_swap replaces the parsed scratch record in *slot by the live session, when the packet's
 * session identifier and kind fit that session's identifier, state and age.
 * Result: 0, or -1 with *slot unchanged. Prints the reason, except for a foreign identifier. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t session_swap(security_session **slot);

/* session_exists returns 1 when `session` differs from the live session in its admission mark,
 * carries its identifier and the live session has not elapsed; else 0. Deliberate: the WAKE
 * handler asks it about the live session itself, so there it never fires. */
LIBSEC_FUNCTION uint32_t session_exists(security_session *session);

LIBSEC_END

#endif
