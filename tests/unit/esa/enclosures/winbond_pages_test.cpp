/** What status and control pages do on the two chassis with W83782D monitors, through their rows. */
#include "driver_test.h"
#include "enclosures/chenbro.h"
#include "enclosures/w83782d.h"
#include "policy/chassis.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct ChassisCase {
    const Chassis_t* row;
    int type;
    std::vector<int> chips;
    Lines sounding;
    Lines silencing;
};

const ChassisCase CASES[] = {
    {&w83782dChassis, 6, {0x28}, {"W 28 40 00"}, {"W 28 40 40"}},
    {&chenbroChassis,
     4,
     {0x28, 0x2A, 0x2C, 0x30},
     {"W 28 40 00", "W 2A 40 00", "W 2C 40 00", "W 30 40 00"},
     {"W 28 40 40", "W 2A 40 40", "W 2C 40 40", "W 30 40 40"}},
};

class WinbondPages : public DriverTest, public testing::WithParamInterface<ChassisCase> {
protected:
    WinbondPages() {
        startCold(GetParam().type);
        startChassis(GetParam().type);
        for (WinbondControl_t& chip : esaControl.winbond) {
            chip.configurationRegister = 0x40;
        }
        for (int chip : GetParam().chips) {
            fakeBus.set(chip, 0x23, 186);
            fakeBus.set(chip, 0x24, 197);
        }
        discard();
    }

    /** The record of a status page as hex; the control record's last byte is given. */
    std::string fill(int control, bool& changed) {
        PowerSupplyElementStat_t status = {};
        PowerSupplyElementCont_t last = {};
        const Bytes bytes = {0x80, 0x00, 0x00, static_cast<U8_t>(control)};
        std::memcpy(static_cast<void*>(&last), bytes.data(), 4);
        changed = esaFillPowerSupply(status, last);
        return hex(&status, 4);
    }
    Lines lastLine() {
        const Lines trace = takeTrace();
        return trace.empty() ? trace : Lines{trace.back()};
    }
};

} // namespace

TEST_P(WinbondPages, GoodVoltagesAreAGoodSupply) {
    bool changed = true;
    EXPECT_EQ(fill(0x00, changed), "01 00 00 00");
    EXPECT_FALSE(changed);
    EXPECT_EQ(fakeBus.takeTransfers().size(), 7 * GetParam().chips.size());
    EXPECT_THAT(lastLine(), ElementsAre("Power Voltage Tolerance Status already [OK]."));
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_EQ(fill(0x02, changed), "01 00 00 02") << "a requested failure is shown";
    EXPECT_EQ(fill(0xFD, changed), "01 00 00 00") << "no other control bit is";
}

TEST_P(WinbondPages, BadVoltagesAreAFailedSupplyAndAFaultOnce) {
    const int last = GetParam().chips.back();
    fakeBus.set(last, 0x23, 205);
    bool changed = false;
    EXPECT_EQ(fill(0x00, changed), "05 00 00 42");
    EXPECT_TRUE(changed);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x2U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000001U);
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email")) << "the page's builder sends the event";
    const Lines transfers = fakeBus.takeTransfers();
    const std::size_t alarms = GetParam().sounding.size();
    EXPECT_EQ(Lines(transfers.end() - static_cast<std::ptrdiff_t>(alarms), transfers.end()), GetParam().sounding);
    discard();

    EXPECT_EQ(fill(0x00, changed), "05 00 00 42");
    EXPECT_FALSE(changed);
    EXPECT_THAT(lastLine(), ElementsAre("Power Redundancy Status already [NOT OK]."));
    EXPECT_THAT(takeReports(), IsEmpty());

    fakeBus.set(last, 0x23, 204);
    EXPECT_EQ(fill(0x00, changed), "01 00 00 00");
    EXPECT_TRUE(changed);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_THAT(takeReports(), ElementsAre("led-off"));
}

TEST_P(WinbondPages, UnusableBusIsABadSupply) {
    esaControl.i2cConnected = 0;
    bool changed = false;
    EXPECT_EQ(fill(0x00, changed), "05 00 00 42");
    EXPECT_TRUE(changed);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_P(WinbondPages, FailedReadIsABadSupply) {
    const std::size_t reads = 7 * GetParam().chips.size();
    for (unsigned i = 0; i < reads; ++i) {
        SCOPED_TRACE(i);
        esaControl.compositeFaultStatus = 0;
        esaControl.powerSupplyStatus = 0x1;
        esaControl.alarmState = 0;
        discard();
        fakeBus.failTransfer(i);
        bool changed = false;
        EXPECT_EQ(fill(0x00, changed), "05 00 00 42");
        EXPECT_TRUE(changed);
        EXPECT_EQ(fakeBus.takeTransfers().size(), i + 1);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
    }
}

TEST_P(WinbondPages, AnotherFaultDoesNotMarkTheSupply) {
    esaControl.compositeFaultStatus = 0x8000001E;
    bool changed = true;
    EXPECT_EQ(fill(0x00, changed), "01 00 00 00");
    EXPECT_FALSE(changed);
}

TEST_P(WinbondPages, RequestedSupplyFaultIsTheVoltageCause) {
    esaIndicatePowerSupply(true);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000001U);
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email"));
    EXPECT_EQ(fakeBus.takeTransfers(), GetParam().sounding);
    esaIndicatePowerSupply(false);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_THAT(takeReports(), ElementsAre("led-off"));
    EXPECT_EQ(fakeBus.takeTransfers(), GetParam().silencing);
}

TEST_P(WinbondPages, AlarmIsShownAsMutedInStateZeroOnly) {
    for (U32_t state = 0; state <= 8; ++state) {
        esaControl.alarmState = state;
        EXPECT_EQ(GetParam().row->isAlarmMuted(true), state == 0) << state;
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_P(WinbondPages, ControlPageAlarmStatesReachEveryChip) {
    GetParam().row->setAlarm(ESA_E_ALARM_STATE_FAULT_S1);
    EXPECT_EQ(fakeBus.takeTransfers(), GetParam().sounding);
    GetParam().row->setAlarm(ESA_E_ALARM_STATE_MUTE_S3);
    EXPECT_EQ(fakeBus.takeTransfers(), GetParam().silencing);
    GetParam().row->setAlarm(ESA_E_ALARM_STATE_CRITICAL_S4);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Chassis, WinbondPages, testing::ValuesIn(CASES),
                         [](const auto& chassis) { return text("Type%d", chassis.param.type); });
