/** The poll of the Chenbro enclosure: every transfer in order, each of them failing, and what is reported. */
#include "driver_test.h"
#include "enclosures/chenbro.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const int CHIPS[] = {0x28, 0x2A, 0x2C, 0x30};

const Lines FANS = {"R 28 28", "R 28 29", "R 29 28", "R 2A 28", "R 2B 28", "R 2B 29"};
const Lines TEMPERATURES = {"R 28 27", "R 2A 27", "R 2C 27", "R 30 27"};
const Lines SOUNDING = {"W 28 40 01", "W 2A 40 02", "W 2C 40 03", "W 30 40 04"};
const Lines SILENCING = {"W 28 40 41", "W 2A 40 42", "W 2C 40 43", "W 30 40 44"};
const Lines FULL_SPEED = {"W 28 5B FF", "W 28 5A FF", "W 29 5B FF", "W 2A 5B FF", "W 2B 5B FF", "W 2B 5A FF"};

Lines voltages() {
    Lines reads;
    for (int chip : CHIPS) {
        for (int reg = 0x20; reg <= 0x26; ++reg) {
            reads.push_back(text("R %02X %02X", chip, reg));
        }
    }
    return reads;
}

class ChenbroPoll : public DriverTest {
protected:
    ChenbroPoll() { start(); }

    /** A healthy enclosure at 30 to 33 degrees with its fans at the least load. */
    void start() {
        startCold(4);
        startChassis(4);
        esaControl.powerSupplyStatus = 0x1;
        std::memset(esaControl.fanPwmLoad, 25, 6);
        for (int i = 0; i < 4; ++i) {
            esaControl.winbond[i].configurationRegister = static_cast<U8_t>(0x41 + i);
            fakeBus.set(CHIPS[i], 0x23, 186);
            fakeBus.set(CHIPS[i], 0x24, 197);
            fakeBus.set(CHIPS[i], 0x27, 30 + i);
        }
        for (int chip : {0x28, 0x29, 0x2A, 0x2B}) {
            fakeBus.set(chip, 0x28, 100);
            fakeBus.set(chip, 0x29, 100);
        }
        discard();
    }
};

} // namespace

TEST_F(ChenbroPoll, HealthyPollReadsEverythingAndWritesNothing) {
    chenbroEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({voltages(), FANS, TEMPERATURES}));
    EXPECT_THAT(takeReports(), IsEmpty());
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(esaControl.temperatureSensor[i], 30 + i);
    }
    EXPECT_EQ(esaControl.temperatureSensorAverage, 31);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(ChenbroPoll, TracesItsStepsInOrder) {
    chenbroEsaProcessPollTimeout();
    const Lines trace = takeTrace();
    ASSERT_EQ(trace.size(), 60U + 4 + 6 * 6 + 3 + 8 + 4);
    EXPECT_EQ(trace[0], "Read Voltage Tolerance, I2C address = [0x28].");
    EXPECT_EQ(trace[45], "Read Voltage Tolerance, I2C address = [0x30].");
    EXPECT_THAT(Lines(trace.begin() + 60, trace.begin() + 70),
                ElementsAre("This Fault bit is [POWER_SUPPLY_VOLTAGE_TOLERANCE]",
                            "This Fault bit [0x1] does NOT exist currently.", "The Fault bit [0x1] is already clear.",
                            "Power Voltage Tolerance Status already [OK].", "Read speed with Fan, chenbroFanInx = [0].",
                            "Read speed with Fan, I2C address = [0x28], w83782dFanInx = [0].",
                            "Fan with I2C address [0x28], fanSpeedReading Reg [0x28], read speed value = [100].",
                            "Fan with I2C address [0x28], fanSpeedReading Reg [0x28] has RPM [6750].",
                            "Fan [0] has speed [6750] RPM.", "Already marked OK on Fan [0]."));
    EXPECT_THAT(Lines(trace.begin() + 100, trace.end()),
                ElementsAre("This Fault bit is [FAN]", "This Fault bit [0x4] does NOT exist currently.",
                            "The Fault bit [0x4] is already clear.",
                            // The chips' lines carry the single backplane's address, which is none here.
                            "Temperature Sensor [0] for I2C address [0x0] = [30] degrees Celsius.",
                            "temperatureSensor[0] = [30] degrees Celsius.",
                            "Temperature Sensor [0] for I2C address [0x0] = [31] degrees Celsius.",
                            "temperatureSensor[1] = [31] degrees Celsius.",
                            "Temperature Sensor [0] for I2C address [0x0] = [32] degrees Celsius.",
                            "temperatureSensor[2] = [32] degrees Celsius.",
                            "Temperature Sensor [0] for I2C address [0x0] = [33] degrees Celsius.",
                            "temperatureSensor[3] = [33] degrees Celsius.",
                            "temperatureSensorAverage = [31] degrees Celsius.",
                            "This Fault bit is [TEMPERATURE_OVERHEAT]",
                            "This Fault bit [0x8] does NOT exist currently.", "The Fault bit [0x8] is already clear."));
}

TEST_F(ChenbroPoll, FourSensorsAreReadWhateverTheElementCount) {
    esaControl.temperatureSensorMaxNumber = 1;
    chenbroEsaProcessPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({voltages(), FANS, TEMPERATURES}));
    EXPECT_EQ(esaControl.temperatureSensor[3], 33);
    EXPECT_EQ(esaControl.temperatureSensorAverage, 30);
}

TEST_F(ChenbroPoll, SupplyLostAndFoundIsReportedOnceEachOnEveryBackplane) {
    for (std::size_t b = 0; b < 4; ++b) {
        SCOPED_TRACE(b);
        start();
        const Lines all = voltages();
        const Lines read(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(7 * b) + 4);
        fakeBus.set(CHIPS[b], 0x23, 205);
        chenbroEsaProcessPollTimeout();
        EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 4 supplies 3"));
        EXPECT_EQ(fakeBus.takeTransfers(), join({read, SOUNDING, FANS, TEMPERATURES}));
        EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000001U);
        EXPECT_EQ(esaControl.alarmState, 1U);
        EXPECT_THAT(takeTrace(), Contains("Power Voltage Tolerance Status changed from [OK] to [NOT OK]."));

        chenbroEsaProcessPollTimeout();
        EXPECT_THAT(takeReports(), IsEmpty());
        EXPECT_EQ(fakeBus.takeTransfers(), join({read, FANS, TEMPERATURES}));
        EXPECT_THAT(takeTrace(), Contains("Power Voltage Tolerance Status already [NOT OK]."));

        fakeBus.set(CHIPS[b], 0x23, 204);
        chenbroEsaProcessPollTimeout();
        EXPECT_THAT(takeReports(), ElementsAre("led-off", "event 6/1 chassis 4 supplies 3 power 1"));
        EXPECT_EQ(fakeBus.takeTransfers(), join({all, SILENCING, FANS, TEMPERATURES}));
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
        EXPECT_EQ(esaControl.alarmState, 3U);
        EXPECT_THAT(takeTrace(), Contains("Power Voltage Tolerance Status changed from [NOT OK] to [OK]."));
    }
}

TEST_F(ChenbroPoll, FailedVoltageReadCountsAsABadSupply) {
    for (std::size_t i = 0; i < 28; ++i) {
        SCOPED_TRACE(voltages()[i]);
        start();
        fakeBus.failTransfer(static_cast<unsigned>(i));
        chenbroEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(), join({failedAt(voltages(), i), SOUNDING, FANS, TEMPERATURES}));
        EXPECT_THAT(takeReports(), ElementsAre("led-on", "email", "event 6/2 chassis 4 supplies 3"));
        EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
        EXPECT_EQ(esaControl.i2cConnected, 1);
    }
}

TEST_F(ChenbroPoll, FanThatCannotBeReadIsFaultyAndDrivesAllToFullSpeed) {
    for (std::size_t i = 0; i < 6; ++i) {
        SCOPED_TRACE(FANS[i]);
        start();
        fakeBus.failTransfer(28 + static_cast<unsigned>(i));
        chenbroEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(),
                  join({voltages(), failedWithin(FANS, i), SOUNDING, TEMPERATURES, FULL_SPEED}));
        EXPECT_THAT(takeReports(),
                    ElementsAre(text("event 7/2 chassis 4 fans 6 faults %d", 1 << i), "led-on", "email"));
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "64 64 64 64 64 64 00 00");
        fakeBus.heal();
        chenbroEsaProcessPollTimeout();
        EXPECT_THAT(takeReports(), ElementsAre("event 7/2 chassis 4 fans 6", "led-off"));
    }
}

TEST_F(ChenbroPoll, TemperatureThatCannotBeReadIsLeftOutOfTheAverage) {
    const int averages[] = {32, 31, 31, 31}; // of 31 32 33, 30 32 33, 30 31 33, 30 31 32
    for (std::size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(TEMPERATURES[i]);
        start();
        fakeBus.failTransfer(34 + static_cast<unsigned>(i));
        chenbroEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(), join({voltages(), FANS, failedWithin(TEMPERATURES, i)}));
        EXPECT_EQ(esaControl.temperatureSensor[i], 32767);
        EXPECT_EQ(esaControl.temperatureSensorAverage, averages[i]);
        EXPECT_THAT(takeReports(), IsEmpty());
        const Lines trace = takeTrace();
        EXPECT_THAT(trace, Contains(text("temperatureSensor[%d] = [32767] degrees Celsius.", static_cast<int>(i))));
        EXPECT_THAT(trace, Not(Contains("Temperature Sensor [0] for I2C address [0x0] = [32767] degrees Celsius.")));
    }
}

TEST_F(ChenbroPoll, AlarmThatCannotBeWrittenKeepsItsShadowAndStopsNothing) {
    for (std::size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(SOUNDING[i]);
        start();
        fakeBus.set(0x28, 0x23, 167);
        fakeBus.failTransfer(4 + static_cast<unsigned>(i));
        chenbroEsaProcessPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(),
                  join({{"R 28 20", "R 28 21", "R 28 22", "R 28 23"}, failedWithin(SOUNDING, i), FANS, TEMPERATURES}));
        EXPECT_EQ(esaControl.alarmState, 1U);
        EXPECT_EQ(esaControl.winbond[i].configurationRegister, 1 + i);
    }
}

TEST_F(ChenbroPoll, HeatIsFollowedByPolicyEventsAndOverheatRuleInThisOrder) {
    for (int chip : CHIPS) {
        fakeBus.set(chip, 0x27, 61);
    }
    chenbroEsaProcessPollTimeout();
    const Lines half = {"W 28 5B 80", "W 28 5A 80", "W 29 5B 80", "W 2A 5B 80", "W 2B 5B 80", "W 2B 5A 80"};
    EXPECT_EQ(fakeBus.takeTransfers(), join({voltages(), FANS, TEMPERATURES, half, SOUNDING}));
    EXPECT_THAT(takeReports(), ElementsAre("event 8/2 chassis 4 sensors 4 band 4 degrees 61",
                                           "event 8/2 chassis 4 sensors 4 band 4 position 1 degrees 61",
                                           "event 8/2 chassis 4 sensors 4 band 4 position 2 degrees 61",
                                           "event 8/2 chassis 4 sensors 4 band 4 position 3 degrees 61", "led-on",
                                           "email", "event 10/3 chassis 4 info 1", "shutdown"));
}

TEST_F(ChenbroPoll, RowPollsAndInitialises) {
    chenbroChassis.processPollTimeout();
    EXPECT_EQ(fakeBus.takeTransfers(), join({voltages(), FANS, TEMPERATURES}));
    EXPECT_EQ(chenbroChassis.init(), 0);
    EXPECT_EQ(fakeBus.takeTransfers().size(), 210U);
}
