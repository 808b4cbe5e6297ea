/**
 * The configuration reader under arbitrary input. An input that starts with a zero byte is a binary image (its
 * version starts with one) and goes through the whole block creator; any other is a text file.
 */
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

#include "mpu_gbl.h"
#include "nonxml_private.h"

namespace {

/** Ends the process when a promise of the reader is broken. */
void require(bool kept) {
    if (!kept) {
        std::abort();
    }
}

/** The block is exactly as large as the reader may count on: the sanitizer sees the first byte beyond it. */
void readText(const std::uint8_t* data, std::size_t size) {
    const std::unique_ptr<U8_t[]> block(new U8_t[748]());
    FILE* const stream = fmemopen(const_cast<std::uint8_t*>(data), size, "r");
    if (stream != nullptr) {
        nonXmlRead(stream, block.get());
        (void)std::fclose(stream);
    }
}

bool segmentExists(int shmid) {
    struct shmid_ds status = {};
    return shmctl(shmid, IPC_STAT, &status) == 0;
}

/** An image is taken byte for byte, or refused without a trace. */
void readImage(const std::uint8_t* data, std::size_t size) {
    const int file = memfd_create("image", 0);
    require(file >= 0 && write(file, data, size) == static_cast<ssize_t>(size) && lseek(file, 0, SEEK_SET) == 0);
    setenv("CONFIG_FILE", ("/proc/self/fd/" + std::to_string(file)).c_str(), 1);
    S32_t shmid = -1;
    MPU_PARAMS_t* const block = MPU_createMpuParams(&shmid, IPC_PRIVATE);
    const bool good = size == 744 && std::memcmp(data, "\0\0\0\x0F", 4) == 0;
    require((block != nullptr) == good);
    if (block != nullptr) {
        MPU_swapMpuParams(block);
        require(std::memcmp(block, data, 744) == 0);
        (void)shmdt(block);
        require(MPU_deleteMpuParams(shmid) == 0);
    }
    require(shmid == -1 || !segmentExists(shmid));
    (void)close(file);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // The reader's reports go nowhere; sanitizers and the fuzzer write to the descriptor, not to this stream.
    stderr = std::fopen("/dev/null", "w");
    require(stderr != nullptr);
    unsetenv("NONXML_FILE");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    if (data[0] == 0) {
        readImage(data, size);
    } else {
        readText(data, size);
    }
    return 0;
}
