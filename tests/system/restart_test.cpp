/**
 * What every output of every chassis shows when the adapter is killed while it commands them and another one starts:
 * the table "State after a restart" of docs/operations.md, row by row.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <numeric>
#include <ostream>

#include "system_test.h"

using namespace testsupport;

namespace {

struct RestartCase_t {
    const char* name;
    int type;
    std::size_t litDrives; /**< drives whose LEDs light when all are asked for */
    Slots_t keptLit;       /**< drives that the start leaves lit */
    const char* alarm;     /**< what a request for it makes of the alarm, and what the start makes of it */
    const char* startAlarm;
    int startLoad;          /**< percent, of every fan */
    std::vector<int> loads; /**< percent after each poll at 56 degrees, until all fans are at full speed */
};

void PrintTo(const RestartCase_t& chassis, std::ostream* out) {
    *out << chassis.name;
}

const Slots_t UPPER_HALF = {8, 9, 10, 11, 12, 13, 14, 15};

const RestartCase_t CASES[] = {
    {"vsc055", 5, 16, UPPER_HALF, "FAULT", "MUTE", 50, {75, 100}},
    {"quadra", 3, 16, UPPER_HALF, "FAULT", "MUTE", 50, {75, 100}},
    {"xyratex", 2, 12, {}, "FAULT", "IDLE", 25, {50, 75, 100}},
    {"chenbro", 4, 0, {}, "FAULT", "MUTE", 50, {75, 100}},
    {"w83782d", 6, 0, {}, "FAULT", "MUTE", 100, {}},
};

constexpr unsigned OPERATOR = 28;

class Restart : public SystemTest, public testing::WithParamInterface<RestartCase_t> {
protected:
    void SetUp() override {
        startSimulator(GetParam().name);
        makeBlock(GetParam().type, false);
        startSwitch();
        startManaging();
        allDrives_.resize(world()["drives"].size());
        std::iota(allDrives_.begin(), allDrives_.end(), 0U);
    }

    void killAdapter() {
        esa->kill(SIGKILL);
        ASSERT_TRUE(esa->wait(PATIENCE).has_value());
    }

    /** Lights the fault LEDs of these slots and no others, where there are some. */
    void lightDrives(const Slots_t& drives) { EXPECT_EQ(ask(controlPage(OPERATOR, drives), &told_)[64], 0); }

    void makePoll() {
        const Lines_t names = poll();
        told_.insert(told_.end(), names.begin(), names.end());
    }

    void putIntoSafeState(const Lines_t& words = {}) const {
        Lines_t arguments = {"--chassis", GetParam().name};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const RunResult_t done = failSafe(arguments);
        ASSERT_EQ(done.ending.exitCode, 0) << done.err;
    }

    /** Loads of all fans, in whole percent. */
    std::vector<int> loads() const {
        std::vector<int> loads;
        for (const JsonValue_t& fan : world()["fans"].elements()) {
            loads.push_back(static_cast<int>(fan["dutyPercent"].number() + 0.5));
        }
        return loads;
    }

    /** That load, of every fan. */
    std::vector<int> all(int load) const { return std::vector<int>(world()["fans"].size(), load); }

    /** The enclosure's own LEDs, where it has some: supplies well, redundancy lost, a fan failed. */
    std::vector<bool> enclosureLeds() const {
        const JsonValue_t leds = world()["leds"];
        return {leds["psuOk"] == true, leds["redundancyFail"] == true, leds["fanFail"] == true};
    }

    /** What Startup was told beside the notice of each start. */
    Lines_t toldStartup() {
        std::erase_if(told_, [](const std::string& name) { return name.starts_with("event"); });
        return told_;
    }

    Slots_t allDrives_;
    Lines_t told_;
};

INSTANTIATE_TEST_SUITE_P(On, Restart, testing::ValuesIn(CASES),
                         [](const auto& instance) { return std::string(instance.param.name); });

} // namespace

TEST_P(Restart, KilledWhileEverythingIsCommandedItTakesTheEnclosureForAHealthyOneUntilTheNextPoll) {
    const RestartCase_t& chassis = GetParam();
    const bool hasLeds = chassis.type == 2;
    const std::vector<bool> faultLeds = {false, hasLeds, hasLeds};
    const std::string pollAlarm = hasLeds ? "IDLE" : "FAULT"; // that enclosure's controller runs the alarm by itself

    (void)simulator("fan 1 stall");
    (void)simulator("psu 0 fail");
    setTemperatures(56);
    makePoll();
    lightDrives(allDrives_);
    makePoll(); // which leaves the LEDs alone; what follows it would undo, so it must not come again before the end
    EXPECT_EQ(ask(controlPage(OPERATOR, allDrives_, "80 00 00 00", "80 00 00 20"), &told_)[64], 0);
    killAdapter();
    EXPECT_EQ(litDrives().size(), chassis.litDrives) << "nobody is there to change anything";
    EXPECT_EQ(alarm(), chassis.alarm);
    EXPECT_EQ(loads()[0], 0) << "which is what the fail-safe program is for";
    EXPECT_EQ(enclosureLeds(), faultLeds);
    putIntoSafeState();
    EXPECT_EQ(loads(), all(100));

    startManaging();
    EXPECT_EQ(loads(), all(chassis.startLoad));
    EXPECT_EQ(litDrives(), chassis.keptLit);
    EXPECT_EQ(alarm(), chassis.startAlarm);
    EXPECT_EQ(enclosureLeds(), (std::vector<bool>{hasLeds, false, false}));
    lightDrives({});
    EXPECT_EQ(litDrives(), chassis.keptLit) << "the adapter takes them for dark";
    lightDrives(allDrives_);
    lightDrives({});
    EXPECT_EQ(litDrives(), Slots_t{});
    lightDrives({2});
    EXPECT_EQ(litDrives(), chassis.litDrives == 0 ? Slots_t{} : Slots_t{2}) << "from then on it is right";

    makePoll();
    EXPECT_EQ(alarm(), pollAlarm);
    EXPECT_EQ(enclosureLeds(), faultLeds);
    const Lines_t told = toldStartup();
    EXPECT_EQ(std::count(told.begin(), told.end(), "led-on"), 2) << "the fault is told again";
}

TEST_P(Restart, PreparedAndMendedMeanwhileNothingOfTheEarlierLifeIsLeftButTheCompositeFaultLed) {
    const RestartCase_t& chassis = GetParam();
    (void)simulator("fan 1 stall");
    makePoll();
    lightDrives(allDrives_);
    killAdapter();
    (void)simulator("fan 1 ok");
    setTemperatures(56);
    putIntoSafeState();
    putIntoSafeState({"--prepare"});
    EXPECT_EQ(loads(), all(100)) << "preparation leaves the fans alone";

    startManaging();
    EXPECT_EQ(litDrives(), Slots_t{});
    for (const int load : chassis.loads) {
        makePoll();
        EXPECT_EQ(loads(), all(load));
    }
    makePoll();
    EXPECT_EQ(loads(), all(100)) << "while it is hot";
    EXPECT_EQ(alarm(), chassis.startAlarm);
    // Nobody asks for the LED to go out: the second notice of a start has to be taken for that.
    EXPECT_EQ(toldStartup(), (Lines_t{"led-on", "email"}));
}
