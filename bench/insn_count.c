/* SPDX-License-Identifier: MIT
 *
 * A plug-in for qemu-user that counts executed guest instructions between two marks, which are
 * no-ops on the machine itself:
 *
 *     lui $zero, 0xc0de   on MIPS,   movz xzr, #0xc0de   on aarch64   starts a region
 *     lui $zero, 0xc0df              movz xzr, #0xc0df                ends it
 *
 * Each region's count goes to standard error when it ends, as "region 1: 12345 instructions"; the
 * marks do not count. The numbers repeat exactly on every machine.
 *
 *     gcc -shared -fPIC -o insn_count.so insn_count.c
 *     qemu-mips -plugin ./insn_count.so -L /usr/mips-linux-gnu program
 */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

/* What is used of QEMU's plug-in interface, version 1 (qemu-plugin.h is not packaged). */
typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum qemu_plugin_cb_flags { QEMU_PLUGIN_CB_NO_REGS };
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
typedef void (*tb_trans_callback)(qemu_plugin_id_t id, struct qemu_plugin_tb *tb);
typedef void (*insn_callback)(unsigned int vcpu, void *data);

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, tb_trans_callback callback);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *tb);
struct qemu_plugin_insn *qemu_plugin_tb_get_insn(const struct qemu_plugin_tb *tb, size_t index);
const void *qemu_plugin_insn_data(const struct qemu_plugin_insn *insn);
size_t qemu_plugin_insn_size(const struct qemu_plugin_insn *insn);
void qemu_plugin_register_vcpu_insn_exec_cb(struct qemu_plugin_insn *insn, insn_callback callback,
                                            enum qemu_plugin_cb_flags flags, void *data);
void qemu_plugin_register_vcpu_insn_exec_inline(struct qemu_plugin_insn *insn, enum qemu_plugin_op op, void *counter,
                                                uint64_t addend);

#define EXPORT __attribute__((visibility("default")))

EXPORT int qemu_plugin_version = 1;

static uint64_t executed;
static uint64_t region_start;
static unsigned int region_number;
static int within_region;

static void start_region(unsigned int vcpu, void *data) {
  (void)vcpu, (void)data;
  region_start = executed;
  within_region = 1;
}

static void end_region(unsigned int vcpu, void *data) {
  (void)vcpu, (void)data;
  if (!within_region) {
    fprintf(stderr, "a region ends that has not begun\n");
    return;
  }
  within_region = 0;
  fprintf(stderr, "region %u: %" PRIu64 " instructions\n", ++region_number, executed - region_start);
}

/* The instruction word, by either byte order of the guest. */
static int is_word(const struct qemu_plugin_insn *insn, uint32_t word) {
  const uint8_t *bytes = qemu_plugin_insn_data(insn);
  if (qemu_plugin_insn_size(insn) != 4) return 0;
  const uint32_t big = (uint32_t)bytes[0] << 24 | (uint32_t)bytes[1] << 16 | (uint32_t)bytes[2] << 8 | bytes[3];
  return big == word || __builtin_bswap32(big) == word;
}

static void count_block(qemu_plugin_id_t id, struct qemu_plugin_tb *tb) {
  (void)id;
  for (size_t i = 0; i < qemu_plugin_tb_n_insns(tb); ++i) {
    struct qemu_plugin_insn *insn = qemu_plugin_tb_get_insn(tb, i);
    if (is_word(insn, 0x3c00c0de) || is_word(insn, 0xd2981bdf)) {
      qemu_plugin_register_vcpu_insn_exec_cb(insn, start_region, QEMU_PLUGIN_CB_NO_REGS, NULL);
    } else if (is_word(insn, 0x3c00c0df) || is_word(insn, 0xd2981bff)) {
      qemu_plugin_register_vcpu_insn_exec_cb(insn, end_region, QEMU_PLUGIN_CB_NO_REGS, NULL);
    } else {
      qemu_plugin_register_vcpu_insn_exec_inline(insn, QEMU_PLUGIN_INLINE_ADD_U64, &executed, 1);
    }
  }
}

EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv) {
  (void)info, (void)argc, (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
  return 0;
}
