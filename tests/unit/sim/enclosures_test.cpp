/** The wiring of the VSC055 backplanes, seen from the bus: which register tells or does what. And what chassis there
 * are. */
#include "chassis_fixture.h"

namespace {

TEST(ChassisTable, KnowsFiveAndNoOther) {
    EXPECT_EQ(chassisNames(), (std::vector<std::string>{"vsc055", "quadra", "xyratex", "chenbro", "w83782d"}));
    for (const std::string& name : chassisNames()) {
        EXPECT_EQ(makeEnclosure(name)->chassis(), name);
    }
    EXPECT_EQ(makeEnclosure("toaster"), nullptr);
}

TEST(ChassisTable, EachHasItsDimensionsAndAddresses) {
    const struct {
        const char* name;
        std::size_t drives, supplies, fans, sensors;
        const char* addresses;
    } rows[] = {{"vsc055", 16, 2, 3, 3, "41 4a 4b 4c"},
                {"quadra", 16, 3, 3, 3, "41 4a 4b 4c"},
                {"xyratex", 12, 2, 8, 2, "4c 4d 63"},
                {"chenbro", 16, 3, 6, 4, "28 29 2a 2b 2c 30"},
                {"w83782d", 16, 2, 3, 1, "28"}};
    for (const auto& row : rows) {
        const auto enclosure = makeEnclosure(row.name);
        EXPECT_EQ(enclosure->world().drives.size(), row.drives) << row.name;
        EXPECT_EQ(enclosure->world().supplies.size(), row.supplies) << row.name;
        EXPECT_EQ(enclosure->world().fans.size(), row.fans) << row.name;
        EXPECT_EQ(enclosure->world().sensors.size(), row.sensors) << row.name;
        EXPECT_EQ(lowerHex(enclosure->bus().addresses()), row.addresses) << row.name;
    }
}

class Vsc055Backplane : public Chassis {
protected:
    void SetUp() override {
        power("vsc055");
        directions(0x41, "00 00 3f 00 a7 00 00 00");
    }
};

TEST_F(Vsc055Backplane, HealthyAtPowerOn) {
    EXPECT_EQ(read(0x41, 0x04), "ff");
    EXPECT_EQ(lm75(0x4C), "00 1e");
    EXPECT_EQ(lm75(0x4B), "80 1e");
    EXPECT_EQ(lm75(0x4A), "80 1d");
    for (const Drive_t& drive : world().drives) {
        EXPECT_EQ(drive.led, false);
    }
}

TEST_F(Vsc055Backplane, RedundancyInputNeedsEverySupply) {
    write(0x41, 0x04, "50");
    EXPECT_EQ(read(0x41, 0x04), "f7");
    supply(1, SupplyState_e::FAILED);
    EXPECT_EQ(read(0x41, 0x04), "77");
    supply(1, SupplyState_e::OK);
    EXPECT_EQ(read(0x41, 0x04), "f7");
    supply(0, SupplyState_e::PULLED);
    EXPECT_EQ(read(0x41, 0x04), "77");
}

TEST_F(Vsc055Backplane, BeeperFollowsPort4Bit3) {
    write(0x41, 0x04, "58");
    EXPECT_TRUE(world().alarm.sounding);
    EXPECT_EQ(world().alarm.state, 1u);
    write(0x41, 0x04, "50");
    EXPECT_FALSE(world().alarm.sounding);
    EXPECT_EQ(world().alarm.state, 3u);
}

TEST_F(Vsc055Backplane, ClearLineLowSilencesTheSupplies) {
    write(0x41, 0x04, "50");
    supply(0, SupplyState_e::FAILED);
    EXPECT_TRUE(world().supplies[0].alarm);
    write(0x41, 0x04, "10");
    EXPECT_FALSE(world().supplies[0].alarm);
    write(0x41, 0x04, "50");
    EXPECT_FALSE(world().supplies[0].alarm);
}

TEST_F(Vsc055Backplane, DriveLedsAreActiveLowOnPorts6And7) {
    write(0x41, 0x06, "7e");
    write(0x41, 0x07, "fe");
    for (std::size_t drive = 0; drive < 16; ++drive) {
        EXPECT_EQ(world().drives[drive].led, drive == 0 || drive == 7 || drive == 8) << drive;
    }
}

TEST_F(Vsc055Backplane, FansFollowTheirPwmOutputAndShowOnTheirTachometer) {
    for (unsigned fan = 0; fan < 3; ++fan) {
        write(0x41, 0x98 + fan, "2f");
        write(0x41, 0x30 + 4 * fan, "81");
    }
    enclosure->advance(60);
    EXPECT_EQ(read(0x41, 0x32), "63"); // 6075 RPM
    EXPECT_EQ(read(0x41, 0x36), "63");
    EXPECT_EQ(read(0x41, 0x3A), "63");
    write(0x41, 0x99, "00");
    enclosure->advance(60);
    EXPECT_EQ(read(0x41, 0x32), "63");
    EXPECT_EQ(read(0x41, 0x36), "ff");
}

TEST_F(Vsc055Backplane, Port1DoesNotPowerTheFans) {
    write(0x41, 0x11, "00");
    write(0x41, 0x01, "00");
    enclosure->advance(30);
    EXPECT_DOUBLE_EQ(world().fans[0].rpm, 9000);
}

TEST_F(Vsc055Backplane, TimeStandsStillWhileFrozen) {
    enclosure->setFrozen(true);
    write(0x41, 0x98, "00");
    enclosure->advance(60);
    EXPECT_DOUBLE_EQ(world().fans[0].rpm, 9000);
    EXPECT_DOUBLE_EQ(world().seconds, 0);
    enclosure->setFrozen(false);
    enclosure->advance(60);
    EXPECT_LT(world().fans[0].rpm, 1);
}

class Quadra : public Chassis {
    void SetUp() override {
        power("quadra");
        directions(0x41, "00 00 3f 00 a7 00 00 00");
    }
};

TEST_F(Quadra, TachometersCountWithDivisorFour) {
    write(0x41, 0x98, "2f");
    write(0x41, 0x30, "82");
    enclosure->advance(60);
    EXPECT_EQ(read(0x41, 0x32), "4a"); // 4050 RPM
}

TEST_F(Quadra, LosesRedundancyWithTheThirdSupply) {
    supply(2, SupplyState_e::PULLED);
    write(0x41, 0x04, "50");
    EXPECT_EQ(read(0x41, 0x04), "77");
}

} // namespace
