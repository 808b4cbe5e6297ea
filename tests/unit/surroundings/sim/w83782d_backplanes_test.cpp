/** The wiring of the W83782D backplanes, seen from the bus: one alone, and those of the Chenbro enclosure. */
#include "chassis_fixture.h"

namespace {

class W83782dBackplane : public Chassis {
    void SetUp() override { power("w83782d"); }
};

TEST_F(W83782dBackplane, HealthyAtPowerOnAndWithoutDriveLeds) {
    const char* const registers[] = {"5e", "5e", "ce", "ba", "c5", "23", "36", "1e", "4b", "4b", "4b"};
    for (unsigned i = 0; i < 11; ++i) {
        EXPECT_EQ(read(0x28, 0x20 + i), registers[i]) << i;
    }
    EXPECT_EQ(read(0x28, 0x48), "28");
    EXPECT_EQ(world().drives[0].led, std::nullopt);
}

TEST_F(W83782dBackplane, EachFanHasItsOwnPwmRegister) {
    const unsigned pwm[] = {0x5B, 0x5E, 0x5F};
    for (unsigned fan = 0; fan < 3; ++fan) {
        power("w83782d");
        write(0x28, pwm[fan], "40");
        enclosure->advance(60);
        for (unsigned other = 0; other < 3; ++other) {
            EXPECT_EQ(read(0x28, 0x28 + other), other == fan ? "92" : "4b") << fan << " " << other;
        }
    }
}

TEST_F(W83782dBackplane, FailedSupplyDragsTheRailsPulledOneDoesNot) {
    supply(1, SupplyState_e::PULLED);
    EXPECT_EQ(read(0x28, 0x23), "ba");
    supply(1, SupplyState_e::FAILED);
    EXPECT_EQ(read(0x28, 0x23), "9c");
    EXPECT_EQ(read(0x28, 0x24), "a8");
    EXPECT_EQ(read(0x28, 0x22), "ce");
    supply(1, SupplyState_e::OK);
    EXPECT_EQ(read(0x28, 0x23), "ba");
}

TEST_F(W83782dBackplane, BeeperSoundsWhileNotMuted) {
    write(0x28, 0x4D, "95");
    write(0x28, 0x40, "40");
    EXPECT_FALSE(world().alarm.sounding);
    EXPECT_EQ(world().alarm.state, 3u);
    write(0x28, 0x40, "00");
    EXPECT_TRUE(world().alarm.sounding);
    EXPECT_EQ(world().alarm.state, 1u);
}

class ChenbroChassis : public Chassis {
    void SetUp() override { power("chenbro"); }
};

TEST_F(ChenbroChassis, EveryMonitorTellsItsAddressAndHealthyRails) {
    for (const unsigned address : {0x28u, 0x29u, 0x2Au, 0x2Bu, 0x2Cu, 0x30u}) {
        EXPECT_EQ(read(address, 0x48), oneByte(address));
        EXPECT_EQ(read(address, 0x23), "ba");
        EXPECT_EQ(read(address, 0x24), "c5");
    }
    EXPECT_EQ(read(0x2D, 0x48), "nack");
}

TEST_F(ChenbroChassis, BackplanesMeasureTheirOwnTemperatureAndRails) {
    EXPECT_EQ(read(0x28, 0x27), "1e");
    EXPECT_EQ(read(0x2A, 0x27), "1f");
    EXPECT_EQ(read(0x2C, 0x27), "1d");
    world().sensors[3].set = -10;
    enclosure->advance(1);
    EXPECT_EQ(read(0x30, 0x27), "f6");
    world().boards[1].set[4] = 10.0;
    enclosure->changed();
    EXPECT_EQ(read(0x2A, 0x24), "a4");
    EXPECT_EQ(read(0x28, 0x24), "c5");
    EXPECT_EQ(read(0x2C, 0x24), "c5");
}

TEST_F(ChenbroChassis, EachFanHasItsMonitorTachometerAndPwmRegister) {
    const struct {
        unsigned address, tachometer, pwm;
    } fans[] = {{0x28, 0x28, 0x5B}, {0x28, 0x29, 0x5A}, {0x29, 0x28, 0x5B},
                {0x2A, 0x28, 0x5B}, {0x2B, 0x28, 0x5B}, {0x2B, 0x29, 0x5A}};
    for (std::size_t fan = 0; fan < 6; ++fan) {
        power("chenbro");
        write(fans[fan].address, fans[fan].pwm, "40");
        enclosure->advance(60);
        for (std::size_t other = 0; other < 6; ++other) {
            EXPECT_EQ(read(fans[other].address, fans[other].tachometer), other == fan ? "92" : "4b")
                << fan << " " << other;
        }
    }
}

TEST_F(ChenbroChassis, OneBackplaneAloneSoundsTheAlarm) {
    for (const unsigned address : {0x28u, 0x2Au, 0x2Cu, 0x30u}) {
        write(address, 0x4D, "95");
        write(address, 0x40, "41");
    }
    EXPECT_FALSE(world().alarm.sounding);
    write(0x2C, 0x40, "01");
    EXPECT_TRUE(world().alarm.sounding);
}

} // namespace
