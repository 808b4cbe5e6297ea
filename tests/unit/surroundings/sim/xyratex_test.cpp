/** The wiring of the Xyratex enclosure, seen from the bus, and its alarm controller. */
#include "chassis_fixture.h"

namespace {

class XyratexChassis : public Chassis {
protected:
    void SetUp() override {
        power("xyratex");
        directions(0x63, "ff 00 ff 0f 30 10 00 00");
    }
    void setAlarm(unsigned state) {
        write(0x63, 0x05, oneByte(state | 8));
        write(0x63, 0x05, oneByte(state));
    }
    /** Bits 0, 1, 2 as the three selections show them. */
    std::string alarmBits() {
        std::string all;
        for (const char* const select : {"00", "01", "02"}) {
            write(0x63, 0x05, select);
            all += (unhex(read(0x63, 0x05))[0] & 0x10) != 0 ? "1" : "0";
        }
        return all;
    }
};

TEST_F(XyratexChassis, PresenceIsActiveLowOnPorts0And3) {
    EXPECT_EQ(read(0x63, 0x00), "00");
    write(0x63, 0x03, "00");
    EXPECT_EQ(read(0x63, 0x03), "00");
    for (const std::size_t drive : {0, 7, 8, 11}) {
        world().drives[drive].present = false;
    }
    enclosure->changed();
    EXPECT_EQ(read(0x63, 0x00), "81");
    EXPECT_EQ(read(0x63, 0x03), "09");
}

TEST_F(XyratexChassis, SupplyInputsTellVoltagesAndRedundancy) {
    write(0x63, 0x04, "fc");
    EXPECT_EQ(read(0x63, 0x04), "fc");
    supply(0, SupplyState_e::PULLED);
    EXPECT_EQ(read(0x63, 0x04), "dc");
    supply(0, SupplyState_e::FAILED);
    EXPECT_EQ(read(0x63, 0x04), "cc");
    supply(0, SupplyState_e::OK);
    EXPECT_EQ(read(0x63, 0x04), "fc");
}

TEST_F(XyratexChassis, ChassisLedsAreActiveHighOnPort6) {
    write(0x63, 0x06, "2f");
    using Leds_t = std::vector<std::pair<std::string, bool>>;
    EXPECT_EQ(world().leds, (Leds_t{{"psuOk", true}, {"redundancyFail", false}, {"fanFail", false}}));
    write(0x63, 0x06, "cf");
    EXPECT_EQ(world().leds, (Leds_t{{"psuOk", false}, {"redundancyFail", true}, {"fanFail", true}}));
}

TEST_F(XyratexChassis, DriveLedsAreActiveLowOnPorts7And6) {
    write(0x63, 0x07, "fe");
    write(0x63, 0x06, "27");
    for (std::size_t drive = 0; drive < 12; ++drive) {
        EXPECT_EQ(world().drives[drive].led, drive == 0 || drive == 11) << drive;
    }
}

TEST_F(XyratexChassis, FrontFansFollowOutput0AndBackFansOutput1) {
    write(0x63, 0x98, "27");
    enclosure->advance(60);
    for (unsigned fan = 0; fan < 8; ++fan) {
        write(0x63, 0x30 + 4 * fan, "80");
        EXPECT_EQ(read(0x63, 0x32 + 4 * fan), fan < 4 ? "c3" : "64") << fan; // 6150 and 12000 RPM
    }
}

TEST_F(XyratexChassis, LeftAndRightSensors) {
    EXPECT_EQ(lm75(0x4C), "00 1e");
    EXPECT_EQ(lm75(0x4D), "80 1e");
}

TEST_F(XyratexChassis, AlarmTakesEachStateOnTheFallingStrobeAndShowsItsBits) {
    const char* const bits[] = {"000", "100", "010", "110", "001", "101", "011", "111"};
    for (unsigned state = 0; state < 8; ++state) {
        setAlarm(state);
        EXPECT_EQ(world().alarm.state, state);
        EXPECT_EQ(world().alarm.sounding, state == 1 || state == 2 || state == 4) << state;
        EXPECT_EQ(alarmBits(), bits[state]);
        EXPECT_EQ(world().alarm.state, state) << "reading back has changed it";
    }
    write(0x63, 0x05, "03");
    EXPECT_EQ(world().alarm.state, 7u) << "without a strobe";
    write(0x63, 0x05, "0b");
    EXPECT_EQ(world().alarm.state, 7u) << "not before the strobe falls";
}

TEST_F(XyratexChassis, LostSupplySoundsTheFaultThenReminds) {
    setAlarm(0);
    supply(1, SupplyState_e::PULLED);
    enclosure->advance(0.1);
    EXPECT_EQ(world().alarm.state, 1u);
    enclosure->advance(119);
    EXPECT_EQ(world().alarm.state, 1u);
    enclosure->advance(1);
    EXPECT_EQ(world().alarm.state, 2u);
    supply(1, SupplyState_e::OK);
    enclosure->advance(1000);
    EXPECT_EQ(world().alarm.state, 2u) << "the reminder waits for software";
    setAlarm(0);
    enclosure->advance(1000);
    EXPECT_EQ(world().alarm.state, 0u);
}

TEST_F(XyratexChassis, MuteTurnsIntoTheReminderAndCriticalStays) {
    world().alarm.remindAfter = 10;
    setAlarm(3);
    enclosure->advance(9.5);
    EXPECT_EQ(world().alarm.state, 3u);
    enclosure->advance(1);
    EXPECT_EQ(world().alarm.state, 2u);
    setAlarm(4);
    supply(0, SupplyState_e::FAILED);
    enclosure->advance(1000);
    EXPECT_EQ(world().alarm.state, 4u);
}

} // namespace
