/* SPDX-License-Identifier: MIT
 *
 * The packet codec and the protocol engine.
 *
 * A packet is described by a layout, an array of field rows that ends with an all-zero row. The
 * parser walks a layout over a received packet, the generator over an outgoing one; all knowledge
 * of a field is in its row and its handlers. All integers are big-endian and unsigned.
 */
#ifndef LIBSEC_PACKET_H
#define LIBSEC_PACKET_H

#include "abi.h"
#include "context.h"

LIBSEC_BEGIN

/* A field handler gets the packet's context, the field's offset in bytes, the row's length (which
 * it may overwrite), the row's text, and a pointer: set and compare handlers to the field's first
 * byte, get handlers to the start of the packet, where they write at `offset`.
 * set and compare return 0 to accept and -1 to reject; get returns the bytes that the field
 * occupies. */
typedef int32_t packet_field_handler(zolt_context *context, uint32_t offset, uint32_t *length, const uint8_t *text,
                                     uint8_t *field);

/* One row of a layout. The row without set handler in a received layout, without get handler in a
 * generated one, is the packet's length. */
typedef struct packet_field {
  const char *name;    /* null ends the layout */
  uint32_t offset;     /* generated layouts only; the parser computes its offsets */
  uint32_t length;     /* in bytes; 0 when a handler fills it in */
  const uint8_t *text; /* fixed content, or null */
  packet_field_handler *set;
  packet_field_handler *get;
  packet_field_handler *compare; /* runs after set has accepted */
} packet_field;

/* A layout: the first of its rows. Handlers write into rows, so both walkers take a copy that may
 * be written. */
typedef packet_field packet_layout;

/* A packet handler of the dispatch table. Result: 0 or -1. */
typedef int32_t packet_handler(zolt_context *context);

/* packet_parse checks the received packet (`packet`, data_length bytes) row by row.
 * Result: 0 when every row was accepted, else -1. Bytes behind the last row are accepted. Prints
 * "packet length error" with the two lengths, or "offset is too big for data". */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t packet_parse(zolt_context *context, packet_layout *layout);

/* packet_generate builds a packet in `packet`, in the order of the rows, and leaves its length in
 * data_length and its address in `data`. Always 0. The handlers are trusted to stay inside. */
LIBSEC_FUNCTION int32_t packet_generate(zolt_context *context, packet_layout *layout);

/* packet_process_init starts the session layer: session_init(options), whose result is ignored, so
 * that a missing key file does not stop the plug-in. Always 0. */
LIBSEC_FUNCTION int32_t packet_process_init(zolt_context *context, int32_t options);

/* packet_process handles the received packet. Result: 0 when `data` and data_length are for the
 * host; -1 when it was consumed (packet_failed 0) or refused (packet_failed 1). */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t packet_process(zolt_context *context);

/* packet_process_encr_send wraps data_length bytes at `data` in an ENCR packet of the live session
 * and sends it. The bytes may lie inside `packet`. Result: 0, or -1 when it could not be sent, does
 * not fit a packet, or no session was ever keyed; prints
 * "There was a problem sending the ENCR packet" then. */
LIBSEC_CHECKED LIBSEC_FUNCTION int32_t packet_process_encr_send(zolt_context *context);

/* ---- Handlers of received fields. `text`, `length` as the layout has them. ---- */

LIBSEC_FUNCTION packet_field_handler set_sig;     /* signature: equals the text */
LIBSEC_FUNCTION packet_field_handler set_ver;     /* 16 bits: 256; kept in the context */
LIBSEC_FUNCTION packet_field_handler set_blk;     /* 32 bits: 64 */
LIBSEC_FUNCTION packet_field_handler set_ski;     /* anything */
LIBSEC_FUNCTION packet_field_handler set_ses;     /* 32 bits: kept in the session */
LIBSEC_FUNCTION packet_field_handler set_ip_len;  /* 16 bits: 4; kept even when refused, as all lengths */
LIBSEC_FUNCTION packet_field_handler set_ip_add;  /* anything, ip_address_length bytes */
LIBSEC_FUNCTION packet_field_handler set_p_len;   /* 16 bits: 128 */
LIBSEC_FUNCTION packet_field_handler set_p;       /* the prime; draws the private exponent too */
LIBSEC_FUNCTION packet_field_handler set_yb_len;  /* 16 bits: 128 */
LIBSEC_FUNCTION packet_field_handler set_yb;      /* the peer's public value */
LIBSEC_FUNCTION packet_field_handler set_rsa_len; /* 16 bits: 128 */

/* set_rsa verifies the signature over the packet's first offset - 2 bytes. Only the last 32 bytes of
 * signature^e mod n are compared, with the SHA-256 digest. Deliberate: the padding in front is not
 * examined. Rejects on any failure of the calculation. */
LIBSEC_FUNCTION packet_field_handler set_rsa;

/* set_pay moves the context to the live session, deciphers the rest of the packet in place, checks
 * its CRC and leaves the content in `data` and the claimed content length in data_length; bytes that
 * are claimed beyond the block read as zero. */
LIBSEC_FUNCTION packet_field_handler set_pay;

/* cmp_text_conc_session_id: the content at `data` begins with the text and the session identifier. */
LIBSEC_FUNCTION packet_field_handler cmp_text_conc_session_id;

/* ---- Handlers of generated fields. All return *length unless said otherwise. ---- */

LIBSEC_FUNCTION packet_field_handler get_sig;      /* the text */
LIBSEC_FUNCTION packet_field_handler get_ver;      /* protocol_version, 16 bits */
LIBSEC_FUNCTION packet_field_handler get_blk;      /* 64, 32 bits */
LIBSEC_FUNCTION packet_field_handler get_ses;      /* the session identifier, 32 bits */
LIBSEC_FUNCTION packet_field_handler get_key;      /* the text, unless it is null */
LIBSEC_FUNCTION packet_field_handler get_fromdata; /* the text */

/* These write an enciphered block (a CRC-16, the content length, the content, zeros up to a multiple
 * of 8, at least one) and return its length. get_payack1: content is the text, the session identifier
 * and 180, 16 bits. get_payack2: the text and the session identifier. get_pay: the text, which is the
 * host's reply; copied plainly, with its length returned, unless full_encryption or encrypt_replies is
 * 1; not written when null; 0, with nothing written, when the block would not fit the packet. */
LIBSEC_FUNCTION packet_field_handler get_payack1;
LIBSEC_FUNCTION packet_field_handler get_payack2;
LIBSEC_FUNCTION packet_field_handler get_pay;

LIBSEC_END

#endif
