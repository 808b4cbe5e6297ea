/** Every chassis managed end to end on the simulated enclosure, whose time stands still: its values are exact. */
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "system_test.h"

using namespace testsupport;

namespace {

struct ChassisCase_t {
    const char* name;
    int type;
    const char* counts; // type headers of the configuration page
    std::size_t drives;
    const char* pageLength;
    Lines_t supplies; // records of the status page after start
    Lines_t fans;
    Lines_t sensors;
    const char* stalledFan; // record of fan 1 without pulses
    const char* failedSupply;
    bool driveLeds;         // the slots have fault LEDs
    const char* alarm;      // with every fault mended
    const char* faultAlarm; // with a fan stalled
    Lines_t supplyLost;     // messages of the poll that finds a supply failed, and of the one that finds it well
    Lines_t supplyFound;
    Lines_t deadBus; // messages of the poll whose transfers fail from the third on, and of the first whole one
    Lines_t livingBus;
};

void PrintTo(const ChassisCase_t& chassis, std::ostream* out) {
    *out << chassis.name;
}

const Lines_t BACKPLANE_LOST = {"led-on", "email", "event 6/2"};
const Lines_t BACKPLANE_FOUND = {"led-off", "event 6/1"};
const Lines_t VSC055_DEAD = {"event 7/2", "led-on", "email"};
const Lines_t VSC055_LIVING = {"event 7/2", "led-off"};
const Lines_t WINBOND_DEAD = {"led-on", "email", "event 6/2", "event 7/2", "email"};
const Lines_t WINBOND_LIVING = {"event 6/1", "event 7/2", "led-off"};

Lines_t times(std::size_t count, const char* record) {
    return Lines_t(count, record);
}

// clang-format off
const ChassisCase_t CHASSIS[] = {
    {"vsc055", 5, "01 10 00 00 02 02 00 00 03 03 00 00 04 03 00 00 06 01 00", 16, "7C", times(2, "01 00 00 01"),
     times(3, "00 C0 7F E0"), {"00 00 32 00", "00 00 32 00", "00 00 31 00"}, "00 00 00 E0", "05 00 00 03", true,
     "MUTE", "FAULT", BACKPLANE_LOST, BACKPLANE_FOUND, VSC055_DEAD, VSC055_LIVING},
    {"quadra", 3, "01 10 00 00 02 03 00 00 03 03 00 00 04 03 00 00 06 01 00", 16, "80", times(3, "01 00 00 01"),
     times(3, "00 80 58 E0"), {"00 00 32 00", "00 00 32 00", "00 00 31 00"}, "00 00 00 E0", "05 00 00 03", true,
     "MUTE", "FAULT", BACKPLANE_LOST, BACKPLANE_FOUND, VSC055_DEAD, VSC055_LIVING},
    {"xyratex", 2, "01 0C 00 00 02 02 00 00 03 08 00 00 04 02 00 00 06 01 00", 12, "7C", times(2, "01 00 00 01"),
     times(8, "00 00 B0 E0"), {"00 00 32 00", "00 00 32 00"}, "00 00 00 E0", "05 00 00 43", true,
     "IDLE", "IDLE", {"led-on", "email", "event 6/2", "email", "event 6/2"}, {"event 6/1", "led-off", "event 6/1"},
     VSC055_DEAD, VSC055_LIVING},
    {"chenbro", 4, "01 10 00 00 02 03 00 00 03 06 00 00 04 04 00 00 06 01 00", 16, "90", times(3, "01 00 00 01"),
     times(6, "00 C0 84 E0"), {"00 00 32 00", "00 00 33 00", "00 00 31 00", "00 00 33 00"}, "00 00 00 08",
     "05 00 00 43", false, "MUTE", "FAULT", BACKPLANE_LOST, BACKPLANE_FOUND, WINBOND_DEAD, WINBOND_LIVING},
    {"w83782d", 6, "01 10 00 00 02 02 00 00 03 03 00 00 04 03 00 00 06 01 00", 16, "7C", times(2, "01 00 00 01"),
     times(3, "00 C0 84 E0"), {"00 00 32 00", "00 00 00 00", "00 00 00 00"}, "00 00 00 08", "05 00 00 43", false,
     "MUTE", "FAULT", BACKPLANE_LOST, BACKPLANE_FOUND, WINBOND_DEAD, WINBOND_LIVING},
};
// clang-format on

class Enclosure : public SystemTest, public testing::WithParamInterface<ChassisCase_t> {
protected:
    /** Starts everything; returns when the chassis is initialised. */
    void SetUp() override {
        startSimulator(GetParam().name);
        makeBlock(GetParam().type);
        startSwitch();
        startManaging();
    }

    /** The status page, as it is sent: without its last byte. `leds` are the slots whose fault LED was asked for. */
    static std::string pageOf(const Lines_t& supplies, const Lines_t& fans, const Lines_t& sensors,
                              const Slots_t& leds = {}) {
        std::string text = std::string("02 00 00 ") + GetParam().pageLength + " 00 00 00 00 00 00 00 00 ";
        for (std::size_t drive = 0; drive < GetParam().drives; ++drive) {
            const bool lit = std::find(leds.begin(), leds.end(), drive) != leds.end();
            char record[32];
            std::snprintf(record, sizeof(record), "01 %02zX 00 %s ", drive, lit ? "04" : "00");
            text += record;
        }
        for (const Lines_t& list : {supplies, fans, sensors}) {
            text += "00 00 00 00 ";
            for (const std::string& record : list) {
                text += record + " ";
            }
        }
        return text + "00 00 00 00 00 00 00";
    }

    std::size_t realSensors() const { return world()["sensors"].size(); }
};

INSTANTIATE_TEST_SUITE_P(On, Enclosure, testing::ValuesIn(CHASSIS),
                         [](const auto& instance) { return std::string(instance.param.name); });

} // namespace

TEST_P(Enclosure, IsInitialisedPolledAndShownByteForByteLosesASupplyAndLightsItsLeds) {
    const ChassisCase_t& chassis = GetParam();
    std::string expected = "01 00 00 40 00 00 00 00 20 00 05 24";
    for (int i = 0; i < 36; ++i) {
        expected += " 00";
    }
    EXPECT_EQ(configuration, expected + " " + chassis.counts);
    const std::string status = pageOf(chassis.supplies, chassis.fans, chassis.sensors);
    Lines_t before;
    EXPECT_EQ(page(2, &before), status);
    EXPECT_EQ(poll(), Lines_t{});
    EXPECT_EQ(page(2, &before), status);
    EXPECT_EQ(before, Lines_t{});

    const JsonValue_t now = world();
    EXPECT_EQ(now["fans"].size(), chassis.fans.size());
    EXPECT_EQ(now["supplies"].size(), chassis.supplies.size());
    EXPECT_EQ(now["drives"].size(), chassis.drives);
    EXPECT_EQ(now["alarm"]["state"], chassis.alarm);
    EXPECT_EQ(now["transfers"]["failed"], 0);

    (void)simulator("psu 0 fail");
    EXPECT_EQ(poll(), chassis.supplyLost);
    const Lines_t bad(chassis.supplies.size(), chassis.failedSupply);
    EXPECT_EQ(page(2), pageOf(bad, chassis.fans, chassis.sensors));
    (void)simulator("psu 0 ok");
    EXPECT_EQ(poll(), chassis.supplyFound);
    EXPECT_EQ(page(2), pageOf(chassis.supplies, chassis.fans, chassis.sensors));
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);

    ASSERT_TRUE(messageSwitch->send(controlPage(20, {0, 3, 11})));
    before.clear();
    const std::string lit = page(2, &before);
    EXPECT_EQ(lit, pageOf(chassis.supplies, chassis.fans, chassis.sensors, {0, 3, 11}));
    EXPECT_EQ(before, (Lines_t{"event 5/2"})) << "the next reply is the status page's";
    EXPECT_EQ(litDrives(), chassis.driveLeds ? (Slots_t{0, 3, 11}) : Slots_t{});
    before.clear();
    const Bytes_t reply = ask(controlPage(28, {3}), &before);
    EXPECT_EQ(reply[64], 0) << "a good status";
    EXPECT_EQ(reply[18], 28) << "to the one who asked";
    EXPECT_EQ(before, (Lines_t{"event 5/2"}));
    EXPECT_EQ(litDrives(), chassis.driveLeds ? Slots_t{3} : Slots_t{});
    EXPECT_EQ(page(2), pageOf(chassis.supplies, chassis.fans, chassis.sensors, {3}));
    EXPECT_TRUE(eventLog().empty()) << "no critical error";
}

TEST_P(Enclosure, LosesAFanAndGetsItBackAndOverheatsAndCools) {
    const ChassisCase_t& chassis = GetParam();
    (void)simulator("fan 1 stall");
    EXPECT_EQ(poll(), (Lines_t{"event 7/2", "led-on", "email"}));
    EXPECT_EQ(world()["alarm"]["state"], chassis.faultAlarm);
    Lines_t fans = chassis.fans;
    fans[1] = chassis.stalledFan;
    EXPECT_EQ(page(2), pageOf(chassis.supplies, fans, chassis.sensors));
    EXPECT_EQ(poll(), Lines_t{}) << "a fault is told once";
    (void)simulator("fan 1 ok");
    EXPECT_EQ(poll(), (Lines_t{"event 7/2", "led-off"}));
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);

    setTemperatures(60);
    Lines_t hot(realSensors(), "event 8/2");
    EXPECT_EQ(poll(), hot) << "60 degrees are not too hot yet";
    setTemperatures(61);
    EXPECT_EQ(poll(), (Lines_t{"led-on", "email", "event 10/3", "shutdown"}));
    EXPECT_EQ(poll(), (Lines_t{"event 10/3", "shutdown"})) << "as long as it lasts";
    const std::string sensors = realSensors() > 1 ? "00 00 51 30 00 00 51 30" : "00 00 51 30";
    EXPECT_NE(page(2).find(sensors), std::string::npos);
    EXPECT_EQ(world()["alarm"]["state"], chassis.faultAlarm);
    setTemperatures(30);
    Lines_t cool(realSensors(), "event 8/1");
    cool.emplace_back("led-off");
    EXPECT_EQ(poll(), cool);
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);
    EXPECT_TRUE(eventLog().empty()) << "no critical error";
}

TEST_P(Enclosure, GoesOnWhenTheBusDiesInTheMiddleOfAPollAndComesBack) {
    const ChassisCase_t& chassis = GetParam();
    (void)simulator("bus fail 100000 skip 2");
    EXPECT_EQ(poll(), chassis.deadBus);
    EXPECT_TRUE(esa->running());
    (void)simulator("bus ok");
    EXPECT_EQ(poll(), chassis.livingBus);
    EXPECT_EQ(page(2), pageOf(chassis.supplies, chassis.fans, chassis.sensors));
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);
    EXPECT_TRUE(eventLog().empty()) << "no critical error";
}
