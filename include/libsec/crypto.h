/* SPDX-License-Identifier: MIT
 *
 * Primitives: XTEA and the encryption of buffers with it, SHA-256, CRC-16, and the HAVEGE random
 * generator. None of them reports an error.
 *
 * Time: XTEA, SHA-256 and CRC-16 have no branch and no address that depends on the bytes of their
 * message or key; their time tells lengths and counts of rounds. Not constant-time are encrypt() and
 * decrypt() in one point, for they leave out writing schedule tables that hold the key already, so
 * that the time tells whether a key is the one used last; and HAVEGE altogether, which is branches and
 * addresses that depend on its secret state by design.
 *
 * Some C libraries, musl among them, declare another `encrypt` in <unistd.h>. A program that needs
 * that header beside this one renames theirs:
 *
 *     #define encrypt encrypt_of_unistd
 *     #include <unistd.h>
 *     #undef encrypt
 */
#ifndef LIBSEC_CRYPTO_H
#define LIBSEC_CRYPTO_H

#include <stdio.h>

#include "abi.h"
#include "timer.h"

LIBSEC_BEGIN

/* ---- XTEA (Needham and Wheeler, Tea extensions, 1997): 64-bit block, 128-bit key ----
 *
 * A long key of N words is used four words at a time: block k is plain XTEA under the words
 * (4 * k) mod N and the three that follow. Blocks are independent: there is no chaining and
 * no initialisation vector, so equal blocks N / 4 positions apart encipher alike. */

enum {
  XTEA_BLOCK_BYTES = 8,
  XTEA_MAX_ROUNDS = 32,   /* cycles, each of two Feistel rounds */
  XTEA_MAX_KEY_WORDS = 32 /* 128 bytes */
};

/* The key schedules of the last block, for `rounds` cycles each: the words added in the first
 * and second half of a cycle when enciphering and when deciphering. Zero at load. They are for
 * encipher() and decipher(); encrypt() and decrypt() leave them as the last block would, but do
 * not depend on what they hold. A host should not write into them: encrypt() and decrypt() skip
 * tables that hold the right schedule already, and see by one word of each whether they do. */
LIBSEC_DATA extern uint32_t key_encode_phase1[XTEA_MAX_ROUNDS];
LIBSEC_DATA extern uint32_t key_encode_phase2[XTEA_MAX_ROUNDS];
LIBSEC_DATA extern uint32_t key_decode_phase1[XTEA_MAX_ROUNDS];
LIBSEC_DATA extern uint32_t key_decode_phase2[XTEA_MAX_ROUNDS];

/* init_key reads key_length / 4 big-endian words from `key_bytes` into `key_words`, which the
 * caller provides; a remainder of key_length modulo 4 is ignored. */
LIBSEC_FUNCTION void init_key(const uint8_t *key_bytes, uint32_t key_length, uint32_t *key_words);

/* init_encode_decode fills all four schedule tables for `rounds` cycles (at most 32; more is
 * treated as 32) from key_words[offset] to key_words[offset + 3]. Only the low byte of `offset`
 * is used. With rounds 0 nothing is written. */
LIBSEC_FUNCTION void init_encode_decode(uint32_t offset, uint32_t rounds, const uint32_t *key_words);

/* encipher transforms block[0] (left) and block[1] (right) in place under the schedule tables.
 * Only the low byte of `rounds` is used, and at most 32 cycles are run. */
LIBSEC_FUNCTION void encipher(uint32_t rounds, uint32_t *block);

/* decipher is the inverse of encipher(). */
LIBSEC_FUNCTION void decipher(uint32_t rounds, uint32_t *block);

/* encrypt enciphers `length` bytes, rounded up to whole blocks, from `input` to `output`, which
 * may be the same buffer but must not overlap otherwise. Both must have room for the rounded
 * length; the bytes beyond `length` enter the last block as they are. `key` has `key_length`
 * bytes: at least 4, at most 128 (fewer than 4 leave the output untouched; the words beyond the
 * 128th byte are not used; words that a slice would take from behind a shorter key are zero). Only
 * the low byte of `rounds` is used, and at most 32 cycles are run; with 0 the blocks are copied.
 * The schedule tables are left as the last block had them; with no block they are not touched. */
LIBSEC_FUNCTION void encrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key,
                             uint32_t key_length, uint32_t rounds);

/* decrypt is the inverse of encrypt(), with the same arguments. */
LIBSEC_FUNCTION void decrypt(const uint8_t *input, uint8_t *output, uint32_t length, const uint8_t *key,
                             uint32_t key_length, uint32_t rounds);

/* ---- SHA-256 (FIPS 180-2) ----
 *
 * The bit length is counted modulo 2^32: messages of 512 MiB and more get a wrong length
 * field. Deliberate, and far above anything that is signed here. */

enum { SHA256_BLOCK_BYTES = 64, SHA256_DIGEST_BYTES = 32 };

typedef struct sha256_context {
  uint32_t state[8];       /* running hash H0..H7 */
  uint32_t bit_count_low;  /* message length in bits, low word */
  uint32_t bit_count_high; /* always 0 */
  uint32_t block_count;    /* whole blocks */
  uint32_t tail_length;    /* bytes behind the whole blocks, 0..63 */
  uint8_t buffer[SHA256_BLOCK_BYTES];
} sha256_context;

/* sha256_init loads the initial hash and clears the counts; the buffer is left alone. */
LIBSEC_FUNCTION void sha256_init(sha256_context *context);

/* sha256_process compresses one block of 64 bytes into the state. It counts nothing. */
LIBSEC_FUNCTION void sha256_process(sha256_context *context, const uint8_t *block);

/* sha256 writes the 32-byte digest of `length` bytes at `data`, which may be null when length
 * is 0. */
LIBSEC_FUNCTION void sha256(const uint8_t *data, uint32_t length, uint8_t *digest);

/* sha256_file writes the 32-byte digest of all that can still be read from `stream`. The stream
 * stays the caller's and stays open; a read error ends the input as the end of the file does. */
LIBSEC_FUNCTION void sha256_file(FILE *stream, uint8_t *digest);

/* ---- CRC-16/XMODEM: polynomial 0x1021, initial value 0, not reflected ---- */

/* crc16_ccitt returns the CRC of `length` bytes in its low 16 bits; the upper 16 are zero.
 * A length of zero or less gives 0 and reads nothing. */
LIBSEC_FUNCTION uint32_t crc16_ccitt(const uint8_t *data, int32_t length);

/* ---- HAVEGE (Seznec and Sendrier, HAVEGE: a user-level software heuristic for generating
 * empirically strong random numbers, 2003) ----
 *
 * Entropy is gathered from the timing of a long, branchy, memory-walking computation; where the
 * kernel has randomness to give, that is folded in, so the output is never weaker than the
 * kernel's. Not reproducible. One gathering takes 4096 bytes from the kernel and reads the clock
 * 512 times, which are system calls where the C library has no cheaper way. */

enum { HAVEGE_POOL_WORDS = 1024, HAVEGE_WALK_WORDS = 8192 };

typedef struct havege_context {
  int32_t walk_pointer_1;
  int32_t walk_pointer_2;
  int32_t read_index[2]; /* the next two pool words to be combined */
  int32_t pool[HAVEGE_POOL_WORDS];
  int32_t walk_table[HAVEGE_WALK_WORDS];
} havege_context;

/* havege_init clears the state and gathers once. The record (about 37 KB) is the caller's, who
 * wipes it after use. */
LIBSEC_FUNCTION void havege_init(havege_context *state);

/* havege_rand returns one random word, and gathers again after every 512 of them. */
LIBSEC_FUNCTION int32_t havege_rand(havege_context *state);

LIBSEC_END

#endif
