/**
 * Counts, for user-mode QEMU, the instructions of a program and the accesses to memory that are not aligned to their
 * size: two 64-bit numbers in the file that the argument "to=PATH" names, up to date at any time.
 *
 * The emulator's package brings no header, so what is used of version 1 of its interface is declared here.
 */
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>

extern "C" {
struct qemu_plugin_tb;
struct qemu_plugin_insn;
using Translated_t = void (*)(std::uint64_t id, qemu_plugin_tb* block);
using Accessed_t = void (*)(unsigned cpu, std::uint32_t access, std::uint64_t address, void* data);

std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);
qemu_plugin_insn* qemu_plugin_tb_get_insn(const qemu_plugin_tb* block, std::size_t index);
void qemu_plugin_register_vcpu_tb_trans_cb(std::uint64_t id, Translated_t called);
void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb* block, int operation, void* counter, std::uint64_t add);
void qemu_plugin_register_vcpu_mem_cb(qemu_plugin_insn* instruction, Accessed_t called, int registers, int direction,
                                      void* data);
unsigned qemu_plugin_mem_size_shift(std::uint32_t access);

[[gnu::visibility("default")]] extern const int qemu_plugin_version = 1;
[[gnu::visibility("default")]] int qemu_plugin_install(std::uint64_t id, const void* info, int count, char** words);
}

namespace {

constexpr int ADD = 0;
constexpr int NO_REGISTERS = 0;
constexpr int READS_AND_WRITES = 3;

struct Counts_t {
    std::uint64_t instructions, unaligned;
};
Counts_t* counts;

void accessed(unsigned /*cpu*/, std::uint32_t access, std::uint64_t address, void* /*data*/) {
    counts->unaligned += (address & ((1U << qemu_plugin_mem_size_shift(access)) - 1)) != 0 ? 1 : 0;
}

void translated(std::uint64_t /*id*/, qemu_plugin_tb* block) {
    const std::size_t size = qemu_plugin_tb_n_insns(block);
    qemu_plugin_register_vcpu_tb_exec_inline(block, ADD, &counts->instructions, size);
    for (std::size_t i = 0; i < size; ++i) {
        qemu_plugin_register_vcpu_mem_cb(qemu_plugin_tb_get_insn(block, i), accessed, NO_REGISTERS, READS_AND_WRITES,
                                         nullptr);
    }
}

} // namespace

int qemu_plugin_install(std::uint64_t id, const void* /*info*/, int count, char** words) {
    for (int i = 0; i < count; ++i) {
        const int file = std::strncmp(words[i], "to=", 3) == 0 ? open(words[i] + 3, O_RDWR) : -1;
        void* const shared =
            file < 0 ? MAP_FAILED : mmap(nullptr, sizeof(Counts_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (shared != MAP_FAILED) {
            counts = static_cast<Counts_t*>(shared);
            qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
            return 0;
        }
    }
    return 1;
}
