/* SPDX-License-Identifier: MIT
 *
 * Every block that the library gives back to the heap is all zero: limbs that were replaced or released, the
 * memory that operations work in, and the context; also when an allocation fails on the way. The program
 * is linked with the library's objects as each level of optimisation makes them, for a compiler that sees
 * that nobody reads zeros any more may leave them out.
 *
 *     wiped_heap [STEP]   (in a folder that may be written to; every STEP-th allocation fails in turn)
 */
#include <libsec/packet.h>
#include <libsec/zolt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "../abi/hex.h"
#include "../vectors/golden_session.h"
#include "watched_heap.h"

#define END ((num *)NULL)

static int codes; /* all results, so that none is dropped: failures are meant to happen */

static void must(int ok, const char *what) {
  if (ok) return;
  printf("FAILED: %s\n", what);
  exit(1);
}

static num number(const char *hex) {
  uint8_t bytes[256];
  num X;
  num_init(&X, END);
  bytes_of_hex(hex, bytes);
  codes |= num_read_binary(&X, bytes, (int32_t)(strlen(hex) / 2));
  return X;
}

/* Every operation that allocates, with destinations that are new, and that have to grow. */
static void calculate(void) {
  num N = number(golden_prime), A = number(golden_modulus), E = number(golden_peer_secret), B = number("80000001ffff");
  num M = number("f000000000000000000000000000000000000001"), X, Y, RR, RM;
  num_init(&X, &Y, &RR, &RM, END);
  codes |= num_lset(&X, -5) | num_copy(&Y, &B) | num_copy(&X, &A) | num_grow(&Y, 40);
  codes |= num_shift_l(&B, 100) | num_shift_r(&B, 3);
  codes |= num_add_abs(&X, &A, &B) | num_sub_abs(&X, &A, &B) | num_sub_abs(&B, &A, &B);
  codes |= num_add_num(&X, &A, &E) | num_sub_num(&X, &B, &A) | num_mul_num(&X, &A, &E) | num_mul_num(&A, &A, &B);
  codes |= num_mul_int(&Y, &A, 77777) | num_div_num(&X, &Y, &A, &N) | num_div_num(&A, &B, &A, &B);
  codes |= num_mod_num(&Y, &X, &M);
  if (N.limb_count == 32 && E.limb_count == 32 && M.limb_count == 5) {
    codes |= num_exp_mod(&X, &E, &E, &N, &RR) | num_exp_mod(&X, &X, &B, &N, &RR) | num_exp_mod(&Y, &E, &M, &N, NULL);
    codes |= num_exp_mod(&X, &E, &E, &M, &RM) | num_exp_mod(&Y, &X, &B, &M, NULL);
  }
  codes |= num_cmp_int(&X, 7) | num_cmp_num(&X, &Y);
  num_free(&N, &A, &E, &B, &M, &X, &Y, &RR, &RM, END);
}

/* The key file is read unwatched: the C library's stream leaves its text behind, which is public. */
static void load_key(void) {
  codes |= packet_process_init(NULL, 0);
}

/* Two WAKEs of which the second replaces what the first has left, and the context's end. */
static void serve(void) {
  security_session *s = &security_sessions;
  zolt_context *context = calloc(1, sizeof *context);
  int i;
  if (context == NULL) return;
  context->tcp_listen_socket = context->udp_socket = context->tcp_client_socket = -1;
  for (i = 0; i < 2; i++) {
    s->state = SESSION_DORMANT;
    bytes_of_hex(golden_wake, context->packet);
    memset(context->receive_chunk, 0x77, sizeof context->receive_chunk);
    context->data_length = (int32_t)(strlen(golden_wake) / 2);
    codes |= packet_process(context); /* its answer finds no socket */
  }
  codes |= ZOLT_destroy(context);
  num_free(&s->p, &s->g, &s->x, &s->gx, &s->yb, &s->k, &s->rr_p, &s->rsa_n, &s->rsa_e, &s->rsa_s, &s->rr_n, END);
}

static void write_key_file(void) {
  FILE *file = fopen("publickeys.dat", "w");
  must(file != NULL, "publickeys.dat can be written");
  fprintf(file, "PublicKeyN=%s\nPublicKeyE=010001\n", golden_modulus);
  fclose(file);
}

static void nothing(void) {}

/* Once without a failure, then with every step-th allocation failing. */
static void expect_clean(const char *name, void (*before)(void), void (*code)(void), int step) {
  int failing, asked = 0, freed = 0, runs = 0;
  for (failing = -1; failing < asked; failing += failing < 0 ? 1 : step, runs++) {
    before();
    watch_heap(failing);
    code();
    stop_watching();
    if (blocks_dirty != 0) printf("%s, allocation %d failing: %d blocks freed dirty\n", name, failing, blocks_dirty);
    must(blocks_dirty == 0, "every freed block is all zero");
    freed += blocks_freed;
    if (failing < 0) must(blocks_freed > 20, "the library frees blocks");
    if (failing < 0) asked = blocks_asked;
  }
  printf("%s: %d blocks freed in %d runs, all zero\n", name, freed, runs);
}

int main(int argc, char **argv) {
  const int step = argc > 1 ? atoi(argv[1]) : 1;
  uint8_t *dirty;
  must(step > 0, "STEP is a positive number");
  /* The heap itself: it does see what is not zero. */
  watch_heap(-1);
  dirty = malloc(3);
  must(dirty != NULL, "memory");
  dirty[0] = dirty[1] = 0, dirty[2] = 1;
  free(dirty);
  stop_watching();
  must(blocks_dirty == 1, "a block that is not wiped is seen");

  write_key_file();
  expect_clean("numbers", nothing, calculate, step);
  expect_clean("two WAKEs", load_key, serve, step);
  return 0;
}
