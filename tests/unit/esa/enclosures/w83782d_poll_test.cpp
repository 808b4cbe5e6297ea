/** The poll of the W83782D backplane, and the operations of its row that are its own. */
#include "driver_test.h"
#include "enclosures/w83782d.h"
#include "policy/temperatures.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const Lines VOLTAGES = {"R 28 20", "R 28 21", "R 28 22", "R 28 23", "R 28 24", "R 28 25", "R 28 26"};
const Lines FANS = {"R 28 28", "R 28 29", "R 28 2A"};
const Lines TEMPERATURE = {"R 28 27"};
const Lines FULL_SPEED = {"W 28 5B FF", "W 28 5E FF", "W 28 5F FF"};
const Lines HEALTHY = join({VOLTAGES, FANS, TEMPERATURE});

class W83782dBackplane : public DriverTest {
protected:
    W83782dBackplane() { start(); }

    /** A healthy backplane at 30 degrees with its fans at the least load. */
    void start() {
        startCold(6);
        startChassis(6);
        esaControl.powerSupplyStatus = 0x1;
        esaControl.winbond[0].configurationRegister = 0x40;
        std::memset(esaControl.fanPwmLoad, 25, 3);
        const int readings[] = {100, 110, 206, 186, 197, 35, 54, 30, 100, 100, 100};
        for (int i = 0; i < 11; ++i) {
            fakeBus.set(0x28, 0x20 + i, readings[i]);
        }
        discard();
    }
};

} // namespace

TEST_F(W83782dBackplane, HealthyPollReadsEverythingAndWritesNothing) {
    esaW83782dProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), HEALTHY);
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_EQ(esaControl.temperatureSensor[0], 30);
    EXPECT_EQ(esaControl.temperatureSensor[1], 32767);
    EXPECT_EQ(esaControl.temperatureSensor[2], 32767);
    EXPECT_EQ(esaControl.temperatureSensor[3], 0) << "there is no fourth sensor";
    EXPECT_EQ(esaControl.temperatureSensorAverage, 30);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(W83782dBackplane, PollTracesEveryStepInOrder) {
    esaW83782dProcessPollTimeout();
    Lines expected = {"Read Voltage Tolerance, I2C address = [0x28].",
                      "Vcorea = [100].",
                      "Converted Vcorea = [1.600000]V.",
                      "Vinr0 = [110]",
                      "Converted Vinr0 = [1.760000]V.",
                      "+3.3Vin = [206]",
                      "Converted +3.3Vin = [3.296000]V.",
                      "+5Vin = [186]",
                      "Converted +5Vin = [4.999680]V.",
                      "+12Vin = [197]",
                      "Converted +12Vin = [11.977600]V.",
                      "-12Vin = [35]",
                      "Converted -12Vin = [-12.034286]V.",
                      "-5Vin = [54]",
                      "Converted -5Vin = [-4.998857]V.",
                      "This Fault bit is [POWER_SUPPLY_VOLTAGE_TOLERANCE]",
                      "This Fault bit [0x1] does NOT exist currently.",
                      "The Fault bit [0x1] is already clear.",
                      "Power Voltage Tolerance Status already [OK]."};
    for (int fan = 0; fan < 3; ++fan) {
        const int reg = 0x28 + fan;
        expected.push_back(text("Read speed with Fan, I2C address = [0x28], w83782dFanInx = [%d].", fan));
        expected.push_back(
            text("Fan with I2C address [0x28], fanSpeedReading Reg [0x%x], read speed value = [100].", reg));
        expected.push_back(text("Fan with I2C address [0x28], fanSpeedReading Reg [0x%x] has RPM [6750].", reg));
        expected.push_back(text("Fan [%d] has speed [6750] RPM.", fan));
        expected.push_back(text("Already marked OK on Fan [%d].", fan));
    }
    const Lines rest = {"This Fault bit is [FAN]",
                        "This Fault bit [0x4] does NOT exist currently.",
                        "The Fault bit [0x4] is already clear.",
                        "Temperature Sensor [0] for I2C address [0x28] = [30] degrees Celsius.",
                        "temperatureSensor[0] = [30] degrees Celsius.",
                        "Temperature Sensor [1] for I2C address [0x28] = [32767] degrees Celsius.",
                        "temperatureSensor[1] = [32767] degrees Celsius.",
                        "Temperature Sensor [2] for I2C address [0x28] = [32767] degrees Celsius.",
                        "temperatureSensor[2] = [32767] degrees Celsius.",
                        "temperatureSensorAverage = [30] degrees Celsius.",
                        "This Fault bit is [TEMPERATURE_OVERHEAT]",
                        "This Fault bit [0x8] does NOT exist currently.",
                        "The Fault bit [0x8] is already clear."};
    EXPECT_EQ(takeTrace(), join({expected, rest}));
}

TEST_F(W83782dBackplane, SupplyLostAndFoundIsReportedOnceEach) {
    fakeBus.set(0x28, 0x23, 167);
    esaW83782dProcessPollTimeout();
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 6 supplies 2"));
    EXPECT_EQ(fakeBus.takeTransfers(),
              join({{"R 28 20", "R 28 21", "R 28 22", "R 28 23", "W 28 40 00"}, FANS, TEMPERATURE}));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000001U);
    EXPECT_EQ(esaControl.alarmState, 1U);
    EXPECT_THAT(takeTrace(), Contains("Power Voltage Tolerance Status changed from [OK] to [NOT OK]."));

    esaW83782dProcessPollTimeout();
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_EQ(fakeBus.takeTransfers(), join({{"R 28 20", "R 28 21", "R 28 22", "R 28 23"}, FANS, TEMPERATURE}));
    EXPECT_THAT(takeTrace(), Contains("Power Voltage Tolerance Status already [NOT OK]."));

    fakeBus.set(0x28, 0x23, 168);
    esaW83782dProcessPollTimeout();
    EXPECT_THAT(takeReports(), ElementsAre("led-off", "event 6/1 chassis 6 supplies 2 power 1"));
    EXPECT_EQ(fakeBus.takeTransfers(), join({VOLTAGES, {"W 28 40 40"}, FANS, TEMPERATURE}));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_EQ(esaControl.alarmState, 3U);
    EXPECT_THAT(takeTrace(), Contains("Power Voltage Tolerance Status changed from [NOT OK] to [OK]."));
}

TEST_F(W83782dBackplane, OnlyTheVoltageBitOfTheSupplyStatusChanges) {
    esaControl.powerSupplyStatus = 0x7;
    fakeBus.set(0x28, 0x24, 218);
    esaW83782dProcessPollTimeout();
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x6U);
    EXPECT_THAT(takeReports(), Contains("event 6/2 chassis 6 supplies 2 power 6"));
    fakeBus.set(0x28, 0x24, 217);
    esaW83782dProcessPollTimeout();
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
    EXPECT_THAT(takeReports(), Contains("event 6/1 chassis 6 supplies 2 power 7"));
}

TEST_F(W83782dBackplane, FailedVoltageReadCountsAsABadSupply) {
    for (std::size_t i = 0; i < 7; ++i) {
        SCOPED_TRACE(VOLTAGES[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        esaW83782dProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(), join({failedAt(VOLTAGES, i), {"W 28 40 00"}, FANS, TEMPERATURE}));
        EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 6 supplies 2"));
        EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
        EXPECT_EQ(esaControl.i2cConnected, 1);
    }
}

TEST_F(W83782dBackplane, FanThatCannotBeReadIsFaultyAndDrivesAllToFullSpeed) {
    for (std::size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(FANS[i]);
        start();
        fakeBus.failTransfer(7 + static_cast<unsigned>(i));
        esaW83782dProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(),
                  join({VOLTAGES, failedWithin(FANS, i), {"W 28 40 00"}, TEMPERATURE, FULL_SPEED}));
        EXPECT_THAT(takeReports(),
                    ElementsAre(text("event 7/2 chassis 6 fans 3 faults %d", 1 << i), "led-on", "email"));
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000004U);
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 3), "64 64 64");
    }
}

TEST_F(W83782dBackplane, FanFaultIsClearedByAGoodSpeed) {
    fakeBus.set(0x28, 0x29, 255);
    esaW83782dProcessPollTimeout();
    EXPECT_THAT(takeReports(), ElementsAre("event 7/2 chassis 6 fans 3 faults 2", "led-on", "email"));
    fakeBus.set(0x28, 0x29, 100);
    esaW83782dProcessPollTimeout();
    EXPECT_THAT(takeReports(), ElementsAre("event 7/2 chassis 6 fans 3", "led-off"));
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(W83782dBackplane, TemperatureThatCannotBeReadIsNoReading) {
    fakeBus.failTransfer(10);
    esaControl.temperatureSensorAverage = 33;
    esaW83782dProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), failedWithin(HEALTHY, 10));
    EXPECT_EQ(esaControl.temperatureSensor[0], 32767);
    EXPECT_EQ(esaControl.temperatureSensorAverage, 33) << "nothing to average";
    EXPECT_THAT(takeReports(), IsEmpty());
    EXPECT_THAT(takeTrace(), Not(Contains("Temperature Sensor [0] for I2C address [0x28] = [32767] degrees Celsius.")));
}

TEST_F(W83782dBackplane, UnusableBusIsBadSupplyAndBadFansWithoutATransfer) {
    esaControl.i2cConnected = 0;
    esaW83782dProcessPollTimeout();
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 6 supplies 2",
                                           "event 7/2 chassis 6 fans 3 faults 7", "email"));
    EXPECT_THAT(Bytes(esaControl.fanPwmLoad, esaControl.fanPwmLoad + 3), Each(100)) << "recorded all the same";
}

TEST_F(W83782dBackplane, HeatIsFollowedByPolicyEventAndOverheatRuleInThisOrder) {
    fakeBus.set(0x28, 0x27, 61);
    esaW83782dProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({HEALTHY, {"W 28 5B 80", "W 28 5E 80", "W 28 5F 80", "W 28 40 00"}}));
    EXPECT_THAT(takeReports(), ElementsAre("event 8/2 chassis 6 sensors 3 band 4 degrees 61", "led-on", "email",
                                           "event 10/3 chassis 6 info 1", "shutdown"));
}

TEST_F(W83782dBackplane, PolicyLoadsAreRawDuties) {
    struct {
        U8_t percent;
        const char* written;
    } const loads[] = {{25, "W 28 5E 40"}, {50, "W 28 5E 80"}, {75, "W 28 5E C0"}, {100, "W 28 5E FF"}};
    for (int percent = 0; percent <= 255; ++percent) {
        Lines expected;
        for (const auto& load : loads) {
            if (load.percent == percent) {
                expected = {load.written};
            }
        }
        w83782dChassis.policyLoadPwm(1, static_cast<U8_t>(percent));
        EXPECT_EQ(fakeBus.takeTransfers(), expected) << percent;
    }
}

TEST_F(W83782dBackplane, DutyIsWrittenAsItStandsToTheCrossedRegisters) {
    const char* const writes[] = {"W 28 5B ", "W 28 5E ", "W 28 5F "};
    const char* const shadows[] = {"A2 %02X A3 A4", "%02X A1 A3 A4", "A2 A1 %02X A4"};
    for (unsigned fan = 0; fan < 3; ++fan) {
        for (unsigned duty = 0; duty <= 255; ++duty) {
            const U8_t old[] = {0xA2, 0xA1, 0xA3, 0xA4};
            std::memcpy(&esaControl.winbond[0].pwmOut2ControlRegister, old, 4);
            esaW83782dFanLoadPwm(static_cast<U8_t>(fan), static_cast<U8_t>(duty));
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(writes[fan] + text("%02X", duty)));
            EXPECT_EQ(hex(&esaControl.winbond[0].pwmOut2ControlRegister, 4), text(shadows[fan], duty));
            EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Winbond[%d] Percent to Fan [%d]", duty, fan)));
        }
    }
    for (unsigned fan = 3; fan <= 255; ++fan) {
        esaW83782dFanLoadPwm(static_cast<U8_t>(fan), 255);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Load PWM Winbond[255] Percent to Fan [%d]", fan),
                                             text("Unsupported Winbond Fan Index = [%d].", fan)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(W83782dBackplane, DutyWhoseWriteFailedStaysInTheShadow) {
    fakeBus.failDevice(0x28);
    esaW83782dFanLoadPwm(2, 0xC0);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 28 5F C0 !"));
    EXPECT_EQ(esaControl.winbond[0].pwmOut3ControlRegister, 0xC0);
}

TEST_F(W83782dBackplane, ControlPageSwitchesAFanOnWithTheRawDuty100) {
    const char* const on[] = {"W 28 5B 64", "W 28 5E 64", "W 28 5F 64"};
    const char* const off[] = {"W 28 5B 00", "W 28 5E 00", "W 28 5F 00"};
    for (U8_t fan = 0; fan < 3; ++fan) {
        esaControlFan(fan, false);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(off[fan]));
        EXPECT_EQ(esaControl.fanPwmLoad[fan], 0);
        EXPECT_EQ(esaControl.coolingElementOnOff[fan], 1);
        esaControlFan(fan, true);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(on[fan]));
        EXPECT_EQ(esaControl.fanPwmLoad[fan], 100);
        EXPECT_EQ(esaControl.coolingElementOnOff[fan], 2);
    }
}

TEST_F(W83782dBackplane, RowReadsFansAndTemperaturesAtTheRecordedAddress) {
    esaControl.i2cAddressW83782d = 0x2E;
    fakeBus.set(0x2E, 0x29, 200);
    fakeBus.set(0x2E, 0x27, 0x80);
    U16_t rpm = 0;
    EXPECT_EQ(w83782dChassis.fanReadSpeed(1, &rpm), 0);
    EXPECT_EQ(rpm, 3375);
    esaReadTemperatures(true);
    EXPECT_EQ(esaControl.temperatureSensor[0], -128);
    EXPECT_EQ(esaControl.temperatureSensor[1], 32767);
    EXPECT_EQ(esaControl.temperatureSensor[2], 32767);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 2E 29", "R 2E 27"));
    w83782dChassis.setAlarm(ESA_E_ALARM_STATE_FAULT_S1);
    w83782dChassis.setAlarm(ESA_E_ALARM_STATE_MUTE_S3);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 2E 40 00", "W 2E 40 40"));
}

TEST_F(W83782dBackplane, RowNamesTheChassisAndLacksWhatItDoesNotHave) {
    EXPECT_EQ(w83782dChassis.type, 6);
    EXPECT_STREQ(w83782dChassis.typeName, "VORAN_E_CHASSIS_VORAN_W83782D");
    EXPECT_STREQ(w83782dChassis.initDoneText, "Finish initializing for the W83782d based Enclosure.");
    EXPECT_STREQ(w83782dChassis.initFailedText, "Initializing for the W83782d based Enclosure fails.");
    EXPECT_EQ(w83782dChassis.w83782dAddress, 0x28);
    EXPECT_EQ(w83782dChassis.vsc055Address, 0);
    EXPECT_EQ(w83782dChassis.criticalAlarmState, 1U);
    EXPECT_EQ(w83782dChassis.policyFanCount, 0);
    EXPECT_EQ(w83782dChassis.tachometerDivisor, 0);
    EXPECT_EQ(w83782dChassis.silencePowerSupplyAlarm, noChassis.silencePowerSupplyAlarm);
    EXPECT_EQ(w83782dChassis.setDriveFaultLed, noChassis.setDriveFaultLed);
    EXPECT_EQ(w83782dChassis.clearDriveFaultLed, noChassis.clearDriveFaultLed);
    EXPECT_EQ(w83782dChassis.isDrivePresent, noChassis.isDrivePresent);
    EXPECT_FALSE(w83782dChassis.pageMarksFans);
    startCold(6);
    EXPECT_EQ(w83782dChassis.init(), 0);
    EXPECT_EQ(fakeBus.takeTransfers().front(), "R 28 48");
    w83782dChassis.processPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers().front(), "R 28 20");
}
