/** What status and control pages do on the Xyratex enclosure, through its row. */
#include "driver_test.h"
#include "enclosures/xyratex.h"
#include "policy/temperatures.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const Lines ALARM = {"W 63 05 00", "R 63 05", "W 63 05 01", "R 63 05", "W 63 05 02", "R 63 05"};

class XyratexPages : public DriverTest {
protected:
    XyratexPages() { start(); }

    void start(U32_t alarmState = 0) {
        startCold(2);
        startChassis(2, alarmState);
        esaControl.vitesse.vsc055GPD[6] = 0x2F;
        fakeBus.set(0x63, 0x04, 0x30);
        fakeBus.set(0x63, 0x05, 0x00);
        discard();
    }

    /** The supply record of a status page as hex; the control record's last byte is given. */
    static std::string fill(int control, bool expectChange) {
        PowerSupplyElementStat_t status = {};
        PowerSupplyElementCont_t last = {};
        const Bytes bytes = {0x80, 0x00, 0x00, static_cast<U8_t>(control)};
        std::memcpy(static_cast<void*>(&last), bytes.data(), 4);
        EXPECT_EQ(esaFillPowerSupply(status, last), expectChange);
        return hex(&status, 4);
    }

    /** The cooling record after the fan was marked. */
    static std::string mark(U8_t fan, U16_t rpm, bool expectChange) {
        CoolingElementStat_t status = {};
        EXPECT_EQ(esaMarkCoolingFault(status, fan, rpm), expectChange);
        return hex(&status, 4);
    }
};

} // namespace

TEST_F(XyratexPages, GoodSupplyReadsRedundancyAlarmAndVoltages) {
    EXPECT_EQ(fill(0x00, false), "01 00 00 00");
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04"}, ALARM, {"R 63 04"}}));
    EXPECT_THAT(takeTrace(),
                ElementsAre("Return Power Redundancy Fail Status [OK].", "Power Redundancy Fail LED already [OFF].",
                            "Read the Alarm State as [IDEL_S0].", "PSU OK LED already [ON]."));
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_EQ(fill(0x02, false), "01 00 00 02") << "a requested failure is shown";
    EXPECT_EQ(fill(0xFD, false), "01 00 00 00") << "no other control bit is";
}

TEST_F(XyratexPages, LostRedundancyIsNotInstalledAndLightsItsLed) {
    fakeBus.set(0x63, 0x04, 0x10);
    EXPECT_EQ(fill(0x00, true), "05 00 00 02");
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 04", "W 63 06 6F", "R 63 04"));
    EXPECT_THAT(takeTrace(), ElementsAre("Return Power Redundancy Fail Status [ERROR].",
                                         "Turn [ON] Power Redundancy Fail LED.", "PSU OK LED already [ON]."));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);

    EXPECT_EQ(fill(0x00, false), "05 00 00 02");
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 04", "R 63 04"));
    EXPECT_THAT(takeTrace(), ElementsAre("Return Power Redundancy Fail Status [ERROR].",
                                         "Power Redundancy Fail LED already [ON].", "PSU OK LED already [ON]."));

    fakeBus.set(0x63, 0x04, 0x30);
    EXPECT_EQ(fill(0x00, true), "01 00 00 00");
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 04", "W 63 06 2F", "R 63 04"));
    EXPECT_THAT(takeTrace(), ElementsAre("Return Power Redundancy Fail Status [OK].",
                                         "Turn [OFF] Power Redundancy Fail LED.", "PSU OK LED already [ON]."));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U) << "pages set no cause on this chassis";
    EXPECT_THAT(takeReports(), IsEmpty());
}

TEST_F(XyratexPages, LostVoltagesAreAnAcFailureAndDarkenThePsuOkLed) {
    fakeBus.set(0x63, 0x04, 0x20);
    EXPECT_EQ(fill(0x00, true), "01 00 00 42");
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04"}, ALARM, {"R 63 04", "W 63 06 0F"}}));
    EXPECT_EQ(takeTrace().back(), "Turn [OFF] PSU_OK LED.");
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x2U);

    EXPECT_EQ(fill(0x00, false), "01 00 00 42");
    EXPECT_EQ(takeTrace().back(), "PSU OK LED already [OFF].");
    (void)fakeBus.takeTransfers();

    fakeBus.set(0x63, 0x04, 0x30);
    EXPECT_EQ(fill(0x00, true), "01 00 00 00");
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04"}, ALARM, {"R 63 04", "W 63 06 2F"}}));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_THAT(takeReports(), IsEmpty());
}

TEST_F(XyratexPages, BothInputsLostAreBothShown) {
    fakeBus.set(0x63, 0x04, 0x00);
    EXPECT_EQ(fill(0x00, true), "05 00 00 42");
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 04", "W 63 06 6F", "R 63 04", "W 63 06 4F"));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
}

TEST_F(XyratexPages, EachSupplyReadThatFailsCountsAsBad) {
    fakeBus.failTransfer(0);
    EXPECT_EQ(fill(0x00, true), "05 00 00 02");
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 04 !", "W 63 06 6F", "R 63 04"));
    start();
    fakeBus.failTransfer(7);
    EXPECT_EQ(fill(0x00, true), "01 00 00 42");
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04"}, ALARM, {"R 63 04 !", "W 63 06 0F"}}));
    start();
    esaControl.i2cConnected = 0;
    EXPECT_EQ(fill(0x00, true), "05 00 00 42");
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(XyratexPages, ReminderIsEndedWhileRedundancyStaysGood) {
    start(2);
    fakeBus.queue(0x63, 0x05, {0x00, 0x10, 0x00});
    EXPECT_EQ(fill(0x00, false), "01 00 00 00");
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 63 04"}, ALARM, {"W 63 05 08", "W 63 05 00", "R 63 04"}}));
    EXPECT_THAT(takeReports(), ElementsAre("event 9/1 chassis 2 alarms 1"));
    EXPECT_EQ(esaControl.alarmState, 0U);
    fakeBus.queue(0x63, 0x05, {0x00, 0x10, 0x00});
    EXPECT_EQ(fill(0x00, false), "01 00 00 00");
    EXPECT_THAT(takeReports(), IsEmpty()) << "the state is known to be idle";
}

TEST_F(XyratexPages, FanOfExactlyTheLimitIsFaultyHere) {
    struct {
        U16_t rpm;
        bool faulty;
    } const speeds[] = {{0, true}, {1, true}, {1999, true}, {2000, true}, {2001, false}, {65535, false}};
    for (const auto& speed : speeds) {
        SCOPED_TRACE(speed.rpm);
        start();
        EXPECT_EQ(mark(3, speed.rpm, speed.faulty), speed.faulty ? "00 00 00 02" : "00 00 00 00");
        EXPECT_EQ(esaControl.fanFaultStatus, speed.faulty ? 0x8U : 0U);
    }
}

TEST_F(XyratexPages, LimitOfThePageIsFixed) {
    esaControl.fanFaultRpmLimit = 5000;
    EXPECT_EQ(mark(0, 2001, false), "00 00 00 00");
    esaControl.fanFaultRpmLimit = 100;
    EXPECT_EQ(mark(0, 2000, true), "00 00 00 02");
}

TEST_F(XyratexPages, FanMarkAndFanFailLedFollowEachOther) {
    EXPECT_EQ(mark(7, 1500, true), "00 00 00 02");
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 06 AF"));
    EXPECT_THAT(takeTrace(),
                ElementsAre("Now marking Fault on Fan [7].", "Turn [ON] FAN_FAIL LED.", "Turn [ON] FAN Fail LED."));
    EXPECT_EQ(mark(7, 1500, false), "00 00 00 02");
    EXPECT_THAT(takeTrace(), ElementsAre("Already marked Fault on Fan [7].", "FAN Fail LED already [ON]."));
    EXPECT_EQ(mark(0, 3000, false), "00 00 00 00");
    EXPECT_THAT(takeTrace(), ElementsAre("Already marked OK on Fan [0].", "FAN Fail LED already [ON]."));
    EXPECT_EQ(mark(0, 1999, true), "00 00 00 02");
    EXPECT_EQ(esaControl.fanFaultStatus, 0x81U);
    EXPECT_EQ(mark(7, 3000, true), "00 00 00 00");
    EXPECT_EQ(esaControl.fanFaultStatus, 0x1U);
    (void)takeTrace();
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty()) << "the LED stays on until the last fan is good";
    EXPECT_EQ(mark(0, 3000, true), "00 00 00 00");
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 06 2F"));
    EXPECT_THAT(takeTrace(),
                ElementsAre("Now marking OK on Fan [0].", "Turn [OFF] FAN_FAIL LED.", "Turn [OFF] FAN Fail LED."));
    EXPECT_EQ(mark(0, 3000, false), "00 00 00 00");
    EXPECT_THAT(takeTrace(), ElementsAre("Already marked OK on Fan [0].", "FAN Fail LED already [OFF]."));
    EXPECT_THAT(takeReports(), IsEmpty());
}

TEST_F(XyratexPages, RequestedSupplyFaultIsThePsuOkLedOnly) {
    esaIndicatePowerSupply(true);
    esaIndicatePowerSupply(false);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 63 06 0F", "W 63 06 2F"));
    EXPECT_THAT(takeTrace(), ElementsAre("Turn [OFF] PSU_OK LED.", "Turn [ON] PSU_OK LED."));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_THAT(takeReports(), IsEmpty());
}

TEST_F(XyratexPages, FansAreSwitchedInTwoBanksOfFour) {
    for (U8_t fan = 0; fan < 8; ++fan) {
        SCOPED_TRACE(int{fan});
        start();
        std::memset(esaControl.fanPwmLoad, 50, 8);
        esaControl.vitesse.vsc055GPD[1] = 0xFF;
        const bool front = fan < 4;
        esaControlFan(fan, true);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(front ? "W 63 98 3F" : "W 63 99 3F"));
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), front ? "64 64 64 64 32 32 32 32" : "32 32 32 32 64 64 64 64");
        EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8),
                  front ? "02 02 02 02 00 00 00 00" : "00 00 00 00 02 02 02 02");
        esaControlFan(fan, false);
        EXPECT_EQ(fakeBus.takeTransfers(),
                  front ? (Lines{"W 63 98 00", "W 63 01 FE"}) : (Lines{"W 63 99 00", "W 63 01 FD"}));
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), front ? "00 00 00 00 32 32 32 32" : "32 32 32 32 00 00 00 00");
        EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8),
                  front ? "01 01 01 01 00 00 00 00" : "00 00 00 00 01 01 01 01");
    }
}

TEST_F(XyratexPages, AlarmIsShownAsMutedWhenTheControllerIsIdle) {
    for (int state = 0; state < 8; ++state) {
        SCOPED_TRACE(state);
        start(static_cast<U32_t>(7 - state)); // the stored state does not count
        fakeBus.queue(0x63, 0x05,
                      {(state & 1) != 0 ? 0x10 : 0, (state & 2) != 0 ? 0x10 : 0, (state & 4) != 0 ? 0x10 : 0});
        EXPECT_EQ(xyratexChassis.isAlarmMuted(true), state == 0);
        EXPECT_EQ(fakeBus.takeTransfers(), ALARM);
        EXPECT_EQ(esaControl.alarmState, static_cast<U32_t>(7 - state));
    }
}

TEST_F(XyratexPages, TemperaturesAreRefreshedWithoutATrace) {
    fakeBus.queue(0x4C, 0x00, {0x80, 0x19});
    fakeBus.queue(0x4D, 0x00, {0x80, 0xE7});
    esaReadTemperatures(true);
    EXPECT_EQ(esaControl.temperatureSensor[0], 25);
    EXPECT_EQ(esaControl.temperatureSensor[1], -24);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 4C 00", "R 4C 00", "R 4D 00", "R 4D 00"));
    EXPECT_THAT(takeTrace(), IsEmpty());
}
