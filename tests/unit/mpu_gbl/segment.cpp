#include "segment.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace segments {

SegmentTest::SegmentTest() {
    unsetenv("NONXML_FILE");
    unsetenv("CONFIG_FILE");
    unsetenv("PROJDIR");
}

struct shmid_ds SegmentTest::stateNow() const {
    struct shmid_ds state = {};
    EXPECT_EQ(shmctl(segmentNow(), IPC_STAT, &state), 0);
    return state;
}

std::string CreateTest::create() {
    return errorsOf([&] { block = MPU_createMpuParams(&shmid, key); });
}

void CreateTest::expectNothingLeft() const {
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(segmentNow(), -1);
    EXPECT_EQ(attachedSegments(), 0);
}

std::string keyText(int key) {
    char text[40];
    (void)std::snprintf(text, sizeof(text), "(key=%d (0x%08X))", key, static_cast<unsigned>(key));
    return text;
}

std::string errorsOf(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

int attachedSegments() {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    int count = 0;
    while (std::getline(maps, line)) {
        count += line.find("/SYSV") != std::string::npos ? 1 : 0;
    }
    return count;
}

} // namespace segments
