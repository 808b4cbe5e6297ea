#include "segment.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/ipc.h>
#include <unistd.h>

namespace segments {

void SegmentTest::SetUp() {
    key = 0x51000000 | (getpid() & 0xFFFFFF);
    std::string pattern = testing::TempDir() + "mpu_gbl.XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder = pattern;
    unsetenv("NONXML_FILE");
    unsetenv("CONFIG_FILE");
    unsetenv("PROJDIR");
}

void SegmentTest::TearDown() {
    const int shmid = segmentNow();
    if (shmid >= 0) {
        (void)shmctl(shmid, IPC_RMID, nullptr);
    }
    std::filesystem::remove_all(folder);
}

int SegmentTest::segmentNow() const {
    return shmget(key, 0, 0);
}

struct shmid_ds SegmentTest::stateNow() const {
    struct shmid_ds state = {};
    EXPECT_EQ(shmctl(segmentNow(), IPC_STAT, &state), 0);
    return state;
}

int SegmentTest::makeSegment(std::size_t size, unsigned char filler) const {
    const int shmid = shmget(key, size, 0600 | IPC_CREAT | IPC_EXCL);
    EXPECT_GE(shmid, 0);
    void* const bytes = shmat(shmid, nullptr, 0);
    std::memset(bytes, filler, size);
    (void)shmdt(bytes);
    return shmid;
}

std::string SegmentTest::writeFile(const std::string& name, const std::string& contents) const {
    const std::string path = folder + "/" + name;
    std::ofstream(path, std::ios::binary) << contents;
    return path;
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
