/** Fans and the alarm under a control page. */
#include "page_cases.h"

using testing::Contains;
using testing::IsEmpty;

namespace {

class ControlAct : public PagesTest {
protected:
    /** A control page with one selected record; `list` 2 fans, 4 alarm. Returns the transfers it made. */
    Lines apply(int list, int index, const std::string& record) {
        const int counts[] = {esaControl.deviceMaxNumber, esaControl.powerSupplyMaxNumber, esaControl.coolingMaxNumber,
                              esaControl.temperatureSensorMaxNumber, esaControl.audibleAlarmMaxNumber};
        std::string text = "1D 08 00 00 10 00 00 00 02 00 00 00 00 00 00 00";
        for (int i = 0; i < 5; ++i) {
            text += i == list ? "00 00 00 80" : "00 00 00 00";
            for (int j = 0; j < counts[i]; ++j) {
                text += i == list && j == index ? record : "00 00 00 00";
            }
        }
        (void)build(29, 25, 400, text);
        (void)takeTrace();
        dispatch();
        EXPECT_EQ(takeMessageNames(), Lines{"reply 68"}) << "neither fans nor alarms send events";
        return fakeBus.takeTransfers();
    }

    static std::string loads() { return hex(esaControl.fanPwmLoad, 8); }
    static std::string switches() { return hex(esaControl.coolingElementOnOff, 8); }
};

TEST_F(ControlAct, FansAreFullyOnOrOff) {
    const struct {
        int type;
        int fan;
        Lines on;
        Lines off;
        const char* loadsOn;
        const char* switchesOn;
        const char* switchesOff;
    } cases[] = {
        {2,
         0,
         {"W 63 98 3F"},
         {"W 63 98 00", "W 63 01 FE"},
         "64 64 64 64 00 00 00 00",
         "02 02 02 02 00 00 00 00",
         "01 01 01 01 00 00 00 00"},
        {2,
         3,
         {"W 63 98 3F"},
         {"W 63 98 00", "W 63 01 FE"},
         "64 64 64 64 00 00 00 00",
         "02 02 02 02 00 00 00 00",
         "01 01 01 01 00 00 00 00"},
        {2,
         4,
         {"W 63 99 3F"},
         {"W 63 99 00", "W 63 01 FD"},
         "00 00 00 00 64 64 64 64",
         "00 00 00 00 02 02 02 02",
         "00 00 00 00 01 01 01 01"},
        {2,
         5,
         {"W 63 99 3F"},
         {"W 63 99 00", "W 63 01 FD"},
         "00 00 00 00 64 64 64 64",
         "00 00 00 00 02 02 02 02",
         "00 00 00 00 01 01 01 01"},
        {2,
         7,
         {"W 63 99 3F"},
         {"W 63 99 00", "W 63 01 FD"},
         "00 00 00 00 64 64 64 64",
         "00 00 00 00 02 02 02 02",
         "00 00 00 00 01 01 01 01"},
        {3,
         2,
         {"W 41 9A 3F"},
         {"W 41 9A 00", "W 41 01 FB"},
         "00 00 64 00 00 00 00 00",
         "00 00 02 00 00 00 00 00",
         "00 00 01 00 00 00 00 00"},
        {5,
         0,
         {"W 41 98 3F"},
         {"W 41 98 00", "W 41 01 FE"},
         "64 00 00 00 00 00 00 00",
         "02 00 00 00 00 00 00 00",
         "01 00 00 00 00 00 00 00"},
        {4,
         0,
         {"W 28 5B FF"},
         {"W 28 5B 00"},
         "64 00 00 00 00 00 00 00",
         "02 00 00 00 00 00 00 00",
         "01 00 00 00 00 00 00 00"},
        {4,
         5,
         {"W 2B 5A FF"},
         {"W 2B 5A 00"},
         "00 00 00 00 00 64 00 00",
         "00 00 00 00 00 02 00 00",
         "00 00 00 00 00 01 00 00"},
        {6,
         0,
         {"W 28 5B 64"},
         {"W 28 5B 00"},
         "64 00 00 00 00 00 00 00",
         "02 00 00 00 00 00 00 00",
         "01 00 00 00 00 00 00 00"},
        {6,
         1,
         {"W 28 5E 64"},
         {"W 28 5E 00"},
         "00 64 00 00 00 00 00 00",
         "00 02 00 00 00 00 00 00",
         "00 01 00 00 00 00 00 00"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.type * 10 + row.fan);
        healthy(row.type);
        esaControl.vitesse.vsc055GPD[1] = 0xFF;
        const std::string fan = "Fan [" + std::to_string(row.fan) + "].";
        EXPECT_EQ(apply(2, row.fan, "80 00 00 04"), row.on);
        EXPECT_THAT(takeTrace(), Contains("Turn On " + fan));
        EXPECT_EQ(loads(), row.loadsOn);
        EXPECT_EQ(switches(), row.switchesOn);
        EXPECT_EQ(apply(2, row.fan, "80 00 00 FB"), row.off) << "a requested speed changes nothing";
        EXPECT_THAT(takeTrace(), Contains("Turn Off " + fan));
        EXPECT_EQ(loads(), "00 00 00 00 00 00 00 00");
        EXPECT_EQ(switches(), row.switchesOff);
        EXPECT_EQ(apply(2, row.fan, "80 00 00 FB"), row.off) << "fans are driven each time";
    }
}

TEST_F(ControlAct, EveryFailingWriteIsPassedOver) {
    for (int type : {2, 3, 4, 5, 6}) {
        for (int list : {2, 4}) {
            for (unsigned n = 0; n < 4; ++n) {
                SCOPED_TRACE(type * 100 + list * 10 + static_cast<int>(n));
                healthy(type);
                Lines expected = apply(list, 0, "80 00 00 02");
                if (n >= expected.size()) {
                    continue;
                }
                healthy(type);
                fakeBus.failTransfer(n);
                expected[n] += " !";
                EXPECT_EQ(apply(list, 0, "80 00 00 02"), expected);
                EXPECT_EQ(hex(esaControl.coolingElementOnOff, 1), list == 2 ? "01" : "00");
                EXPECT_EQ(esaControl.alarmState, 3U);
                EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
            }
        }
    }
}

struct AlarmCase {
    int type;
    Lines mute;
    Lines critical;
    U32_t criticalState;
    Lines warning;
};

const AlarmCase ALARMS[] = {
    {2, {"W 63 05 0B", "W 63 05 03"}, {"W 63 05 0C", "W 63 05 04"}, 4, {"W 63 05 09", "W 63 05 01"}},
    {3, {"W 41 04 40", "W 41 04 00", "W 41 04 40"}, {"W 41 04 48"}, 1, {"W 41 04 48"}},
    {5, {"W 41 04 40", "W 41 04 00", "W 41 04 40"}, {"W 41 04 48"}, 1, {"W 41 04 48"}},
    {4,
     {"W 28 40 41", "W 2A 40 41", "W 2C 40 41", "W 30 40 41"},
     {"W 28 40 01", "W 2A 40 01", "W 2C 40 01", "W 30 40 01"},
     1,
     {"W 28 40 01", "W 2A 40 01", "W 2C 40 01", "W 30 40 01"}},
    {6, {"W 28 40 41"}, {"W 28 40 01"}, 1, {"W 28 40 01"}},
};

TEST_F(ControlAct, AlarmTakesTheFirstOfMuteCriticalAndWarning) {
    for (const AlarmCase& row : ALARMS) {
        const struct {
            const char* record;
            Lines transfers;
            U32_t state;
        } cases[] = {
            {"80 00 00 02", row.mute, 3},
            {"80 00 00 FF", row.mute, 3},
            {"80 00 00 80", row.critical, row.criticalState},
            {"80 00 00 40", row.critical, row.criticalState},
            {"80 00 00 F8", row.critical, row.criticalState},
            {"80 00 00 20", row.warning, 1},
            {"80 00 00 10", row.warning, 1},
            {"80 00 00 0D", {}, 7}, // a reminder is kept, not acted on
            {"80 00 00 00", {}, 7},
        };
        for (const auto& request : cases) {
            SCOPED_TRACE(std::to_string(row.type) + ": " + request.record);
            healthy(row.type);
            esaControl.alarmState = 7;
            esaControl.vitesse.vsc055GPD[4] = 0x40;
            for (WinbondControl_t& chip : esaControl.winbond) {
                chip.configurationRegister = 0x01;
            }
            EXPECT_EQ(apply(4, 0, request.record), request.transfers);
            EXPECT_EQ(esaControl.alarmState, request.state);
            EXPECT_EQ(hex(&esaControl.audibleAlarmElementControl[0], 4), request.record);
        }
    }
}

} // namespace
