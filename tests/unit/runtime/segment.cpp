#include "segment.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "child_with_log.h"

namespace segments {

namespace {

std::vector<const void*> attached() {
    std::ifstream maps("/proc/self/maps");
    std::vector<const void*> blocks;
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/SYSV") != std::string::npos) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): a line begins with the address
            blocks.push_back(
                reinterpret_cast<const void*>(static_cast<std::uintptr_t>(std::stoull(line, nullptr, 16))));
        }
    }
    return blocks;
}

} // namespace

SegmentTest::SegmentTest() {
    unsetenv("NONXML_FILE");
    unsetenv("CONFIG_FILE");
    unsetenv("PROJDIR");
}

SegmentTest::~SegmentTest() {
    for (const void* const block : attached()) {
        (void)MPU_detachMpuParams(static_cast<const MPU_PARAMS_t*>(block)); // the library forgets it too
    }
}

struct shmid_ds SegmentTest::stateNow() const {
    struct shmid_ds state = {};
    EXPECT_EQ(shmctl(segmentNow(), IPC_STAT, &state), 0);
    return state;
}

std::string CreateTest::create() {
    return errorsOf([&] { block = MPU_createMpuParams(&shmid, key); });
}

void CreateTest::expectFailure(const std::string& report) {
    EXPECT_EQ(create(), report);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(segmentNow(), -1);
    EXPECT_EQ(attachedSegments(), 0);
}

void CreateTest::expectBlock(const std::string& report) {
    EXPECT_EQ(create(), report);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(shmid, segmentNow());
}

std::string keyText(int key) {
    char text[40];
    (void)std::snprintf(text, sizeof(text), "(key=%d (0x%08X))", key, static_cast<unsigned>(key));
    return text;
}

int attachedSegments() {
    return static_cast<int>(attached().size());
}

} // namespace segments
