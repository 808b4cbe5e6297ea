/** The enclosure control page: where its lists lie, what is stored, what is acted on, and what that does. */
#include "page_cases.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Control : public PagesTest {
protected:
    /** The five lists of a page, each its overall word and its records, as the chassis' counts want them. */
    struct Lists_t {
        std::string overall[5] = {"00 00 00 00", "00 00 00 00", "00 00 00 00", "00 00 00 00", "00 00 00 00"};
        std::vector<std::string> records[5];
    };

    Lists_t blank() {
        const int counts[] = {esaControl.deviceMaxNumber, esaControl.powerSupplyMaxNumber, esaControl.coolingMaxNumber,
                              esaControl.temperatureSensorMaxNumber, esaControl.audibleAlarmMaxNumber};
        Lists_t lists;
        for (int list = 0; list < 5; ++list) {
            lists.records[list].assign(static_cast<std::size_t>(counts[list]), "00 00 00 00");
        }
        return lists;
    }

    /** Sends the page and returns the transfers it made. */
    Lines_t apply(const Lists_t& lists, int requestor = 25) {
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
    Lists_t only(int list, std::size_t index, const std::string& record) {
        Lists_t lists = blank();
        lists.overall[list] = "00 00 00 80";
        lists.records[list][index] = record;
        return lists;
    }
};

TEST_F(Control, AListIsStoredAsAWholeBeforeItsFirstRecordIsActedOn) {
    startChassis(5, 0);
    Lists_t lists = blank();
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
        Lists_t lists = blank();
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
    Lists_t lists = blank();
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

TEST_F(Control, OnlySelectedRecordsOfSelectedListsAreActedOn) {
    const char* const selected[] = {"", "80 00 00 02", "80 00 00 04", "", "80 00 00 02"};
    const char* const unselected[] = {"", "7F 00 00 02", "7F 00 00 04", "", "7F 00 00 02"};
    for (int type : {2, 3, 4, 5, 6}) {
        for (int list : {1, 2, 4}) {
            SCOPED_TRACE(type * 10 + list);
            healthy(type);
            esaControl.powerSupplyStatus = 0x7;
            EXPECT_THAT(apply(only(list, 0, unselected[list])), IsEmpty());
            Lists_t lists = only(list, 0, selected[list]);
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

} // namespace
