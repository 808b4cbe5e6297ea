/**
 * What every output of every chassis shows when the adapter is killed while it commands them and another one starts:
 * the table "State after a restart" of docs/operations.md, row by row.
 */
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <ostream>

#include "system_test.h"

using namespace testsupport;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Slots_t = std::vector<std::size_t>;

struct ChassisCase_t {
    const char* name;
    int type;
    std::size_t litDrives; /**< drives whose LEDs light when all are asked for */
    Slots_t keptLit;       /**< drives that the start leaves lit */
    const char* alarm;     /**< what "alarm fault" makes of the alarm, and what the start makes of it */
    const char* startAlarm;
    int startLoad;          /**< percent, of every fan */
    std::vector<int> loads; /**< percent after each poll at 56 degrees, until all fans are at full speed */
};

void PrintTo(const ChassisCase_t& chassis, std::ostream* out) {
    *out << chassis.name;
}

const Slots_t UPPER_HALF = {8, 9, 10, 11, 12, 13, 14, 15};

const ChassisCase_t CHASSIS[] = {
    {"vsc055", 5, 16, UPPER_HALF, "FAULT", "MUTE", 50, {75, 100}},
    {"quadra", 3, 16, UPPER_HALF, "FAULT", "MUTE", 50, {75, 100}},
    {"xyratex", 2, 12, {}, "FAULT", "IDLE", 25, {50, 75, 100}},
    {"chenbro", 4, 0, {}, "FAULT", "MUTE", 50, {75, 100}},
    {"w83782d", 6, 0, {}, "FAULT", "MUTE", 100, {}},
};

class Restart : public SystemTest, public testing::WithParamInterface<ChassisCase_t> {
protected:
    void SetUp() override {
        startSimulator(GetParam().name);
        makeBlock(GetParam().type, false);
        msm_ = std::make_unique<Process_t>(programCommand("msm", {"--directory", directory}));
        ASSERT_TRUE(msm_->waitForOut("ready", PATIENCE)) << msm_->err();
        startManaging();
    }

    /** Starts an adapter, and waits until it answers. */
    void startManaging() {
        startAdapter();
        ASSERT_EQ(esactl({"--timeout", "60", "config"}).ending.exitCode, 0);
    }

    void killAdapter() {
        esa->kill(SIGKILL);
        ASSERT_TRUE(esa->wait(PATIENCE).has_value());
    }

    RunResult_t esactl(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--directory", directory});
        return run(programCommand("esactl", words));
    }

    void operate(const std::vector<std::string>& words) const {
        const RunResult_t done = esactl(words);
        ASSERT_EQ(done.ending.exitCode, 0) << done.err;
    }

    /** The drives' fault LEDs: refused where there are none. */
    void operateLeds(std::vector<std::string> words) const {
        words.insert(words.begin(), "led");
        const RunResult_t done = esactl(words);
        ASSERT_EQ(done.ending.exitCode, GetParam().litDrives == 0 ? 1 : 0) << done.err;
    }

    /** Makes the adapter poll: eleven passes of its main loop, each for a request that reads no hardware. */
    void makePoll() const {
        const Stream_t volumeManager(connectTo(directory + "/volmgr"));
        const Bytes_t request = messageToAdapter(18, 0x1C, 20, unhex("1C 80 01 00 10 00 00 00"));
        const auto pass = [&] {
            ASSERT_TRUE(volumeManager.send(request));
            ASSERT_TRUE(volumeManager.receive().has_value());
        };
        const int before = transfers();
        for (int passes = 0; passes < 30 && transfers() == before; ++passes) {
            pass();
        }
        pass(); // answered when the poll is over
    }

    void failSafe(const std::vector<std::string>& words = {}) const {
        std::vector<std::string> arguments = {"--chassis", GetParam().name};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const RunResult_t done = runOnBus("esafailsafe", arguments);
        ASSERT_EQ(done.ending.exitCode, 0) << done.err;
    }

    Slots_t litDrives() const {
        Slots_t lit;
        for (const JsonValue_t& drive : world()["drives"].elements()) {
            if (drive["led"] == true) {
                lit.push_back(static_cast<std::size_t>(drive["index"].number()));
            }
        }
        return lit;
    }

    /** Loads of all fans, in whole percent. */
    std::vector<int> loads() const {
        std::vector<int> loads;
        for (const JsonValue_t& fan : world()["fans"].elements()) {
            loads.push_back(static_cast<int>(fan["dutyPercent"].number() + 0.5));
        }
        return loads;
    }

    std::string alarm() const { return world()["alarm"]["state"].text(); }

    /** The enclosure's own LEDs, where it has some: supplies well, redundancy lost, a fan failed. */
    std::vector<bool> enclosureLeds() const {
        const JsonValue_t leds = world()["leds"];
        return {leds["psuOk"] == true, leds["redundancyFail"] == true, leds["fanFail"] == true};
    }

    void setTemperatures(int celsius) const {
        for (std::size_t sensor = 0; sensor < world()["sensors"].size(); ++sensor) {
            (void)simulator("temp " + std::to_string(sensor) + " " + std::to_string(celsius));
        }
    }

    /** Names of what Startup was told. */
    Lines_t toldStartup() const {
        Lines_t names;
        const RunResult_t told = esactl({"--timeout", "0.5", "--json", "events", "--startup", "--all"});
        for (const JsonValue_t& event : JsonValue_t::parseLines(told.out)) {
            if (event["schema"] == "esactl.startup") {
                const std::string name = event["name"].text();
                names.push_back(name == "composite-fault-led" ? name + (event["data"]["on"] == 1 ? " on" : " off")
                                                              : name);
            }
        }
        return names;
    }

    std::unique_ptr<Process_t> msm_;
};

INSTANTIATE_TEST_SUITE_P(On, Restart, testing::ValuesIn(CHASSIS),
                         [](const auto& instance) { return std::string(instance.param.name); });

} // namespace

TEST_P(Restart, KilledWhileEverythingIsCommandedItTakesTheEnclosureForAHealthyOneUntilTheNextPoll) {
    const ChassisCase_t& chassis = GetParam();
    const bool hasLeds = chassis.type == 2;
    const std::vector<bool> faultLeds = {false, hasLeds, hasLeds};
    const std::string pollAlarm = hasLeds ? "IDLE" : "FAULT"; // that enclosure's controller runs the alarm by itself

    (void)simulator("fan 1 stall");
    (void)simulator("psu 0 fail");
    setTemperatures(56);
    makePoll();
    operateLeds({"all", "on"});
    makePoll(); // which leaves the LEDs alone; what follows it would undo, so it must not come again before the end
    operate({"fan", "0", "off"});
    operate({"alarm", "fault"});
    killAdapter();
    EXPECT_EQ(litDrives().size(), chassis.litDrives) << "nobody is there to change anything";
    EXPECT_EQ(alarm(), chassis.alarm);
    EXPECT_EQ(loads()[0], 0) << "which is what the fail-safe program is for";
    EXPECT_EQ(enclosureLeds(), faultLeds);
    failSafe();
    EXPECT_THAT(loads(), Each(100));

    startManaging();
    EXPECT_THAT(loads(), Each(chassis.startLoad));
    EXPECT_EQ(litDrives(), chassis.keptLit);
    EXPECT_EQ(alarm(), chassis.startAlarm);
    EXPECT_EQ(enclosureLeds(), (std::vector<bool>{hasLeds, false, false}));
    operateLeds({"all", "off"});
    EXPECT_EQ(litDrives(), chassis.keptLit) << "the adapter takes them for dark";
    operateLeds({"all", "off", "--force"});
    EXPECT_THAT(litDrives(), IsEmpty());
    operateLeds({"2", "on"});
    EXPECT_EQ(litDrives(), chassis.litDrives == 0 ? Slots_t{} : Slots_t{2}) << "from then on it is right";

    makePoll();
    EXPECT_EQ(alarm(), pollAlarm);
    EXPECT_EQ(enclosureLeds(), faultLeds);
    const Lines_t told = toldStartup();
    EXPECT_EQ(std::count(told.begin(), told.end(), "init-complete"), 2);
    EXPECT_EQ(std::count(told.begin(), told.end(), "composite-fault-led on"), 2) << "the fault is told again";
}

TEST_P(Restart, PreparedAndMendedMeanwhileNothingOfTheEarlierLifeIsLeftButTheCompositeFaultLed) {
    const ChassisCase_t& chassis = GetParam();
    (void)simulator("fan 1 stall");
    makePoll();
    operateLeds({"all", "on"});
    killAdapter();
    (void)simulator("fan 1 ok");
    setTemperatures(56);
    failSafe();
    failSafe({"--prepare"});
    EXPECT_THAT(loads(), Each(100)) << "preparation leaves the fans alone";

    startManaging();
    EXPECT_THAT(litDrives(), IsEmpty());
    for (const int load : chassis.loads) {
        makePoll();
        EXPECT_THAT(loads(), Each(load));
    }
    makePoll();
    EXPECT_THAT(loads(), Each(100)) << "while it is hot";
    EXPECT_EQ(alarm(), chassis.startAlarm);
    // Nobody asks for the LED to go out: the second notice of a start has to be taken for that.
    EXPECT_THAT(toldStartup(),
                ElementsAre("init-complete", "composite-fault-led on", "email-notification", "init-complete"));
}
