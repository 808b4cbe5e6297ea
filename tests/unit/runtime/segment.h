/** Real System V segments for tests, gone when the test is over. */
#pragma once

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/shm.h>

#include "calls.h"
#include "folder.h"
#include "mpu_gbl.h"
#include "shared_segment.h"

namespace segments {

/** A key of this process, and no environment that names a configuration. */
class SegmentTest : public testing::Test {
protected:
    SegmentTest();
    /** Detaches all that the test has left attached. */
    ~SegmentTest() override;

    /** Id of the segment that has the key now; -1 when there is none. */
    [[nodiscard]] int segmentNow() const { return segment.id(); }

    /** State of the segment that has the key now. */
    [[nodiscard]] struct shmid_ds stateNow() const;

    /** Makes a segment of the key whose bytes are all `filler`; returns its id. */
    int makeSegment(std::size_t size, unsigned char filler) const {
        return segment.make(std::string(size, static_cast<char>(filler)));
    }

    const testsupport::Segment_t segment;
    const testsupport::Folder_t files;
    const int key = segment.key();
    const std::string folder = files.path();
};

/** Creating the parameter block: what that gives and reports. */
class CreateTest : public SegmentTest {
protected:
    std::string create();

    /** Creating fails with that report; nothing is attached and the key has no segment. */
    void expectFailure(const std::string& report);

    /** Creating succeeds, with that report. */
    void expectBlock(const std::string& report = "");

    MPU_PARAMS_t* block = nullptr;
    S32_t shmid = -7;
};

/** A key as the library's messages tell it. */
std::string keyText(int key);

/** What shmget() has been asked for last since this was made. */
struct Asked_t {
    std::size_t size = 0;
    int flags = 0;

private:
    const calls::Answer_t<decltype(calls::shmget)> answer_{calls::shmget,
                                                           [this](key_t key, std::size_t bytes, int how) {
                                                               size = bytes;
                                                               flags = how;
                                                               return calls::shmget.real(key, bytes, how);
                                                           }};
};

/** While it lives every segment has the id 0, which is the first that a kernel gives out, and these bytes. */
struct FirstSegment_t {
    alignas(8) U8_t bytes[748];
    FirstSegment_t() { std::memset(bytes, 0xEE, sizeof(bytes)); }

private:
    const calls::Answer_t<decltype(calls::shmget)> made_{calls::shmget, [](key_t, std::size_t, int) { return 0; }};
    const calls::Answer_t<decltype(calls::shmctl)> removed_{calls::shmctl,
                                                            [](int id, int, shmid_ds*) { return id == 0 ? 0 : -1; }};
    const calls::Answer_t<decltype(calls::shmat)> attached_{
        calls::shmat,
        [this](int id, const void* at, int how) -> void* { return id == 0 ? bytes : calls::shmat.real(id, at, how); }};
};

/** Number of System V segments this process has attached. */
int attachedSegments();

} // namespace segments
