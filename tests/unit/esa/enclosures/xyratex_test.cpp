/** The Xyratex enclosure's operations with what neither a poll nor a page ever hands them. */
#include "enclosures/xyratex.h"

#include <cstdint>

#include "esa_fixture.h"

namespace {

class Xyratex : public EsaTest {
protected:
    Xyratex() {
        startChassis(2);
        wireClear(esaControl.vitesse);
        (void)takeTrace();
    }
};

} // namespace

TEST_F(Xyratex, DrivesThatDoNotExistAreRefused) {
    for (const S32_t drive : {INT32_MIN, -256, -8, -1, 12, 13, 16, 31, 255, 256, INT32_MAX}) {
        SCOPED_TRACE(drive);
        const std::string refusal = text("Un-supported Drive Number = [%d]", drive);
        EXPECT_EQ(xyratexSetDriveFaultLED(drive), -1);
        EXPECT_EQ(xyratexClearDriveFaultLED(drive), -1);
        EXPECT_EQ(xyratexIsDrivePresent(drive), -1);
        EXPECT_EQ(takeTrace(), (Lines_t{text("Set Fault LED on Drive [%d]", drive), refusal,
                                        text("Clear Fault LED on Drive [%d]", drive), refusal, refusal}));
    }
    EXPECT_EQ(fakeBus.takeTransfers(), Lines_t{});
    EXPECT_EQ(hex(esaControl.vitesse.vsc055GPD, 8), "00 00 00 00 00 00 00 00");
}

TEST_F(Xyratex, PresenceOfAllDrivesIsTraced) {
    fakeBus.set(0x63, 0, 0x82); // drives 1 and 7 are missing
    fakeBus.set(0x63, 3, 0xF9); // drives 8 and 11; the upper bits are no drives'
    EXPECT_EQ(xyratexReadDrivePresence(), 0);
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"R 63 00", "R 63 03"}));
    Lines_t expected;
    for (int drive = 0; drive < 12; ++drive) {
        const bool missing = drive == 1 || drive == 7 || drive == 8 || drive == 11;
        expected.push_back(text("Drive in Slot [%d] is %spresent.", drive, missing ? "NOT " : ""));
    }
    EXPECT_EQ(takeTrace(), expected);
    for (const unsigned failing : {0U, 1U}) {
        fakeBus.failTransfer(failing);
        EXPECT_EQ(xyratexReadDrivePresence(), -1);
        EXPECT_EQ(fakeBus.takeTransfers().size(), failing + 1);
        EXPECT_EQ(takeTrace(), Lines_t{});
    }
}

TEST_F(Xyratex, EveryAlarmStateIsStrobedIntoTheControllerAndOthersAreRefused) {
    const struct {
        U32_t state;
        const char* trace;
        Lines_t writes;
    } states[] = {{0, "[IDEL_S0]", {"W 63 05 F8", "W 63 05 F0"}},
                  {1, "[FAULT_S1]", {"W 63 05 F9", "W 63 05 F1"}},
                  {2, "[REMIND_S2]", {"W 63 05 FA", "W 63 05 F2"}},
                  {3, "[MUTE_S3]", {"W 63 05 FB", "W 63 05 F3"}},
                  {4, "[CRITICAL_S4]", {"W 63 05 FC", "W 63 05 F4"}},
                  {5, "[INVALID_S5]", {"W 63 05 FD", "W 63 05 F5"}},
                  {6, "[INVALID_S6]", {"W 63 05 FE", "W 63 05 F6"}},
                  {7, "[INVALID_S7]", {"W 63 05 FF", "W 63 05 F7"}},
                  {8, "un-supported value [8]", {}},
                  {256, "un-supported value [256]", {}},
                  {2147483647, "un-supported value [2147483647]", {}}};
    for (const auto& one : states) {
        SCOPED_TRACE(one.state);
        esaControl.vitesse.vsc055GPD[5] = 0xFF;
        xyratexSetAlarmState(one.state);
        EXPECT_EQ(fakeBus.takeTransfers(), one.writes);
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[5], one.state < 8 ? 0xF0 + one.state : 0xFF);
        EXPECT_EQ(takeTrace(), (Lines_t{std::string("Set the Alarm State to ") + one.trace + "."}));
    }
}

TEST_F(Xyratex, EveryAlarmStateIsReadBackBitByBit) {
    const char* const texts[] = {"[IDEL_S0]",     "[FAULT_S1]",   "[REMIND_S2]",  "[MUTE_S3]",
                                 "[CRITICAL_S4]", "[INVALID_S5]", "[INVALID_S6]", "[INVALID_S7]"};
    for (unsigned state = 0; state < 8; ++state) {
        SCOPED_TRACE(state);
        esaControl.vitesse.vsc055GPD[5] = 0xFF;
        fakeBus.queue(0x63, 5,
                      {(state & 1) != 0 ? 0x10 : 0xEF, (state & 2) != 0 ? 0x10 : 0xEF, (state & 4) != 0 ? 0x10 : 0xEF});
        EXPECT_EQ(xyratexReadAlarmstate(), state);
        EXPECT_EQ(fakeBus.takeTransfers(),
                  (Lines_t{"W 63 05 F8", "R 63 05", "W 63 05 F9", "R 63 05", "W 63 05 FA", "R 63 05"}));
        EXPECT_EQ(takeTrace(), (Lines_t{std::string("Read the Alarm State as ") + texts[state] + "."}));
    }
}
