/** The wiring of the VSC055 backplanes, seen from the bus: which register tells or does what. And what chassis there
 * are. */
#include "chassis_fixture.h"

namespace {

TEST(ChassisTable, KnowsFiveWithTheirDimensionsAndAddressesAndNoOther) {
    const std::pair<const char*, const char*> rows[] = {
        {"vsc055", "16 drives, 2 supplies, 3 fans, 3 sensors, 41 4a 4b 4c"},
        {"quadra", "16 drives, 3 supplies, 3 fans, 3 sensors, 41 4a 4b 4c"},
        {"xyratex", "12 drives, 2 supplies, 8 fans, 2 sensors, 4c 4d 63"},
        {"chenbro", "16 drives, 3 supplies, 6 fans, 4 sensors, 28 29 2a 2b 2c 30"},
        {"w83782d", "16 drives, 2 supplies, 3 fans, 1 sensors, 28"}};
    std::vector<std::string> names;
    for (const auto& [name, dimensions] : rows) {
        names.emplace_back(name);
        const auto enclosure = makeEnclosure(name);
        EXPECT_EQ(enclosure->chassis(), name);
        const World_t& world = enclosure->world();
        EXPECT_EQ(std::to_string(world.drives.size()) + " drives, " + std::to_string(world.supplies.size()) +
                      " supplies, " + std::to_string(world.fans.size()) + " fans, " +
                      std::to_string(world.sensors.size()) + " sensors, " + lowerHex(enclosure->bus().addresses()),
                  dimensions);
    }
    EXPECT_EQ(chassisNames(), names);
    EXPECT_EQ(makeEnclosure("toaster"), nullptr);
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

TEST_F(Vsc055Backplane, BeeperFollowsPort4Bit3AndClearLineLowSilencesTheSupplies) {
    write(0x41, 0x04, "58");
    EXPECT_TRUE(world().alarm.sounding);
    EXPECT_EQ(world().alarm.state, 1u);
    write(0x41, 0x04, "50");
    EXPECT_FALSE(world().alarm.sounding);
    EXPECT_EQ(world().alarm.state, 3u);
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

TEST_F(Vsc055Backplane, FansFollowTheirPwmOutputAndNotPort1AndShowOnTheirTachometer) {
    write(0x41, 0x11, "00");
    write(0x41, 0x01, "00");
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

TEST_F(Quadra, TachometersCountWithDivisorFourAndRedundancyNeedsTheThirdSupplyToo) {
    write(0x41, 0x98, "2f");
    write(0x41, 0x30, "82");
    enclosure->advance(60);
    EXPECT_EQ(read(0x41, 0x32), "4a"); // 4050 RPM
    supply(2, SupplyState_e::PULLED);
    write(0x41, 0x04, "50");
    EXPECT_EQ(read(0x41, 0x04), "77");
}

} // namespace
