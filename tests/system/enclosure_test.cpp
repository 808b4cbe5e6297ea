/** Every chassis managed end to end on the simulated enclosure, whose time stands still: its values are exact. */
#include <gmock/gmock.h>

#include <ostream>

#include "system_test.h"

using namespace testsupport;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

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
    int driveLeds;          // 1: the slots have fault LEDs
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

const ChassisCase_t CHASSIS[] = {
    {"vsc055",
     5,
     "01 10 00 00 02 02 00 00 03 03 00 00 04 03 00 00 06 01 00",
     16,
     "7C",
     times(2, "01 00 00 01"),
     times(3, "00 C0 7F E0"),
     {"00 00 32 00", "00 00 32 00", "00 00 31 00"},
     "00 00 00 E0",
     "05 00 00 03",
     1,
     "MUTE",
     "FAULT",
     BACKPLANE_LOST,
     BACKPLANE_FOUND,
     VSC055_DEAD,
     VSC055_LIVING},
    {"quadra",
     3,
     "01 10 00 00 02 03 00 00 03 03 00 00 04 03 00 00 06 01 00",
     16,
     "80",
     times(3, "01 00 00 01"),
     times(3, "00 80 58 E0"),
     {"00 00 32 00", "00 00 32 00", "00 00 31 00"},
     "00 00 00 E0",
     "05 00 00 03",
     1,
     "MUTE",
     "FAULT",
     BACKPLANE_LOST,
     BACKPLANE_FOUND,
     VSC055_DEAD,
     VSC055_LIVING},
    {"xyratex",
     2,
     "01 0C 00 00 02 02 00 00 03 08 00 00 04 02 00 00 06 01 00",
     12,
     "7C",
     times(2, "01 00 00 01"),
     times(8, "00 00 B0 E0"),
     {"00 00 32 00", "00 00 32 00"},
     "00 00 00 E0",
     "05 00 00 43",
     1,
     "IDLE",
     "IDLE",
     {"led-on", "email", "event 6/2", "email", "event 6/2"},
     {"event 6/1", "led-off", "event 6/1"},
     VSC055_DEAD,
     VSC055_LIVING},
    {"chenbro",
     4,
     "01 10 00 00 02 03 00 00 03 06 00 00 04 04 00 00 06 01 00",
     16,
     "90",
     times(3, "01 00 00 01"),
     times(6, "00 C0 84 E0"),
     {"00 00 32 00", "00 00 33 00", "00 00 31 00", "00 00 33 00"},
     "00 00 00 08",
     "05 00 00 43",
     0,
     "MUTE",
     "FAULT",
     BACKPLANE_LOST,
     BACKPLANE_FOUND,
     WINBOND_DEAD,
     WINBOND_LIVING},
    {"w83782d",
     6,
     "01 10 00 00 02 02 00 00 03 03 00 00 04 03 00 00 06 01 00",
     16,
     "7C",
     times(2, "01 00 00 01"),
     times(3, "00 C0 84 E0"),
     {"00 00 32 00", "00 00 00 00", "00 00 00 00"},
     "00 00 00 08",
     "05 00 00 43",
     0,
     "MUTE",
     "FAULT",
     BACKPLANE_LOST,
     BACKPLANE_FOUND,
     WINBOND_DEAD,
     WINBOND_LIVING},
};

class Enclosure : public SystemTest, public testing::WithParamInterface<ChassisCase_t> {
protected:
    /** Starts everything; returns when the chassis is initialised. */
    void SetUp() override {
        startSimulator(GetParam().name);
        makeBlock(GetParam().type);
        startSwitch();
        startAdapter();
        const std::optional<Bytes_t> notice = messageSwitch->receive();
        ASSERT_TRUE(notice.has_value());
        EXPECT_EQ(hexOf(*notice, 8, 16), "0E 01 00 40 0C 00 00 01 21 00 00 00 00 04 00 00");
        configuration = page(1, &startMessages);
    }

    /** The status page, as it is sent: without its last byte. `leds` are the slots whose fault LED was asked for. */
    static std::string pageOf(const Lines_t& supplies, const Lines_t& fans, const Lines_t& sensors,
                              const std::vector<std::size_t>& leds = {}) {
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

    void setTemperatures(int celsius) const {
        for (std::size_t sensor = 0; sensor < realSensors(); ++sensor) {
            (void)simulator("temp " + std::to_string(sensor) + " " + std::to_string(celsius));
        }
    }

    /** A control page that asks for the fault LEDs of these slots and says nothing of the other elements. */
    static Bytes_t controlPage(unsigned requestor, const std::vector<std::size_t>& leds) {
        Bytes_t bytes = unhex("1D 10 00 00 00 00 00 00 02 00 00 00 00 00 00 00 00 00 00 00");
        for (std::size_t drive = 0; drive < GetParam().drives; ++drive) {
            const bool lit = std::find(leds.begin(), leds.end(), drive) != leds.end();
            const Bytes_t record = {0, 0, 0, static_cast<std::uint8_t>(lit ? 0x04 : 0x00)};
            bytes.insert(bytes.end(), record.begin(), record.end());
        }
        bytes.resize(bytes.size() + 4 * (4 + GetParam().supplies.size() + GetParam().fans.size() +
                                         GetParam().sensors.size() + 1 + 4)); // the other lists, nothing selected
        const std::size_t list = bytes.size() - 8;
        testsupport::put16(bytes, 4, static_cast<unsigned>(list));
        testsupport::put16(bytes, 10, static_cast<unsigned>(list - 4));
        return messageToAdapter(18, 0x1D, requestor, bytes);
    }

    std::vector<std::size_t> litDrives() const {
        std::vector<std::size_t> lit;
        for (const JsonValue_t& drive : world()["drives"].elements()) {
            if (drive["led"] == true) {
                lit.push_back(static_cast<std::size_t>(drive["index"].number()));
            }
        }
        return lit;
    }

    /* What happens to it. */
    void isInitialisedPolledAndShownByteForByte();
    void fanStallsAndRecovers();
    void overheatsAndCools();
    void supplyIsLostAndFound();
    void busDiesInTheMiddleOfAPollAndComesBack();
    void volumeManagerLightsLedsWithoutAReplyAndAnybodyElseGetsOne();

    std::string configuration;
    Lines_t startMessages;
};

INSTANTIATE_TEST_SUITE_P(On, Enclosure, testing::ValuesIn(CHASSIS),
                         [](const auto& instance) { return std::string(instance.param.name); });

} // namespace

void Enclosure::isInitialisedPolledAndShownByteForByte() {
    const ChassisCase_t& chassis = GetParam();
    EXPECT_THAT(startMessages, IsEmpty());
    std::string expected = "01 00 00 40 00 00 00 00 20 00 05 24";
    for (int i = 0; i < 36; ++i) {
        expected += " 00";
    }
    EXPECT_EQ(configuration, expected + " " + chassis.counts);
    const std::string status = pageOf(chassis.supplies, chassis.fans, chassis.sensors);
    Lines_t before;
    EXPECT_EQ(page(2, &before), status);
    EXPECT_THAT(poll(), IsEmpty());
    EXPECT_EQ(page(2, &before), status);
    EXPECT_THAT(before, IsEmpty());

    const JsonValue_t now = world();
    EXPECT_EQ(now["fans"].size(), chassis.fans.size());
    EXPECT_EQ(now["supplies"].size(), chassis.supplies.size());
    EXPECT_EQ(now["drives"].size(), chassis.drives);
    EXPECT_EQ(now["alarm"]["state"], chassis.alarm);
    EXPECT_EQ(now["transfers"]["failed"], 0);
}

void Enclosure::fanStallsAndRecovers() {
    const ChassisCase_t& chassis = GetParam();
    (void)simulator("fan 1 stall");
    EXPECT_THAT(poll(), ElementsAre("event 7/2", "led-on", "email"));
    EXPECT_EQ(world()["alarm"]["state"], chassis.faultAlarm);
    Lines_t fans = chassis.fans;
    fans[1] = chassis.stalledFan;
    EXPECT_EQ(page(2), pageOf(chassis.supplies, fans, chassis.sensors));
    EXPECT_THAT(poll(), IsEmpty()) << "a fault is told once";
    (void)simulator("fan 1 ok");
    EXPECT_THAT(poll(), ElementsAre("event 7/2", "led-off"));
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);
}

void Enclosure::overheatsAndCools() {
    const ChassisCase_t& chassis = GetParam();
    setTemperatures(60);
    Lines_t hot(realSensors(), "event 8/2");
    EXPECT_THAT(poll(), ElementsAreArray(hot)) << "60 degrees are not too hot yet";
    setTemperatures(61);
    EXPECT_THAT(poll(), ElementsAre("led-on", "email", "event 10/3", "shutdown"));
    EXPECT_THAT(poll(), ElementsAre("event 10/3", "shutdown")) << "as long as it lasts";
    Lines_t sensors = chassis.sensors;
    for (std::size_t sensor = 0; sensor < realSensors(); ++sensor) {
        sensors[sensor] = "00 00 51 30";
    }
    EXPECT_THAT(page(2), HasSubstr(sensors[0] + (realSensors() > 1 ? " " + sensors[1] : "")));
    EXPECT_EQ(world()["alarm"]["state"], chassis.faultAlarm);
    setTemperatures(30);
    Lines_t cool(realSensors(), "event 8/1");
    cool.emplace_back("led-off");
    EXPECT_THAT(poll(), ElementsAreArray(cool));
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);
}

void Enclosure::supplyIsLostAndFound() {
    const ChassisCase_t& chassis = GetParam();
    (void)simulator("psu 0 fail");
    EXPECT_THAT(poll(), ElementsAreArray(chassis.supplyLost));
    const Lines_t bad(chassis.supplies.size(), chassis.failedSupply);
    EXPECT_EQ(page(2), pageOf(bad, chassis.fans, chassis.sensors));
    (void)simulator("psu 0 ok");
    EXPECT_THAT(poll(), ElementsAreArray(chassis.supplyFound));
    EXPECT_EQ(page(2), pageOf(chassis.supplies, chassis.fans, chassis.sensors));
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);
}

void Enclosure::volumeManagerLightsLedsWithoutAReplyAndAnybodyElseGetsOne() {
    const ChassisCase_t& chassis = GetParam();
    ASSERT_TRUE(messageSwitch->send(controlPage(20, {0, 3, 11})));
    Lines_t before;
    const std::string lit = page(2, &before);
    EXPECT_EQ(lit, pageOf(chassis.supplies, chassis.fans, chassis.sensors, {0, 3, 11}));
    EXPECT_THAT(before, ElementsAre("event 5/2")) << "the next reply is the status page's";
    if (chassis.driveLeds == 1) {
        EXPECT_THAT(litDrives(), ElementsAre(0U, 3U, 11U));
    }
    before.clear();
    const Bytes_t reply = ask(controlPage(28, {3}), &before);
    EXPECT_EQ(reply[64], 0) << "a good status";
    EXPECT_EQ(reply[18], 28) << "to the one who asked";
    EXPECT_THAT(before, ElementsAre("event 5/2"));
    if (chassis.driveLeds == 1) {
        EXPECT_THAT(litDrives(), ElementsAre(3U));
    } else {
        EXPECT_THAT(litDrives(), IsEmpty());
    }
    EXPECT_EQ(page(2), pageOf(chassis.supplies, chassis.fans, chassis.sensors, {3}));
}

void Enclosure::busDiesInTheMiddleOfAPollAndComesBack() {
    const ChassisCase_t& chassis = GetParam();
    (void)simulator("bus fail 100000 skip 2");
    EXPECT_THAT(poll(), ElementsAreArray(chassis.deadBus));
    EXPECT_TRUE(esa->running());
    (void)simulator("bus ok");
    EXPECT_THAT(poll(), ElementsAreArray(chassis.livingBus));
    EXPECT_EQ(page(2), pageOf(chassis.supplies, chassis.fans, chassis.sensors));
    EXPECT_EQ(world()["alarm"]["state"], chassis.alarm);
}

TEST_P(Enclosure, IsInitialisedPolledAndShownByteForByteLosesASupplyAndLightsItsLeds) {
    isInitialisedPolledAndShownByteForByte();
    supplyIsLostAndFound();
    volumeManagerLightsLedsWithoutAReplyAndAnybodyElseGetsOne();
    EXPECT_THAT(eventLog(), IsEmpty()) << "no critical error";
}

TEST_P(Enclosure, LosesAFanAndGetsItBackAndOverheatsAndCools) {
    fanStallsAndRecovers();
    overheatsAndCools();
    EXPECT_THAT(eventLog(), IsEmpty()) << "no critical error";
}

TEST_P(Enclosure, GoesOnWhenTheBusDiesInTheMiddleOfAPollAndComesBack) {
    busDiesInTheMiddleOfAPollAndComesBack();
    EXPECT_THAT(eventLog(), IsEmpty()) << "no critical error";
}
