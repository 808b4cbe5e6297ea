/** A System V segment of a test's own. */
#pragma once

#include <string>

namespace testsupport {

/** A key of this process; whatever segment has it in the end goes with the test. */
class Segment_t {
public:
    Segment_t();
    ~Segment_t();
    Segment_t(const Segment_t&) = delete;
    Segment_t& operator=(const Segment_t&) = delete;

    [[nodiscard]] int key() const { return key_; }
    /** Id of the segment that has the key now; -1 when there is none. */
    [[nodiscard]] int id() const;
    /** Makes a segment of the key with these bytes; its id. */
    int make(const std::string& bytes) const;
    /** Writes into the segment, behind everybody's back. */
    void patch(std::size_t offset, const void* bytes, std::size_t size) const;
    /** What the segment holds; empty when there is none. */
    [[nodiscard]] std::string bytes() const;

private:
    int key_;
};

} // namespace testsupport
