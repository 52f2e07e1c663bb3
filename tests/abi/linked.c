/* SPDX-License-Identifier: MIT
 *
 * A C99 program that includes every header and links with the installed library.
 */
#include <libsec/abi.h>
#include <libsec/context.h>
#include <libsec/crypto.h>
#include <libsec/num.h>
#include <libsec/packet.h>
#include <libsec/session.h>
#include <libsec/timer.h>
#include <libsec/zolt.h>
#include <stdio.h>

int main(void) {
  const uint32_t crc = crc16_ccitt((const uint8_t *)"123456789", 9);
  if (crc != 0x31c3 || override_port != 0 || session_ptr != NULL) {
    printf("linked: crc16_ccitt gives %x\n", (unsigned)crc);
    return 1;
  }
  socket_tcp_destroy(NULL);
  puts("linked: ok");
  return 0;
}
