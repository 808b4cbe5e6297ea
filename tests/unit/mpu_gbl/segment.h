/** Real System V segments for tests, gone when the test is over. */
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/shm.h>

namespace segments {

/** A key of this process, and no environment that names a configuration. */
class SegmentTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /** Id of the segment that has the key now; -1 when there is none. */
    [[nodiscard]] int segmentNow() const;

    /** State of the segment that has the key now. */
    [[nodiscard]] struct shmid_ds stateNow() const;

    /** Makes a segment of the key whose bytes are all `filler`; returns its id. */
    int makeSegment(std::size_t size, unsigned char filler) const;

    /** Writes a file of this test and returns its path. */
    std::string writeFile(const std::string& name, const std::string& contents) const;

    int key = 0;
    std::string folder;
};

/** A key as the library's messages tell it. */
std::string keyText(int key);

/** What `action` writes to standard error. */
std::string errorsOf(const std::function<void()>& action);

/** Number of System V segments this process has attached. */
int attachedSegments();

} // namespace segments
