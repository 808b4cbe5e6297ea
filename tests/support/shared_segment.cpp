#include "shared_segment.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

namespace testsupport {

namespace {

void* attach(int id, int flags) {
    void* const bytes = shmat(id, nullptr, flags);
    return reinterpret_cast<std::intptr_t>(bytes) == -1 ? nullptr : bytes;
}

} // namespace

Segment_t::Segment_t() : key_(0x51000000 | getpid()) {
    // A test that was killed has left its segment, and its process id comes again; ids have 22 bits.
    while (id() >= 0) {
        key_ += 1 << 22;
    }
}

Segment_t::~Segment_t() {
    if (id() >= 0) {
        (void)shmctl(id(), IPC_RMID, nullptr);
    }
}

int Segment_t::id() const {
    return shmget(key_, 0, 0);
}

int Segment_t::make(const std::string& bytes) const {
    const int made = shmget(key_, bytes.size(), 0600 | IPC_CREAT | IPC_EXCL);
    EXPECT_GE(made, 0);
    patch(0, bytes.data(), bytes.size());
    return made;
}

void Segment_t::patch(std::size_t offset, const void* bytes, std::size_t size) const {
    void* const block = attach(id(), 0);
    ASSERT_NE(block, nullptr);
    std::memcpy(static_cast<char*>(block) + offset, bytes, size);
    (void)shmdt(block);
}

std::string Segment_t::bytes() const {
    struct shmid_ds state = {};
    void* const block = attach(id(), SHM_RDONLY);
    if (block == nullptr || shmctl(id(), IPC_STAT, &state) != 0) {
        return {};
    }
    const std::string copy(static_cast<const char*>(block), state.shm_segsz);
    (void)shmdt(block);
    return copy;
}

} // namespace testsupport
