/* SPDX-License-Identifier: MIT
 *
 * The primitives against known answers: published ones where there are any, else computed by an
 * independent program.
 */
#include <libsec/crypto.h>
#include <stdlib.h>
#include <string.h>

#include "hex.h"
#include "host.h"

/* A text of no particular meaning, the same on every machine. */
static void fill(uint8_t *bytes, unsigned length) {
  unsigned i;
  for (i = 0; i < length; i++) bytes[i] = (uint8_t)(i * i + 5 * i + 1);
}

static void check_sha256(void) {
  void (*digest_of)(const uint8_t *, uint32_t, uint8_t *) =
      (void (*)(const uint8_t *, uint32_t, uint8_t *))library_function("sha256");
  void (*digest_of_file)(FILE *, uint8_t *) = (void (*)(FILE *, uint8_t *))library_function("sha256_file");
  static const char abc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  static const char long_text[] = "aba915179c8a9ddd26cd6620b975ba35d4ebb7665192e5f85b7b3ce13bf9fbba";
  uint8_t text[1 + 300], digest[32];
  FILE *stream = tmpfile();

  digest_of((const uint8_t *)"abc", 3, digest);
  expect(equals_hex(digest, 32, abc), "SHA-256 of abc");
  /* At an odd address: the device faults on unaligned words. */
  fill(text + 1, 300);
  digest_of(text + 1, 300, digest);
  expect(equals_hex(digest, 32, long_text), "SHA-256 of 300 bytes");

  if (!stream) {
    expect(0, "a temporary file can be made");
    return;
  }
  expect(fwrite(text + 1, 1, 300, stream) == 300, "the temporary file can be written");
  rewind(stream);
  digest_of_file(stream, digest);
  fclose(stream);
  expect(equals_hex(digest, 32, long_text), "SHA-256 of a file of 300 bytes");
}

static void check_crc(void) {
  uint32_t (*crc)(const uint8_t *, int32_t) = (uint32_t(*)(const uint8_t *, int32_t))library_function("crc16_ccitt");
  expect(crc((const uint8_t *)"123456789", 9) == 0x31c3, "CRC-16/XMODEM check value");
  expect(crc((const uint8_t *)"", 0) == 0, "CRC-16 of nothing");
}

typedef void cipher(const uint8_t *, uint8_t *, uint32_t, const uint8_t *, uint32_t, uint32_t);

static void check_xtea(void) {
  cipher *encrypt_buffer = (cipher *)library_function("encrypt");
  cipher *decrypt_buffer = (cipher *)library_function("decrypt");
  static const char ciphered[] =
      "180ceabfc22ab484d854ac77fb0274b0a239dae7e37598181badc127843f7d3075154634942ecb0545ef57f9d5f04b7f"
      "3d5b9bd80302bced6c561861f366c0ba744a6e6445e6a614e1d6b5a54685d91b";
  uint8_t key[1 + 128], text[1 + 80], original[80];
  unsigned i;

  for (i = 0; i < 16; i++) key[i] = (uint8_t)i;
  encrypt_buffer((const uint8_t *)"ABCDEFGH", text, 8, key, 16, 32);
  expect(equals_hex(text, 8, "497df3d072612cb5"), "XTEA, published vector");

  for (i = 0; i < 128; i++) key[1 + i] = (uint8_t)(7 * i + 3);
  fill(text + 1, 80);
  memcpy(original, text + 1, 80);
  encrypt_buffer(text + 1, text + 1, 80, key + 1, 128, 32);
  expect(equals_hex(text + 1, 80, ciphered), "XTEA of ten blocks under a long key");
  decrypt_buffer(text + 1, text + 1, 80, key + 1, 128, 32);
  expect(memcmp(text + 1, original, 80) == 0, "XTEA back again");
}

static void check_random(void) {
  void (*init)(havege_context *) = (void (*)(havege_context *))library_function("havege_init");
  int32_t (*draw)(havege_context *) = (int32_t(*)(havege_context *))library_function("havege_rand");
  havege_context *state = malloc(sizeof *state);
  int32_t first, second, third;
  if (!state) {
    expect(0, "memory for the generator");
    return;
  }
  init(state);
  expect(state->read_index[0] == 0 && state->read_index[1] == 512, "the generator starts at words 0 and 512");
  first = draw(state);
  second = draw(state);
  third = draw(state);
  expect(first != second || second != third, "the generator draws different words");
  free(state);
}

static void check_clocks(void) {
  uint32_t (*clock_now)(void) = (uint32_t(*)(void))library_function("hardclock");
  uint32_t (*timer_read)(timer_state *, int32_t) = (uint32_t(*)(timer_state *, int32_t))library_function("get_timer");
  /* Guards on both sides: some systems' time value is larger than the timer record. */
  struct {
    uint32_t before;
    timer_state timer;
    uint32_t after;
  } guarded = {0x5a5a5a5a, {0, 0}, 0xa5a5a5a5};
  uint32_t then;
  timer_read(&guarded.timer, 1);
  expect(timer_read(&guarded.timer, 0) < 60000, "a timer that was just reset reads little");
  expect(guarded.before == 0x5a5a5a5a && guarded.after == 0xa5a5a5a5, "a timer record is eight bytes");
  then = clock_now();
  expect(clock_now() - then < 60000000u, "the microsecond clock runs forward");
}

void check_crypto_vectors(void) {
  check_sha256();
  check_crc();
  check_xtea();
  check_random();
  check_clocks();
  puts("primitives: SHA-256, CRC-16, XTEA, generator, clocks");
}
