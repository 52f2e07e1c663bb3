/* SPDX-License-Identifier: MIT
 *
 * Loads libsec by path as the agent does, serves port 161 on one thread and plays the golden session
 * against it on another, twice: every packet of the device but the random public value in its WRSP is
 * compared byte by byte, on every machine with the same bytes. On the way it measures what the device
 * has to pay: the deepest stack of each entry point, and the heap before and after a session.
 *
 *     replay LIBRARY      (in a folder that may be written to; port 161 must be free)
 */
#include <arpa/inet.h>
#include <dlfcn.h>
#include <libsec/zolt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "../vectors/golden_session.h"
#include "heap.h"
#include "hex.h"
#include "painted_stack.h"

enum { budget_stack = 96 * 1024, hex_room = 1024 };

typedef void any_function(void);
typedef int32_t list_function(num *, ...);
typedef int32_t read_function(num *, const uint8_t *, int32_t);
typedef int32_t power_function(num *, const num *, const num *, const num *, num *);

static void *library;
static zolt_context *context;
static int peer;

static void must(int ok, const char *what) {
  if (ok) return;
  printf("FAILED: %s\n", what);
  fflush(stdout);
  _exit(1);
}

static any_function *function(const char *name) {
  void *address = dlsym(library, name);
  any_function *found;
  must(address != NULL, name);
  memcpy(&found, &address, sizeof found);
  return found;
}

/* ---- The device's side: one entry point per thread ---- */

struct received {
  uint8_t *data;
  int32_t length, result;
};

static void *create_body(void *argument) {
  context = ((zolt_context * (*)(void)) function("ZOLT_create"))();
  return argument;
}

static void *receive_body(void *argument) {
  struct received *received = argument;
  received->result = ((int32_t(*)(zolt_context *, uint8_t **, int32_t *))function("ZOLT_receive"))(
      context, &received->data, &received->length);
  return argument;
}

static void *send_body(void *argument) {
  struct received *reply = argument;
  reply->result =
      ((int32_t(*)(zolt_context *, uint8_t *, int32_t))function("ZOLT_send"))(context, reply->data, reply->length);
  return argument;
}

/* ---- The peer's side ---- */

static void open_peer(void) {
  struct sockaddr_in device;
  struct timeval patience = {60, 0};
  memset(&device, 0, sizeof device);
  device.sin_family = AF_INET;
  device.sin_port = htons(161);
  device.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  peer = socket(AF_INET, SOCK_DGRAM, 0);
  must(peer >= 0 && connect(peer, (struct sockaddr *)&device, sizeof device) == 0, "a socket for the peer");
  setsockopt(peer, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

static void to_device(const char *hex) {
  uint8_t packet[hex_room];
  const size_t length = strlen(hex) / 2;
  bytes_of_hex(hex, packet);
  must(send(peer, packet, length, 0) == (ssize_t)length, "the peer can send");
}

static void from_device(const char *hex, const char *what) {
  uint8_t packet[hex_room];
  const ssize_t length = recv(peer, packet, sizeof packet, 0);
  must(length >= 0 && equals_hex(packet, (size_t)length, hex), what);
}

static num number(const uint8_t *bytes, int32_t length) {
  num value;
  ((list_function *)function("num_init"))(&value, (num *)NULL);
  must(((read_function *)function("num_read_binary"))(&value, bytes, length) == 0, "num_read_binary");
  return value;
}

/* The peer's half of the key exchange: the key must be dh_gx^y mod p, and dh_gx = 4^x mod p. */
static void check_key(const uint8_t *dh_gx) {
  security_session *session = dlsym(library, "security_sessions");
  int32_t (*write_binary)(const num *, uint8_t *, int32_t) =
      (int32_t(*)(const num *, uint8_t *, int32_t))function("num_write_binary");
  power_function *power = (power_function *)function("num_exp_mod");
  uint8_t prime_bytes[128], secret_bytes[128], expected[128];
  const uint8_t four = 4;
  num prime, secret, gx, generator, key;
  bytes_of_hex(golden_prime, prime_bytes);
  bytes_of_hex(golden_peer_secret, secret_bytes);
  prime = number(prime_bytes, 128), secret = number(secret_bytes, 128), gx = number(dh_gx, 128);
  generator = number(&four, 1), key = number(&four, 1);

  must(power(&key, &gx, &secret, &prime, NULL) == 0 && write_binary(&key, expected, 128) == 0, "dh_gx^y");
  must(memcmp(session->key, expected, 128) == 0, "the device's key is the peer's");
  must(power(&key, &generator, &session->x, &prime, NULL) == 0 && write_binary(&key, expected, 128) == 0, "4^x");
  must(memcmp(dh_gx, expected, 128) == 0, "dh_gx is 4^x");
  ((list_function *)function("num_free"))(&prime, &secret, &gx, &generator, &key, (num *)NULL);
}

/* From WAKE to the request; the host has it when this returns. */
static void open_session(void) {
  security_session *session = dlsym(library, "security_sessions");
  uint8_t packet[hex_room];
  ssize_t length;
  to_device(golden_wake);
  length = recv(peer, packet, sizeof packet, 0);
  must(length == 144 && equals_hex(packet, 16, golden_wrsp_head), "WRSP");
  check_key(packet + 16);

  /* From here on the session's bytes are the same every time. */
  bytes_of_hex(golden_key, session->key);
  to_device(golden_lgin);
  from_device(golden_ack1, "ACK1");
  to_device(golden_encr_request);
}

static size_t answer(struct received *received) {
  struct painted_stack stack;
  struct received reply;
  uint8_t text[hex_room];
  size_t used;
  must(received->result == 0 && equals_hex(received->data, (size_t)received->length, golden_request), "the request");
  bytes_of_hex(golden_reply, text);
  reply.data = text, reply.length = (int32_t)(strlen(golden_reply) / 2), reply.result = -1;
  painted_start(&stack, send_body, &reply);
  used = painted_end(&stack);
  must(reply.result == 0, "ZOLT_send");
  from_device(golden_encr_reply, "the enciphered reply");
  return used;
}

static void write_key_file(void) {
  FILE *file = fopen("publickeys.dat", "w");
  must(file != NULL, "publickeys.dat can be written");
  fprintf(file, "PublicKeyN=%s\nPublicKeyE=010001\n", golden_modulus);
  fclose(file);
}

static void show_stack(const char *entry_point, size_t used) {
  printf("stack: %s %lu of %d bytes\n", entry_point, (unsigned long)used, budget_stack);
  must(used <= budget_stack, "the stack is within its budget");
}

int main(int argc, char **argv) {
  struct painted_stack stack;
  struct received received = {NULL, 0, -1};
  size_t created, sent, first, second, before, after[2];
  int round;
  must(argc == 2, "usage: replay LIBRARY");
  library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  must(library != NULL, "the library can be loaded");
  write_key_file();
  before = heap_live();
  painted_start(&stack, create_body, NULL);
  created = painted_end(&stack);
  must(context != NULL, "ZOLT_create");
  printf("heap: ZOLT_create keeps %lu bytes\n", (unsigned long)(heap_live() - before));
  open_peer();

  painted_start(&stack, receive_body, &received);
  open_session();
  first = painted_end(&stack); /* WAKE, LGIN and ENCR */
  sent = answer(&received);
  for (round = 0; round < 2; round++) {
    painted_start(&stack, receive_body, &received);
    to_device(golden_lout);
    from_device(golden_ack2, "ACK2");
    usleep(100000); /* until the thread waits again, and allocates nothing */
    after[round] = heap_live();
    open_session();
    second = painted_end(&stack); /* LOUT, and the next session */
    if (second > first) first = second;
    answer(&received);
  }
  show_stack("ZOLT_create", created);
  show_stack("ZOLT_receive", first);
  show_stack("ZOLT_send", sent);
  printf("heap: %lu bytes after the first session, %lu after the second, %lu at most\n", (unsigned long)after[0],
         (unsigned long)after[1], (unsigned long)heap_peak());
  must(after[0] == after[1], "a session leaves the heap as the one before did");
  puts("replay: ok");
  return 0;
}
