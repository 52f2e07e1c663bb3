/* SPDX-License-Identifier: MIT
 *
 * The records as a C99 compiler lays them out, against the table of offsets; and the globals as the
 * loader left them.
 */
#include <libsec/crypto.h>
#include <libsec/packet.h>
#include <libsec/zolt.h>
#include <stddef.h>
#include <stdio.h>

#include "host.h"

struct row {
  const char *what;
  size_t actual, with_32_bits, with_64_bits;
};

static const struct row rows[] = {
#define RECORD(record, size32, size64) {"sizeof " #record, sizeof(record), size32, size64},
#define FIELD(record, field, offset32, size32, offset64, size64)                  \
  {"offset of " #record "." #field, offsetof(record, field), offset32, offset64}, \
      {"size of " #record "." #field, sizeof(((record *)0)->field), size32, size64},
#include "records.def"
#undef RECORD
#undef FIELD
};

static int all_zero(const void *memory, size_t length) {
  const unsigned char *bytes = memory;
  size_t i;
  for (i = 0; i < length; i++)
    if (bytes[i] != 0) return 0;
  return 1;
}

static void check_session(const char *name) {
  security_session *session = library_data(name);
  num *number;
  for (number = &session->p; number <= &session->rr_n; number++)
    expect(number->sign == 1 && number->limb_count == 0 && number->limbs == NULL, "a number starts as zero, sign +1");
  expect(all_zero(&session->timer, sizeof *session - offsetof(security_session, timer)), name);
}

void check_records(void) {
  const size_t count = sizeof rows / sizeof rows[0];
  size_t i;
  for (i = 0; i < count; i++)
    expect(rows[i].actual == (sizeof(void *) == 4 ? rows[i].with_32_bits : rows[i].with_64_bits), rows[i].what);
  printf("records: %u offsets and sizes\n", (unsigned)count);

  expect(*(uint32_t *)library_data("full_encryption") == 0, "full_encryption is 0 at load");
  expect(*(uint16_t *)library_data("override_port") == 0, "override_port is 0 at load");
  expect(*(security_session **)library_data("session_ptr") == NULL, "session_ptr is null at load");
  expect(all_zero(library_data("key_encode_phase1"), 128), "key_encode_phase1 is zero at load");
  expect(all_zero(library_data("key_encode_phase2"), 128), "key_encode_phase2 is zero at load");
  expect(all_zero(library_data("key_decode_phase1"), 128), "key_decode_phase1 is zero at load");
  expect(all_zero(library_data("key_decode_phase2"), 128), "key_decode_phase2 is zero at load");
  check_session("security_sessions");
  check_session("security_session_tmp");
}
