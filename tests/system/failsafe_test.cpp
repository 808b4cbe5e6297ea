/** The fail-safe program from outside: what it says and how it ends, by which the service manager goes. */
#include <gtest/gtest.h>

#include <filesystem>

#include "system_test.h"

using namespace testsupport;

namespace {

class FailSafeProgram : public SystemTest {
protected:
    void expect(const std::vector<std::string>& words, int status, const std::string& out,
                const std::string& err) const {
        const RunResult_t result = failSafe(words);
        SCOPED_TRACE(testing::PrintToString(words));
        EXPECT_EQ(result.ending.exitCode, status);
        EXPECT_EQ(result.out, out);
        EXPECT_EQ(result.err, err);
    }
};

} // namespace

TEST_F(FailSafeProgram, EndsWithZeroWhenAllIsDoneOrThereIsNothingToLookAfter) {
    startSimulator("quadra");
    makeBlock(3);
    expect({"--chassis", "none"}, 0, "no chassis to look after\n", "");
    EXPECT_EQ(transfers(), 0);
    expect({"--chassis", "quadra", "--prepare"}, 0, "", "");
    EXPECT_EQ(transfers(), 1) << "the LEDs of the upper half";
    expect({std::to_string(key)}, 0, "every fan of VORAN_E_CHASSIS_TELMA_QUADRA is at full speed\n", "");
    EXPECT_EQ(transfers(), 4) << "three fans";
}

TEST_F(FailSafeProgram, EndsWithOneWhenTheBusDoesNotAnswerOrIsGone) {
    startSimulator("vsc055");
    (void)simulator("line silent");
    expect({"--chassis", "vsc055", "--seconds", "0"}, 1, "",
           "esafailsafe: no full answer on the I2C bus within 0 s; see what else has /dev/enc-0 open and whether "
           "VORAN_E_CHASSIS_VORAN_VSC055 is the right chassis\n");
    // As a killed simulator leaves it; the terminal that its own link names may by now be another simulator's.
    std::filesystem::remove(directory + "/enc-0");
    std::filesystem::create_symlink(directory + "/gone", directory + "/enc-0");
    expect({"--chassis", "vsc055", "--seconds", "0"}, 1, "",
           "esafailsafe: /dev/enc-0 cannot be opened: No such file or directory; tried for 0 s, the enclosure is as it "
           "was\n");
}

TEST_F(FailSafeProgram, EndsWithTwoOnWrongUseOrWithoutABlock) {
    startSimulator("vsc055");
    expect({std::to_string(key)}, 2, "",
           "Error opening the MPU shared memory area.\n   No such file or directory\n"
           "esafailsafe: there is no parameter block of key " +
               std::to_string(key) + "; name the enclosure by --chassis\n");
    const std::string either =
        "esafailsafe: takes either the parameter block's key or --chassis NAME; try esafailsafe --help\n";
    expect({}, 2, "", either);
    expect({"100", "--chassis", "vsc055"}, 2, "", either);
    EXPECT_EQ(transfers(), 0);
}
