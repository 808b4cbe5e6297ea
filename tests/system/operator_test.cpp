/** The adapter between the real switch and the operator's tool, on the simulated enclosure. */
#include <gtest/gtest.h>

#include "system_test.h"

using namespace testsupport;

namespace {

class Operator : public SystemTest {
protected:
    RunResult_t esactl(const std::vector<std::string>& words) const {
        std::vector<std::string> arguments = {"--directory", directory, "--timeout", "20"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        return run(programCommand("esactl", arguments));
    }
};

} // namespace

TEST_F(Operator, SeesTheEnclosureAndLightsALedThroughTheSwitch) {
    startSimulator("vsc055");
    makeBlock(5);
    Process_t msm(programCommand("msm", {"--directory", directory}));
    ASSERT_TRUE(msm.waitForOut("ready", PATIENCE)) << msm.err();
    startAdapter();

    const RunResult_t status = esactl({"status", "--json"});
    EXPECT_EQ(JsonValue_t::parse(status.out)["schema"], "esactl.status") << status.err;
    EXPECT_EQ(status.ending.exitCode & 7, 0) << status.err;

    EXPECT_EQ(world()["drives"][3]["led"], false);
    const RunResult_t on = esactl({"led", "3", "on"});
    EXPECT_EQ(on.ending.exitCode, 0) << on.err;
    EXPECT_EQ(world()["drives"][3]["led"], true);
    const RunResult_t off = esactl({"led", "3", "off"});
    EXPECT_EQ(off.ending.exitCode, 0) << off.err;
    EXPECT_EQ(world()["drives"][3]["led"], false);
    EXPECT_TRUE(esa->running());
}
