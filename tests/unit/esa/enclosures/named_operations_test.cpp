/** Named operations of the enclosures with what the adapter itself never hands them, or never while its bus is
 * unusable. */
#include <gtest/gtest.h>

#include "chips/vsc055.h"
#include "chips/w83782d.h"
#include "core/alarm_names.h"
#include "enclosures/chenbro.h"
#include "enclosures/vsc055.h"
#include "esa_fixture.h"
#include "esamain.h"
#include "messaging/reply.h"
#include "messaging/test_message.h"
#include "policy/chassis.h"
#include "policy/supplies.h"
#include "trace.h"

namespace {

using NamedOperation = EsaTest;

} // namespace

TEST_F(NamedOperation, NumbersOf32BitsAreNotJudgedByTheirLowByte) {
    startChassis(5);
    esaControl.deviceMaxNumber = 12;
    for (const S32_t drive : {256, 256 + 11, 65536}) {
        EXPECT_EQ(esaVsc055SetDriveFaultLED(drive), -1) << drive;
    }
    startChassis(4);
    for (const S32_t fan : {256, 256 + 5, 65536}) {
        U16_t rpm = 12345;
        EXPECT_EQ(chenbroW83782dFanReadSpeed(fan, &rpm), -1) << fan;
        EXPECT_EQ(rpm, 12345) << fan;
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
}

TEST_F(NamedOperation, WinbondShadowsEndAtTheFourthBackplane) {
    startChassis(4);
    (void)takeTrace();
    const std::string before = hex(&esaControl, sizeof(esaControl));
    for (const int number : {4, 5, 255}) {
        const auto backplane = static_cast<U8_t>(number);
        winbondFanLoadPwm(0x28, backplane, 0, 0x40);
        esaW83782dSetAlarmState(0x28, backplane, ESA_E_ALARM_STATE_MUTE_S3);
        EXPECT_EQ(takeTrace(),
                  (Lines_t{"Load PWM Winbond[64] Percent to Fan [0]", "Unsupported Winbond Fan Index = [0].",
                           "Set Backplane Alarm State to un-supported value [3]."}));
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(hex(&esaControl, sizeof(esaControl)), before);
}

TEST_F(NamedOperation, WhatIsNotSupportedLeavesNoLineWhileTracingIsOff) {
    startChassis(6);
    (void)TRACE__setTraceLevel(0, 0);
    vsc055FanLoadPwm(0x41, 0, 33);
    winbondFanLoadPwm(0x28, 4, 0, 0x40);
    chenbroW83782dFanLoadPwm(0, 33);
    esaW83782dSetAlarmState(0x28, 4, ESA_E_ALARM_STATE_MUTE_S3);
    esaTraceAlarmState("Alarm", 99, ESA_E_ALARM_NAMES_STATE);
    EXPECT_EQ(esaVsc055SetDriveFaultLED(256), -1);
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    for (const U8_t command : {U8_t{28}, U8_t{29}, U8_t{30}}) {
        for (const U8_t page : {U8_t{2}, U8_t{4}}) {
            (void)esaTestMsg(command, page);
        }
    }
    esaSendStatus(&request(3, 30, 25, 72), 0, 2, 0, 0, 0);
    for (const unsigned failing : {0U, 1U, 3U}) { // high limit, hysteresis, the beeper's write
        fakeBus.failTransfer(failing);
        EXPECT_NE(winbondInitTemperatureAndBeep(0x28, 0, ""), ESA_E_OK);
        fakeBus.heal();
    }
    EXPECT_EQ(takeTrace(), Lines_t{});
}

TEST_F(NamedOperation, PolicyOfTheSingleBackplaneLoadsNoPercentageThatItDoesNotKnowAndStopsNoFan) {
    startChassis(6);
    for (const U8_t percent : {U8_t{0}, U8_t{33}}) {
        esaChassis().policyLoadPwm(0, percent);
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
}

TEST_F(NamedOperation, PollOfSuppliesTakesAnUnusableBusForAFaultWhereVoltagesAreMeasured) {
    struct {
        int type;
        U32_t status;
        std::vector<std::string> messages;
    } const rows[] = {{5, 3, {}},
                      {3, 3, {}},
                      {2, 3, {}},
                      {6, 2, {"led-on", "email", "event 6/2"}},
                      {4, 2, {"led-on", "email", "event 6/2"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        startChassis(row.type);
        esaControl.compositeFaultStatus = 0;
        esaControl.i2cConnected = 0;
        esaPollPowerSupplies();
        EXPECT_EQ(esaControl.powerSupplyStatus, row.status);
        EXPECT_EQ(takeMessageNames(), row.messages);
    }
}

TEST_F(NamedOperation, InitialisationWarnsOfAnUnknownEnclosureAndOnlyTellsThatThereIsNone) {
    for (const int type : {0, 1, 7, 255}) {
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        esaInitChassis();
        EXPECT_EQ(takeMessageNames(), Lines_t{type == 1 ? "event 10/1" : "event 10/2"}) << type;
    }
}

TEST_F(NamedOperation, WhatARowDoesNotNameIsNotDone) {
    esaControl.i2cConnected = 1;
    noChassis.processPollTimeout();
    noChassis.policyLoadPwm(0, 100);
    noChassis.controlLoadPwm(0, 100);
    noChassis.setAlarm(ESA_E_ALARM_STATE_FAULT_S1);
    noChassis.putOutDriveLeds();
    EXPECT_EQ(noChassis.setDriveFaultLed(0), 0);
    EXPECT_EQ(noChassis.clearDriveFaultLed(0), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(takeMessageNames(), Lines_t{});
    EXPECT_EQ(takeTrace(), Lines_t{});
}
