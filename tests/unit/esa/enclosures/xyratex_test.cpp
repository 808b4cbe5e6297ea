/** The Xyratex enclosure's operations with what neither a poll nor a page ever hands them. */
#include "enclosures/xyratex.h"

#include <gmock/gmock.h>

#include <cstdint>

#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Xyratex : public EsaTest {
protected:
    Xyratex() {
        startChassis(2);
        wireClear(esaControl.vitesse);
        (void)takeTrace();
    }
    static U8_t& port(int number) { return esaControl.vitesse.vsc055GPD[number]; }
};

} // namespace

TEST_F(Xyratex, DrivesThatDoNotExistAreRefused) {
    for (const S32_t drive : {INT32_MIN, -256, -8, -1, 12, 13, 16, 31, 255, 256, INT32_MAX}) {
        SCOPED_TRACE(drive);
        const std::string refusal = text("Un-supported Drive Number = [%d]", drive);
        EXPECT_EQ(xyratexSetDriveFaultLED(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Set Fault LED on Drive [%d]", drive), refusal));
        EXPECT_EQ(xyratexClearDriveFaultLED(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Clear Fault LED on Drive [%d]", drive), refusal));
        EXPECT_EQ(xyratexIsDrivePresent(drive), -1);
        EXPECT_THAT(takeTrace(), ElementsAre(refusal));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(hex(esaControl.vitesse.vsc055GPD, 8), "00 00 00 00 00 00 00 00");
}

TEST_F(Xyratex, PresenceOfAllDrivesIsTraced) {
    fakeBus.set(0x63, 0, 0x82); // drives 1 and 7 are missing
    fakeBus.set(0x63, 3, 0xF9); // drives 8 and 11; the upper bits are no drives'
    EXPECT_EQ(xyratexReadDrivePresence(), 0);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 00", "R 63 03"));
    EXPECT_THAT(takeTrace(), ElementsAre("Drive in Slot [0] is present.", "Drive in Slot [1] is NOT present.",
                                         "Drive in Slot [2] is present.", "Drive in Slot [3] is present.",
                                         "Drive in Slot [4] is present.", "Drive in Slot [5] is present.",
                                         "Drive in Slot [6] is present.", "Drive in Slot [7] is NOT present.",
                                         "Drive in Slot [8] is NOT present.", "Drive in Slot [9] is present.",
                                         "Drive in Slot [10] is present.", "Drive in Slot [11] is NOT present."));
    for (const unsigned failing : {0U, 1U}) {
        fakeBus.failTransfer(failing);
        EXPECT_EQ(xyratexReadDrivePresence(), -1);
        EXPECT_EQ(fakeBus.takeTransfers().size(), failing + 1);
        EXPECT_THAT(takeTrace(), IsEmpty());
    }
}

TEST_F(Xyratex, EveryAlarmStateIsStrobedIntoTheController) {
    struct {
        const char* strobed;
        const char* settled;
        const char* trace;
    } const states[] = {
        {"W 63 05 F8", "W 63 05 F0", "Set the Alarm State to [IDEL_S0]."},
        {"W 63 05 F9", "W 63 05 F1", "Set the Alarm State to [FAULT_S1]."},
        {"W 63 05 FA", "W 63 05 F2", "Set the Alarm State to [REMIND_S2]."},
        {"W 63 05 FB", "W 63 05 F3", "Set the Alarm State to [MUTE_S3]."},
        {"W 63 05 FC", "W 63 05 F4", "Set the Alarm State to [CRITICAL_S4]."},
        {"W 63 05 FD", "W 63 05 F5", "Set the Alarm State to [INVALID_S5]."},
        {"W 63 05 FE", "W 63 05 F6", "Set the Alarm State to [INVALID_S6]."},
        {"W 63 05 FF", "W 63 05 F7", "Set the Alarm State to [INVALID_S7]."},
    };
    for (U32_t state = 0; state < 8; ++state) {
        SCOPED_TRACE(state);
        port(5) = 0xFF;
        xyratexSetAlarmState(state);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(states[state].strobed, states[state].settled));
        EXPECT_EQ(port(5), 0xF0 + state);
        EXPECT_THAT(takeTrace(), ElementsAre(states[state].trace));
    }
}

TEST_F(Xyratex, AlarmStatesAboveSevenAreRefused) {
    port(5) = 0xA5;
    for (const U32_t state : {8U, 9U, 15U, 255U, 256U, 2147483647U}) {
        xyratexSetAlarmState(state);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Set the Alarm State to un-supported value [%u].", state)));
    }
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(port(5), 0xA5);
}

TEST_F(Xyratex, EveryAlarmStateIsReadBackBitByBit) {
    const char* const texts[] = {
        "Read the Alarm State as [IDEL_S0].",     "Read the Alarm State as [FAULT_S1].",
        "Read the Alarm State as [REMIND_S2].",   "Read the Alarm State as [MUTE_S3].",
        "Read the Alarm State as [CRITICAL_S4].", "Read the Alarm State as [INVALID_S5].",
        "Read the Alarm State as [INVALID_S6].",  "Read the Alarm State as [INVALID_S7].",
    };
    for (unsigned state = 0; state < 8; ++state) {
        SCOPED_TRACE(state);
        port(5) = 0xFF;
        fakeBus.queue(0x63, 5,
                      {(state & 1) != 0 ? 0x10 : 0xEF, (state & 2) != 0 ? 0x10 : 0xEF, (state & 4) != 0 ? 0x10 : 0xEF});
        EXPECT_EQ(xyratexReadAlarmstate(), state);
        EXPECT_THAT(fakeBus.takeTransfers(),
                    ElementsAre("W 63 05 F8", "R 63 05", "W 63 05 F9", "R 63 05", "W 63 05 FA", "R 63 05"));
        EXPECT_THAT(takeTrace(), ElementsAre(texts[state]));
    }
}
