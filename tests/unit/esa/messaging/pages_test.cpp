/** Configuration and status pages of every chassis, whole, healthy and with each transfer failing. */
#include "page_cases.h"

using testing::IsEmpty;

namespace {

class Pages : public PagesTest, public testing::WithParamInterface<PageCase> {};

std::string configuration(const std::vector<std::string>& counts) {
    return "00 01 00 00 40 00 00 00 00 20 00 05 24" + repeat(" 00", 36) + " 01 " + counts[0] + " 00 00 02 " +
           counts[1] + " 00 00 03 " + counts[2] + " 00 00 04 " + counts[3] + " 00 00 06 " + counts[4] + " 00";
}

} // namespace

TEST_P(Pages, ConfigurationPageTellsTheElementCounts) {
    healthy(GetParam().type);
    std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));
    EXPECT_EQ(page(1), configuration(GetParam().typeCounts)) << "the page's last byte is not sent";
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_EQ(hex(esaControl.esaWorkSpace + 10, 2), "00 84");
}

TEST_P(Pages, HealthyEnclosure) {
    const PageCase& chassis = GetParam();
    healthy(chassis.type);
    std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));
    EXPECT_EQ(statusPage(), compose(chassis.header, chassis.lists));
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_EQ(fakeBus.takeTransfers(), chassis.transfers);
    EXPECT_EQ(hex(esaControl.esaWorkSpace + 10, 2), "00 " + hexByte(chassis.length));
    EXPECT_EQ(esaControl.powerSupplyStatus, 3U);
}

TEST_P(Pages, EveryFailingTransferTouchesItsOwnRecordOnly) {
    const PageCase& chassis = GetParam();
    std::size_t tried = 0;
    for (const FailedTransfer& run : chassis.failures) {
        for (int i = 0; i < run.count; ++i, ++tried) {
            SCOPED_TRACE(run.first + i);
            healthy(chassis.type);
            fakeBus.failTransfer(static_cast<unsigned>(run.first + i));
            std::vector<Lines> expected = chassis.lists;
            const int record = run.record + i / run.perRecord;
            std::string text = run.text;
            if (const std::size_t slot = text.find("SS"); slot != std::string::npos) {
                text.replace(slot, 2, hexByte(record));
            }
            if (!text.empty()) {
                expected[static_cast<std::size_t>(run.list)][static_cast<std::size_t>(record)] = text;
            }
            EXPECT_EQ(statusPage(), compose(chassis.header, expected));
            EXPECT_EQ(reportNames(), run.reports);
        }
    }
    EXPECT_EQ(tried, chassis.transfers.size());
}

TEST_P(Pages, UnusableBusIsShownAndStillAnswered) {
    const PageCase& chassis = GetParam();
    healthy(chassis.type);
    esaControl.i2cConnected = 0;
    const bool xyratex = chassis.type == 2;
    const bool winbond = chassis.type == 4 || chassis.type == 6;
    std::vector<Lines> expected = chassis.lists;
    for (std::size_t list = 0; list < 4; ++list) {
        for (std::size_t i = 0; i < expected[list].size(); ++i) {
            const Lines dead = {xyratex ? "05 " + hexByte(static_cast<int>(i)) + " 00 00" : expected[0][i],
                                winbond || xyratex ? "05 00 00 43" : "05 00 00 03", "00 00 00 E0", "00 00 00 00"};
            expected[list][i] = dead[list];
        }
    }
    EXPECT_EQ(statusPage(), compose(chassis.header, expected));
    const std::string event = "event 6/2 chassis " + std::to_string(chassis.type);
    EXPECT_EQ(reportNames(), xyratex ? Lines{event} : with(BAD, event.c_str()));
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_P(Pages, PowerEventIsSentOnceUntilTheReadingChanges) {
    const PageCase& chassis = GetParam();
    const std::string event = "event 6/2 chassis " + std::to_string(chassis.type);
    healthy(chassis.type);
    const auto setPower = [](bool good) {
        fakeBus.set(0x63, 0x04, good ? 0x30 : 0x00);
        fakeBus.set(0x41, 0x04, good ? 0x80 : 0x7F);
        fakeBus.set(0x30, 0x23, good ? 186 : 205);
        fakeBus.set(0x28, 0x23, good ? 186 : 205);
    };
    setPower(false);
    (void)page(2);
    EXPECT_EQ(reportNames(), chassis.type == 2 ? Lines{event} : with(BAD, event.c_str()));
    EXPECT_EQ(eventWord(reports.back(), 2), chassis.lists[1].size());
    const U32_t left = chassis.type == 2 ? 0 : chassis.type == 3 || chassis.type == 5 ? 1 : 2;
    EXPECT_EQ(eventWord(reports.back(), 8), left);
    const std::string bad = page(2);
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_EQ(page(2), bad);
    EXPECT_THAT(reports, IsEmpty());
    setPower(true);
    EXPECT_EQ(statusPage(), compose(chassis.header, chassis.lists));
    EXPECT_EQ(reportNames(), chassis.type == 2 ? Lines{event} : Lines({"led-off", event}));
    EXPECT_EQ(eventWord(reports.back(), 8), 3U);
}

TEST_P(Pages, ControlRecordsAreEchoed) {
    const PageCase& chassis = GetParam();
    healthy(chassis.type);
    const auto put = [](void* record, const std::string& text) {
        const Bytes bytes = unhex(text);
        std::memcpy(record, bytes.data(), 4);
    };
    put(&esaControl.deviceElementControl[3], "FF FF FF 04");
    put(&esaControl.deviceElementControl[4], "FF FF FF FB");
    put(&esaControl.powerSupplyElementControl[0], "FF FF FF F9");
    put(&esaControl.powerSupplyElementControl[1], "FF FF FF 06");
    put(&esaControl.coolingElementControl[1], "FF FF FF 04");
    put(&esaControl.coolingElementControl[2], "FF FF FF FB");
    std::vector<Lines> expected = chassis.lists;
    expected[0][3] = "01 03 00 04";
    expected[1][1] = "01 00 00 07"; // on, failure requested
    expected[2][1].replace(9, 2, "E4");
    EXPECT_EQ(statusPage(), compose(chassis.header, expected));
    EXPECT_THAT(reports, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Chassis, Pages, testing::ValuesIn(pageCases()),
                         [](const auto& chassis) { return std::string(chassis.param.name); });

namespace {

class AnyPage : public PagesTest {};

TEST_F(AnyPage, ConfigurationNeedsRoomForFourBytesAType) {
    for (int types : {5, 0, 9}) {
        healthy(5);
        esaControl.elementTypeMaxNumber = static_cast<U8_t>(types);
        EXPECT_EQ(page(1, 4 * types + 47), "no reply");
        EXPECT_THAT(reports, IsEmpty());
        const std::string whole = page(1, 4 * types + 48);
        EXPECT_EQ((whole.size() + 1) / 3, static_cast<std::size_t>(4 * types + 48)) << "type headers: " << types;
        EXPECT_EQ(whole.substr(0, 38),
                  "00 01 00 00 " + hexByte(4 * types + 44) + " 00 00 00 00 20 00 " + hexByte(types) + " 24");
    }
}

TEST_F(AnyPage, StatusNeedsNoRoom) {
    healthy(5);
    EXPECT_NE(page(2, 1), "no reply");
}

TEST_F(AnyPage, WithoutAChassisEverythingIsShownAsWorking) {
    esaSetDimensions({5, 2, 3, 2, 4, 1});
    esaControl.temperatureSensor[0] = 30;
    esaControl.temperatureSensor[1] = 32767;
    const Bytes record = unhex("80 00 00 06");
    std::memcpy(static_cast<void*>(&esaControl.powerSupplyElementControl[2]), record.data(), 4);
    std::memcpy(static_cast<void*>(&esaControl.coolingElementControl[1]), record.data(), 4);
    std::memcpy(static_cast<void*>(&esaControl.audibleAlarmElementControl[0]), record.data(), 4);
    EXPECT_EQ(page(1), configuration({"02", "03", "02", "04", "01"}));
    EXPECT_EQ(statusPage(),
              compose("02 00 00 48 00 00 00 00", {slots(2),
                                                  {"01 00 00 01", "01 00 00 01", "01 00 00 07"},
                                                  {"00 00 00 E0", "00 00 00 E4"},
                                                  {"00 00 32 00", "00 00 00 00", "00 00 14 80", "00 00 14 80"},
                                                  {"00 00 00 03"}}));
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

} // namespace
