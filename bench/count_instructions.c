/* SPDX-License-Identifier: Apache-2.0
 *
 * A plugin of qemu: counts the instructions that an emulated program runs, those of its libraries and of its start among them, and says the
 * number on standard error when the program ends.
 *
 *   cc -shared -fPIC -O2 -o count_instructions.so count_instructions.c
 *   qemu-aarch64 -plugin ./count_instructions.so PROGRAM        "instructions 25079"
 *
 * Debian packs qemu without the header of its plugins; what is used of it (version 1 of that interface) is declared here. Whole blocks are
 * counted as they begin: one that ends early, by a signal, counts as if it had not.
 */
#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_info_t;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, void (*translated)(qemu_plugin_id_t id, struct qemu_plugin_tb* block));
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, enum qemu_plugin_op op, void* counter, uint64_t by);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*ended)(qemu_plugin_id_t id, void* user), void* user);

EXPORTED int qemu_plugin_version = 1;

static uint64_t counted;

static void count_block(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &counted, qemu_plugin_tb_n_insns(block));
}

static void tell(qemu_plugin_id_t id, void* user) {
  (void)id;
  (void)user;
  fprintf(stderr, "instructions %" PRIu64 "\n", counted);
}

EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info_t* info, int argc, char** argv) {
  (void)info;
  (void)argc;
  (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
  qemu_plugin_register_atexit_cb(id, tell, NULL);
  return 0;
}
