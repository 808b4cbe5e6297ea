/** The real mpuparams program on a key of this test's own. */
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

class ToolTest : public testing::Test {
protected:
    struct Result_t {
        int status = -1;
        std::string out;
        std::string err;
    };

    void SetUp() override;
    void TearDown() override;

    /** Runs the command with the test's key and `arguments` after it. */
    Result_t tool(const std::string& command, const std::vector<std::string>& arguments = {}) const;

    /** Runs the program with exactly these arguments. */
    static Result_t run(const std::vector<std::string>& arguments);

    /** Creates the block from a text file; `lines` follow its version. */
    void createFrom(const std::string& lines) const;

    /** Value of a field as "show" prints it. */
    [[nodiscard]] std::string shown(const std::string& field) const;

    /** The bytes of the live block; empty when there is none. */
    [[nodiscard]] std::string blockBytes() const;

    /** Id of the segment that has the key; -1 when there is none. */
    [[nodiscard]] int segmentNow() const;

    /** Makes a segment of the key with these bytes. */
    void makeSegment(const std::string& bytes) const;

    [[nodiscard]] std::string writeFile(const std::string& name, const std::string& contents) const;
    [[nodiscard]] static std::string readFile(const std::string& path);

    /** "KEY (0xKEY)" as the program writes it. */
    [[nodiscard]] std::string keyText() const;

    /** Number of files in the test's folder. */
    [[nodiscard]] std::size_t filesInFolder() const;

    int key = 0;
    std::string folder;
};

/** The command failed with `status` and said exactly `message`, in one line on standard error. */
#define EXPECT_REFUSED(result, expectedStatus, message)                                                                \
    do {                                                                                                               \
        const auto refused = (result);                                                                                 \
        EXPECT_EQ(refused.status, expectedStatus);                                                                     \
        EXPECT_EQ(refused.out, "");                                                                                    \
        EXPECT_EQ(refused.err, std::string("mpuparams: ") + (message) + "\n");                                         \
    } while (0)
