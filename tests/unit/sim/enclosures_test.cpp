/** The wiring of each chassis, seen from the bus: which register tells or does what. */
#include <gtest/gtest.h>

#include "enclosure.h"
#include "hex.h"

namespace {

class Chassis : public testing::Test {
protected:
    void power(const char* name) {
        enclosure = makeEnclosure(name);
        ASSERT_NE(enclosure, nullptr);
    }
    World_t& world() { return enclosure->world(); }

    std::string read(unsigned address, unsigned reg) { return readHex(enclosure->bus(), 1, address, reg); }
    void write(unsigned address, unsigned reg, const std::string& data) {
        EXPECT_TRUE(
            enclosure->bus().write(static_cast<std::uint8_t>(address), static_cast<std::uint8_t>(reg), bytes(data)))
            << address << " " << reg;
    }
    /** Half-degree byte, then whole degrees, as two reads bring them. */
    std::string lm75(unsigned address) {
        const std::string half = read(address, 0);
        return half + " " + read(address, 0);
    }
    void directions(unsigned address, const std::string& eight) {
        const std::vector<std::uint8_t> all = bytes(eight);
        for (unsigned port = 0; port < 8; ++port) {
            EXPECT_TRUE(enclosure->bus().write(static_cast<std::uint8_t>(address),
                                               static_cast<std::uint8_t>(0x10 + port),
                                               std::span(all).subspan(port, 1)));
        }
    }
    void supply(std::size_t index, SupplyState_e state) {
        world().supplies.at(index) = {state, state == SupplyState_e::FAILED};
        enclosure->changed();
    }

    std::unique_ptr<Enclosure_t> enclosure;
};

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
        EXPECT_EQ(hex(enclosure->bus().addresses()), row.addresses) << row.name;
    }
}

/* VSC055 backplanes */

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

/* Xyratex */

class XyratexChassis : public Chassis {
protected:
    void SetUp() override {
        power("xyratex");
        directions(0x63, "ff 00 ff 0f 30 10 00 00");
    }
    void setAlarm(unsigned state) {
        for (const unsigned byte : {state | 8, state}) {
            const auto one = static_cast<std::uint8_t>(byte);
            write(0x63, 0x05, hex({&one, 1}));
        }
    }
    /** Bits 0, 1, 2 as the three selections show them. */
    std::string alarmBits() {
        std::string all;
        for (const char* const select : {"00", "01", "02"}) {
            write(0x63, 0x05, select);
            all += (bytes(read(0x63, 0x05))[0] & 0x10) != 0 ? "1" : "0";
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
    using Leds = std::vector<std::pair<std::string, bool>>;
    EXPECT_EQ(world().leds, (Leds{{"psuOk", true}, {"redundancyFail", false}, {"fanFail", false}}));
    write(0x63, 0x06, "cf");
    EXPECT_EQ(world().leds, (Leds{{"psuOk", false}, {"redundancyFail", true}, {"fanFail", true}}));
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
        EXPECT_EQ(alarmBits(), bits[state]);
        EXPECT_EQ(world().alarm.state, state) << "reading back has changed it";
    }
}

TEST_F(XyratexChassis, AlarmIgnoresTheFieldWithoutAStrobe) {
    setAlarm(1);
    write(0x63, 0x05, "03");
    EXPECT_EQ(world().alarm.state, 1u);
    write(0x63, 0x05, "0b");
    EXPECT_EQ(world().alarm.state, 1u) << "not before the strobe falls";
}

TEST_F(XyratexChassis, AlarmSoundsInFaultRemindAndCritical) {
    for (unsigned state = 0; state < 8; ++state) {
        setAlarm(state);
        EXPECT_EQ(world().alarm.sounding, state == 1 || state == 2 || state == 4) << state;
    }
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

TEST_F(XyratexChassis, MuteTurnsIntoTheReminder) {
    world().alarm.remindAfter = 10;
    setAlarm(3);
    enclosure->advance(9.5);
    EXPECT_EQ(world().alarm.state, 3u);
    enclosure->advance(1);
    EXPECT_EQ(world().alarm.state, 2u);
}

TEST_F(XyratexChassis, CriticalStays) {
    setAlarm(4);
    supply(0, SupplyState_e::FAILED);
    enclosure->advance(1000);
    EXPECT_EQ(world().alarm.state, 4u);
}

TEST_F(XyratexChassis, ControllerLeavesTheAlarmAloneWithoutAuto) {
    world().alarm.automatic = false;
    setAlarm(0);
    supply(0, SupplyState_e::FAILED);
    enclosure->advance(1000);
    EXPECT_EQ(world().alarm.state, 0u);
}

/* W83782D backplane */

class W83782dBackplane : public Chassis {
    void SetUp() override { power("w83782d"); }
};

TEST_F(W83782dBackplane, HealthyAtPowerOn) {
    const char* const registers[] = {"5e", "5e", "ce", "ba", "c5", "23", "36", "1e", "4b", "4b", "4b"};
    for (unsigned i = 0; i < 11; ++i) {
        EXPECT_EQ(read(0x28, 0x20 + i), registers[i]) << i;
    }
    EXPECT_EQ(read(0x28, 0x48), "28");
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

TEST_F(W83782dBackplane, DriveLedsAreNotWired) {
    EXPECT_EQ(world().drives[0].led, std::nullopt);
}

/* Chenbro */

class ChenbroChassis : public Chassis {
    void SetUp() override { power("chenbro"); }
};

TEST_F(ChenbroChassis, EveryMonitorTellsItsAddressAndHealthyRails) {
    for (const unsigned address : {0x28u, 0x29u, 0x2Au, 0x2Bu, 0x2Cu, 0x30u}) {
        const auto byte = static_cast<std::uint8_t>(address);
        EXPECT_EQ(read(address, 0x48), hex({&byte, 1}));
        EXPECT_EQ(read(address, 0x23), "ba");
        EXPECT_EQ(read(address, 0x24), "c5");
    }
    EXPECT_EQ(read(0x2D, 0x48), "nack");
}

TEST_F(ChenbroChassis, BackplanesMeasureTheirOwnTemperature) {
    EXPECT_EQ(read(0x28, 0x27), "1e");
    EXPECT_EQ(read(0x2A, 0x27), "1f");
    EXPECT_EQ(read(0x2C, 0x27), "1d");
    world().sensors[3].set = -10;
    enclosure->advance(1);
    EXPECT_EQ(read(0x30, 0x27), "f6");
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

TEST_F(ChenbroChassis, RailOfOneBackplaneIsItsOwn) {
    world().boards[1].set[4] = 10.0;
    enclosure->changed();
    EXPECT_EQ(read(0x2A, 0x24), "a4");
    EXPECT_EQ(read(0x28, 0x24), "c5");
    EXPECT_EQ(read(0x2C, 0x24), "c5");
}

} // namespace
