/** The command line of mpuparams on a key of this test's own. */
#pragma once

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "folder.h"
#include "shared_segment.h"

class ToolTest : public testing::Test {
protected:
    struct Result_t {
        int status = -1;
        std::string out;
        std::string err;
    };

    /** Runs the program's main function in this process with exactly these arguments; what it prints goes to `output`,
     * or is caught. */
    static Result_t run(const std::vector<std::string>& arguments, const char* output = nullptr);

    /** Runs the command with the test's key and `arguments` after it. */
    Result_t tool(const std::string& command, const std::vector<std::string>& arguments = {}) const;

    /** Creates the block from a text file; `lines` follow its version. */
    void createFrom(const std::string& lines) const;

    /** Values of all fields as "show" prints them, and of one. */
    [[nodiscard]] std::map<std::string, std::string> allShown() const;
    [[nodiscard]] std::string shown(const std::string& field) const { return allShown()[field]; }

    /** Number of files in the test's folder. */
    [[nodiscard]] std::size_t filesInFolder() const;

    const testsupport::Segment_t segment;
    const testsupport::Folder_t files;
    const int key = segment.key();
    const std::string folder = files.path();
    const std::string keyText = std::to_string(key) + " (0x" + hexKey() + ")"; /**< as the program writes it */

    /** The key's eight hexadecimal digits. */
    [[nodiscard]] std::string hexKey() const;
};

/** The command failed with `status` and said exactly `message`, in one line on standard error. */
#define EXPECT_REFUSED(result, expectedStatus, message)                                                                \
    do {                                                                                                               \
        const auto refused = (result);                                                                                 \
        EXPECT_EQ(refused.status, expectedStatus);                                                                     \
        EXPECT_EQ(refused.out, "");                                                                                    \
        EXPECT_EQ(refused.err, std::string("mpuparams: ") + (message) + "\n");                                         \
    } while (0)
