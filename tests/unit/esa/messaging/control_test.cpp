/** The enclosure control page: where its lists lie, what is stored, what is acted on, and what that does. */
#include "page_cases.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Control : public PagesTest {
protected:
    /** The five lists of a page, each its overall word and its records, as the chassis' counts want them. */
    struct Lists {
        std::string overall[5] = {"00 00 00 00", "00 00 00 00", "00 00 00 00", "00 00 00 00", "00 00 00 00"};
        std::vector<std::string> records[5];
    };

    Lists blank() {
        const int counts[] = {esaControl.deviceMaxNumber, esaControl.powerSupplyMaxNumber, esaControl.coolingMaxNumber,
                              esaControl.temperatureSensorMaxNumber, esaControl.audibleAlarmMaxNumber};
        Lists lists;
        for (int list = 0; list < 5; ++list) {
            lists.records[list].assign(static_cast<std::size_t>(counts[list]), "00 00 00 00");
        }
        return lists;
    }

    /** Sends the page and returns the transfers it made. */
    Lines apply(const Lists& lists, int requestor = 25) {
        std::string text = "1D 08 00 00 10 00 00 00 02 00 00 00 00 00 00 00";
        for (int list = 0; list < 5; ++list) {
            text += lists.overall[list];
            for (const std::string& record : lists.records[list]) {
                text += record;
            }
        }
        (void)build(29, requestor, 400, text);
        (void)takeTrace();
        dispatch();
        reports = takeMessages();
        if (requestor != 20) {
            EXPECT_FALSE(reports.empty());
            EXPECT_EQ(reports.back().size(), 68U);
            reports.pop_back();
        }
        return fakeBus.takeTransfers();
    }

    /** Only one list acted on: its records, selected or not. */
    Lists only(int list, std::size_t index, const std::string& record) {
        Lists lists = blank();
        lists.overall[list] = "00 00 00 80";
        lists.records[list][index] = record;
        return lists;
    }
};

TEST_F(Control, DriveLedsFollowTheirRecordsWithoutAnySelection) {
    const struct {
        int type;
        Lines on;
        Lines off;
    } cases[] = {{2, {"W 63 07 FD", "W 63 06 2E"}, {"W 63 07 FF"}},
                 {3, {"W 41 06 FD", "W 41 07 FE"}, {"W 41 06 FF"}},
                 {5, {"W 41 06 FD", "W 41 07 FE"}, {"W 41 06 FF"}},
                 {4, {}, {}},
                 {6, {}, {}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.type);
        healthy(row.type);
        esaControl.vitesse.vsc055GPD[6] = row.type == 2 ? 0x2F : 0xFF;
        esaControl.vitesse.vsc055GPD[7] = 0xFF;
        const std::string event = "event 5/2 chassis " + std::to_string(row.type);
        Lists lists = blank();
        lists.records[0][1] = "00 00 00 04";
        lists.records[0][2] = "FF FF FF FB";
        lists.records[0][8] = "00 00 00 04";
        EXPECT_EQ(apply(lists), row.on);
        EXPECT_EQ(reportNames(), Lines{event});
        EXPECT_EQ(eventWord(reports[0], 1), esaControl.deviceMaxNumber);
        EXPECT_EQ(eventWord(reports[0], 6), 0x102U);
        EXPECT_EQ(esaControl.driveFaultLedStatus0, 0x102U);
        EXPECT_THAT(takeTrace(),
                    testing::IsSupersetOf({"Turn On Fault LED on Drive [1].", "Drive Fault LED already OFF Drive [2].",
                                           "Turn On Fault LED on Drive [8]."}));
        EXPECT_EQ(hex(&esaControl.deviceElementControl[2], 4), "FF FF FF FB");

        EXPECT_THAT(apply(lists), IsEmpty());
        EXPECT_THAT(reports, IsEmpty());
        EXPECT_THAT(takeTrace(), Contains("Drive Fault LED already ON Drive [8]."));

        lists.records[0][1] = "80 00 00 00";
        EXPECT_EQ(apply(lists), row.off);
        EXPECT_EQ(reportNames(), Lines{event});
        EXPECT_EQ(esaControl.driveFaultLedStatus0, 0x100U);
        EXPECT_THAT(takeTrace(), Contains("Turn Off Fault LED on Drive [1]."));
    }
}

TEST_F(Control, VolumeManagerReachesTheDriveLedsOnly) {
    healthy(5);
    Lists lists = blank();
    for (int list = 0; list < 5; ++list) {
        lists.overall[list] = "01 02 03 80";
        for (std::string& record : lists.records[list]) {
            record = "80 FF FF FF";
        }
    }
    EXPECT_EQ(apply(lists, 20).size(), 16U);
    EXPECT_EQ(reportNames(), Lines{"event 5/2 chassis 5"});
    EXPECT_EQ(esaControl.deviceElementControlOverall, 0x01020380U);
    EXPECT_EQ(esaControl.powerSupplyElementControlOverall, 0U);
    EXPECT_EQ(esaControl.coolingElementControlOverall, 0U);
    EXPECT_EQ(esaControl.temperatureSensorElementControlOverall, 0U);
    EXPECT_EQ(esaControl.audibleAlarmElementControlOverall, 0U);
    EXPECT_EQ(hex(&esaControl.powerSupplyElementControl[0], 4), "00 00 00 00");
    EXPECT_EQ(hex(&esaControl.coolingElementControl[0], 4), "00 00 00 00");
    EXPECT_EQ(hex(&esaControl.temperatureSensorElementControl[0], 4), "00 00 00 00");
    EXPECT_EQ(hex(&esaControl.audibleAlarmElementControl[0], 4), "00 00 00 00");
}

TEST_F(Control, AListIsStoredAsAWholeBeforeItsFirstRecordIsActedOn) {
    startChassis(5, 0);
    Lists lists = blank();
    lists.overall[1] = "00 00 00 80";
    lists.records[1] = {"80 00 00 02", "A0 00 00 00"};
    esaControl.powerSupplyStatus |= 0x4;
    const S32_t socket = esaControl.socketFdMSM;
    esaControl.socketFdMSM = -1; // the request to Startup fails, and the handler dumps what is stored by then
    std::string text = "1D 08 00 00 10 00 00 00 02 00 00 00 00 00 00 00";
    for (int list = 0; list < 5; ++list) {
        text += lists.overall[list];
        for (const std::string& record : lists.records[list]) {
            text += record;
        }
    }
    (void)build(29, 25, 400, text);
    dispatch();
    esaControl.socketFdMSM = socket;
    ASSERT_GE(fakeEventLog.size(), 2U);
    EXPECT_EQ(hex(&fakeEventLog[1].bytes[152 + 284], 8), "80 00 00 02 A0 00 00 00");
}

TEST_F(Control, ListsAreStoredWhereTheyLie) {
    for (int type : {2, 3, 4, 5, 6}) {
        SCOPED_TRACE(type);
        healthy(type);
        Lists lists = blank();
        for (int list = 0; list < 5; ++list) {
            lists.overall[list] = "A" + std::to_string(list) + " 00 00 7F"; // not selected
            for (std::size_t i = 0; i < lists.records[list].size(); ++i) {
                lists.records[list][i] = "FF " + hexByte(list) + " " + hexByte(static_cast<int>(i)) + " 00";
            }
        }
        EXPECT_THAT(apply(lists), IsEmpty());
        EXPECT_THAT(reports, IsEmpty());
        EXPECT_EQ(esaControl.deviceElementControlOverall, 0xA000007FU);
        EXPECT_EQ(esaControl.powerSupplyElementControlOverall, 0xA100007FU);
        EXPECT_EQ(esaControl.coolingElementControlOverall, 0xA200007FU);
        EXPECT_EQ(esaControl.audibleAlarmElementControlOverall, 0xA400007FU);
        for (int i = 0; i < esaControl.deviceMaxNumber; ++i) {
            EXPECT_EQ(hex(&esaControl.deviceElementControl[i], 4), "FF 00 " + hexByte(i) + " 00");
        }
        for (int i = 0; i < esaControl.powerSupplyMaxNumber; ++i) {
            EXPECT_EQ(hex(&esaControl.powerSupplyElementControl[i], 4), "FF 01 " + hexByte(i) + " 00");
        }
        for (int i = 0; i < esaControl.coolingMaxNumber; ++i) {
            EXPECT_EQ(hex(&esaControl.coolingElementControl[i], 4), "FF 02 " + hexByte(i) + " 00");
        }
        EXPECT_EQ(hex(&esaControl.audibleAlarmElementControl[0], 4), "FF 04 00 00");
    }
}

/** The sensors' list is looked for as many records behind the fans' list as there are sensors, not fans. */
TEST_F(Control, SensorRecordsAreTakenFromTheSensorsCountBehindTheFans) {
    esaSetDimensions({5, 2, 1, 8, 4, 1});
    Lists lists = blank();
    for (std::size_t fan = 0; fan < 8; ++fan) {
        lists.records[2][fan] = "00 02 " + hexByte(static_cast<int>(fan)) + " 00";
    }
    lists.records[4][0] = "00 04 00 00";
    lists.overall[4] = "00 00 00 44";
    (void)apply(lists);
    EXPECT_EQ(esaControl.temperatureSensorElementControlOverall, 0x00020400U) << "fan 4";
    EXPECT_EQ(hex(&esaControl.temperatureSensorElementControl[0], 16),
              "00 02 05 00 00 02 06 00 00 02 07 00 00 00 00 00");
    EXPECT_EQ(esaControl.audibleAlarmElementControlOverall, 0x44U);
    EXPECT_EQ(hex(&esaControl.audibleAlarmElementControl[0], 4), "00 04 00 00");
}

TEST_F(Control, SupplyFaultIndicationIsSwitchedOnce) {
    const struct {
        int type;
        Lines fail;
        Lines failTransfers;
        Lines good;
        Lines goodTransfers;
        U32_t cause;
    } cases[] = {{2, {}, {"W 63 06 0F"}, {}, {"W 63 06 2F"}, 0},
                 {3, BAD, {"W 41 04 08"}, {"led-off"}, {"W 41 04 00"}, 0x80000002},
                 {5, BAD, {"W 41 04 08"}, {"led-off"}, {"W 41 04 00"}, 0x80000002},
                 {4,
                  BAD,
                  {"W 28 40 00", "W 2A 40 00", "W 2C 40 00", "W 30 40 00"},
                  {"led-off"},
                  {"W 28 40 40", "W 2A 40 40", "W 2C 40 40", "W 30 40 40"},
                  0x80000001},
                 {6, BAD, {"W 28 40 00"}, {"led-off"}, {"W 28 40 40"}, 0x80000001}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.type);
        healthy(row.type);
        esaControl.vitesse.vsc055GPD[6] = 0x2F;
        for (WinbondControl_t& chip : esaControl.winbond) {
            chip.configurationRegister = 0x40;
        }
        esaControl.powerSupplyStatus = 0x7;
        const std::string event = "event 6/2 chassis " + std::to_string(row.type);
        Lists lists = only(1, 1, "80 00 00 02");
        EXPECT_EQ(apply(lists), row.failTransfers);
        EXPECT_EQ(reportNames(), with(row.fail, event.c_str()));
        EXPECT_EQ(eventWord(reports.back(), 2), esaControl.powerSupplyMaxNumber);
        EXPECT_EQ(eventWord(reports.back(), 8), 3U);
        EXPECT_EQ(esaControl.powerSupplyStatus, 3U);
        EXPECT_EQ(esaControl.compositeFaultStatus, row.cause);
        EXPECT_THAT(takeTrace(), Contains("Turn On Fault LED for Power Supply."));

        EXPECT_THAT(apply(lists), IsEmpty());
        EXPECT_THAT(reports, IsEmpty());
        EXPECT_THAT(takeTrace(), Contains("Fault LED already [ON] for Power Supply."));

        lists.records[1][1] = "FF FF FF FD";
        EXPECT_EQ(apply(lists), row.goodTransfers);
        EXPECT_EQ(reportNames(), with(row.good, event.c_str()));
        EXPECT_EQ(esaControl.powerSupplyStatus, 7U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
        EXPECT_THAT(takeTrace(), Contains("Turn Off Fault LED for Power Supply."));

        EXPECT_THAT(apply(lists), IsEmpty());
        EXPECT_THAT(reports, IsEmpty());
        EXPECT_THAT(takeTrace(), Contains("Fault LED already [OFF] for Power Supply."));
    }
}

TEST_F(Control, OnlySelectedRecordsOfSelectedListsAreActedOn) {
    const char* const selected[] = {"", "80 00 00 02", "80 00 00 04", "", "80 00 00 02"};
    const char* const unselected[] = {"", "7F 00 00 02", "7F 00 00 04", "", "7F 00 00 02"};
    for (int type : {2, 3, 4, 5, 6}) {
        for (int list : {1, 2, 4}) {
            SCOPED_TRACE(type * 10 + list);
            healthy(type);
            esaControl.powerSupplyStatus = 0x7;
            EXPECT_THAT(apply(only(list, 0, unselected[list])), IsEmpty());
            Lists lists = only(list, 0, selected[list]);
            lists.overall[list] = "80 80 80 7F";
            EXPECT_THAT(apply(lists), IsEmpty());
            EXPECT_THAT(reports, IsEmpty());
            EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
            EXPECT_EQ(esaControl.alarmState, 3U);
            EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8), "00 00 00 00 00 00 00 00");
            EXPECT_FALSE(apply(only(list, 0, selected[list])).empty());
        }
    }
}

TEST_F(Control, WithoutAChassisStatesAreKeptButNothingIsDriven) {
    esaSetDimensions({5, 1, 1, 1, 1, 1});
    esaControl.powerSupplyStatus = 4;
    esaControl.alarmState = 1;
    Lists lists = blank();
    for (int list = 0; list < 5; ++list) {
        lists.overall[list] = "00 00 00 80";
        lists.records[list][0] = "80 00 00 06";
    }
    EXPECT_THAT(apply(lists), IsEmpty());
    EXPECT_EQ(reportNames(), Lines({"event 5/2 chassis 1", "event 6/2 chassis 1"}));
    EXPECT_EQ(esaControl.driveFaultLedStatus0, 1U);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
    EXPECT_EQ(hex(esaControl.coolingElementOnOff, 1), "00");
    EXPECT_EQ(esaControl.alarmState, 1U);
    EXPECT_THAT(takeTrace(), Contains("Turn On Fan [0]."));
}

} // namespace
