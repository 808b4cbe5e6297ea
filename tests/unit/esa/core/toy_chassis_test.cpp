/**
 * The table proves itself: an adapter whose table holds one row more, of a toy, starts it, polls it and answers for it.
 * No other file of the adapter is changed for that; the table below takes the place of the adapter's own when the
 * program is linked.
 */
#include "toy_chassis.h"

#include <cstring>

#include "esa_fixture.h"
#include "messaging/dispatch.h"

#define CHASSIS(number, constant, name, ...) extern const Chassis_t name##Chassis;
#include "chassis_list.def"

namespace {

constexpr const Chassis_t* ROWS[] = {
#define CHASSIS(number, constant, name, ...) &name##Chassis,
#include "chassis_list.def"
    &toyChassis,
};

} // namespace

const std::span<const Chassis_t* const> chassisTable{ROWS};

namespace {

class ToyChassis : public EsaTest {
protected:
    ToyChassis() {
        startChassis(100, 0);
        esaControl.i2cConnected = 0;
        esaControl.selectTimeout = {1, 0};
        setRpm(0, 3000);
        setRpm(1, 3000);
        fakeBus.set(0x55, 0x30, 30);
        fakeBus.set(0x55, 0x60, 1);
        (void)takeTrace();
    }

    /** Brings the toy up and forgets how. */
    void startToy() {
        esaInitChassis();
        (void)fakeBus.takeTransfers();
        (void)takeTrace();
    }

    static void setRpm(int fan, int rpm) {
        fakeBus.set(0x55, 0x10 + 2 * fan, rpm >> 8);
        fakeBus.set(0x55, 0x11 + 2 * fan, rpm & 0xFF);
    }

    /** The pass of the main loop on which the countdown has run out. */
    static void poll() {
        esaControl.pollTimeout = {0, 0};
        esaProcessPollTimeout();
    }

    /** Hands the adapter a message with `payload` behind its header. */
    void receive(U32_t type, const std::string& payload) {
        const Bytes_t bytes = unhex(payload);
        const MMSG_t& mmsg = request(18, type, 28, static_cast<int>(64 + bytes.size()));
        std::memcpy(esaControl.esaInMsg + 64, bytes.data(), bytes.size());
        esaProcMmsgMsg(mmsg);
    }
};

} // namespace

TEST_F(ToyChassis, IsInitialisedByItsRow) {
    esaInitChassis();
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"R 55 00", "W 55 20 19", "W 55 21 19"}));
    EXPECT_EQ(takeTrace(), (Lines_t{"The toy is ready."}));
    EXPECT_EQ(esaControl.i2cConnected, 1);
    EXPECT_EQ(esaControl.deviceMaxNumber, 4);
    EXPECT_EQ(takeMessageNames(), Lines_t{});
}

TEST_F(ToyChassis, WithoutItsChipItIsABusFault) {
    fakeBus.failTransfer(0);
    esaInitChassis();
    EXPECT_EQ(takeMessageNames(), (Lines_t{"event 10/2", "led-on", "email"}));
    EXPECT_EQ(takeTrace().back(), "The toy is broken.");
    poll();
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"R 55 00 !"})) << "an unusable bus is not polled";
}

TEST_F(ToyChassis, IsPolledWithTheSharedPolicy) {
    startToy();
    fakeBus.set(0x55, 0x30, 40);
    poll();
    EXPECT_EQ(fakeBus.takeTransfers(),
              (Lines_t{"R 55 60", "R 55 10 x2", "R 55 12 x2", "R 55 30", "W 55 20 32", "W 55 21 32"}));
    EXPECT_EQ(takeMessageNames(), (Lines_t{"event 8/1"}));
    setRpm(1, 1999);
    poll();
    EXPECT_EQ(takeMessageNames(), (Lines_t{"event 7/2", "led-on", "email"}));
    EXPECT_EQ(fakeBus.takeTransfers(),
              (Lines_t{"R 55 60", "R 55 10 x2", "R 55 12 x2", "W 55 50 01", "R 55 30", "W 55 20 64", "W 55 21 64"}))
        << "the alarm sounds";
    setRpm(1, 2000);
    poll();
    EXPECT_EQ(takeMessageNames(), (Lines_t{"event 7/2", "led-off"}));
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"R 55 60", "R 55 10 x2", "R 55 12 x2", "W 55 50 03", "R 55 30"}))
        << "it falls silent";
}

TEST_F(ToyChassis, StatusPageHasItsElements) {
    startToy();
    setRpm(1, 0);
    fakeBus.set(0x55, 0x60, 0);
    receive(28, "1C 80 02 00 01 00 00 00");
    const std::vector<Bytes_t> messages = takeMessages();
    ASSERT_EQ(messages.size(), 2U) << "the supply's event goes first";
    ASSERT_EQ(messages[1].size(), 128U) << "status pages go out without their last byte";
    EXPECT_EQ(hex(&messages[1][64], 64), "00 "                                  // status GOOD
                                         "02 00 00 3C 00 00 00 00 "             // page, 60 bytes follow
                                         "00 00 00 00 01 00 00 00 01 01 00 00 " // drives 0, 1
                                         "01 02 00 00 01 03 00 00 "             // drives 2, 3
                                         "00 00 00 00 05 00 00 03 "             // supply, not installed
                                         "00 00 00 00 00 40 2C E0 00 00 00 08 " // fans: 3000 RPM, stopped
                                         "00 00 00 00 00 00 32 00 "             // 30 degrees
                                         "00 00 00 00 00 00 00");               // alarm
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"R 55 60", "W 55 61 00", "R 55 10 x2", "R 55 12 x2", "R 55 30"}));
}

TEST_F(ToyChassis, ControlPageReachesItsDriver) {
    startToy();
    esaControl.powerSupplyStatus |= 0x4;
    receive(29, "1D 08 00 00 00 44 00 00 "  // SEND DIAGNOSTIC
                "02 00 00 40 00 00 00 00 "  // control page
                "00 00 00 80 80 00 00 00 "  // drives: overall, 0
                "80 00 00 04 80 00 00 00 "  // 1 faulty, 2
                "80 00 00 00 "              // 3
                "00 00 00 80 80 00 00 02 "  // supply faulty
                "00 00 00 80 80 00 00 04 "  // fan 0 on
                "80 00 00 00 "              // fan 1 off
                "00 00 00 00 00 00 00 00 "  // temperature sensors
                "00 00 00 80 80 00 00 40"); // alarm critical
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"W 55 41 01", "W 55 61 00", "W 55 20 64", "W 55 21 00", "W 55 50 04"}));
    EXPECT_EQ(esaControl.alarmState, 4U);
    EXPECT_EQ(hex(esaControl.fanPwmLoad, 2), "64 00");
    EXPECT_EQ(hex(esaControl.coolingElementOnOff, 2), "02 01");
    EXPECT_EQ(esaControl.driveFaultLedStatus0, 0x2U);
}
