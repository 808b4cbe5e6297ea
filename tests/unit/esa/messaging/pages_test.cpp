/** Configuration and status pages of every chassis, healthy and whole, and what single records show at their limits. */
#include "page_cases.h"

using testing::Contains;
using testing::IsEmpty;

namespace {

class Pages : public PagesTest, public testing::WithParamInterface<PageCase_t> {};

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

TEST_P(Pages, ConfigurationPageNeedsRoomForAllOfItWhichTheStatusPageDoesNot) {
    healthy(GetParam().type);
    EXPECT_EQ(page(1, 67), "no reply");
    EXPECT_EQ(page(1, 68), configuration(GetParam().typeCounts));
    const std::string whole = compose(GetParam().header, GetParam().lists);
    EXPECT_EQ(page(2, 1), whole.substr(0, whole.size() - 3)) << "all but its last byte";
}

TEST_P(Pages, HealthyEnclosure) {
    const PageCase_t& chassis = GetParam();
    healthy(chassis.type);
    std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));
    EXPECT_EQ(statusPage(), compose(chassis.header, chassis.lists));
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_EQ(fakeBus.takeTransfers(), chassis.transfers);
    EXPECT_EQ(hex(esaControl.esaWorkSpace + 10, 2), "00 " + hexByte(chassis.length));
    EXPECT_EQ(esaControl.powerSupplyStatus, 3U);
}

INSTANTIATE_TEST_SUITE_P(Chassis, Pages, testing::ValuesIn(pageCases()),
                         [](const auto& chassis) { return std::string(chassis.param.name); });

namespace {

class PageDetails : public PagesTest {
protected:
    /** The four bytes of a record of the status page; `offset` counts from the page's first byte. */
    static std::string record(const std::string& page, std::size_t offset) { return page.substr(3 * (1 + offset), 11); }

    static constexpr std::size_t XYRATEX_FANS = 8 + 52 + 12 + 4;
    static constexpr std::size_t XYRATEX_SENSORS = XYRATEX_FANS + 32 + 4;
    static constexpr std::size_t XYRATEX_ALARM = XYRATEX_SENSORS + 8 + 4;
    static constexpr std::size_t VSC055_FANS = 8 + 68 + 12 + 4;
    static constexpr std::size_t VSC055_ALARM = VSC055_FANS + 12 + 16 + 4;
};

TEST_F(PageDetails, TemperaturesAreTwentyUpWithFlagsAtTheirLimits) {
    const struct {
        int degC;
        const char* record;
    } cases[] = {{-1, "00 00 13 C0"},  {0, "00 00 14 80"},    {1, "00 00 15 00"},  {55, "00 00 4B 00"},
                 {56, "00 00 4C 20"},  {60, "00 00 50 20"},   {61, "00 00 51 30"}, {-20, "00 00 00 C0"},
                 {-21, "00 00 FF C0"}, {-128, "00 00 94 C0"}, {127, "00 00 93 30"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.degC);
        healthy(4);
        for (int chip : {0x28, 0x2A, 0x2C, 0x30}) {
            fakeBus.set(chip, 0x27, row.degC & 0xFF);
        }
        const std::string page = statusPage();
        for (std::size_t sensor = 0; sensor < 4; ++sensor) {
            EXPECT_EQ(record(page, 8 + 68 + 16 + 28 + 4 + 4 * sensor), row.record);
        }
        EXPECT_THAT(reports, IsEmpty()) << "pages report no temperatures";
    }
}

TEST_F(PageDetails, SpeedsAreTenBitsOfTensAndOnlyZeroIsOff) {
    const struct {
        int count;
        const char* rpm;
        const char* record;
    } cases[] = {{255, "0", "00 00 00 08"},     // overflow: stopped
                 {254, "2657", "00 40 09 E0"},  //
                 {1, "19640", "00 C0 AC E0"},   // 19640 / 2560 = 7: its low two bits
                 {66, "10227", "00 C0 FE E0"},  // highest speed that ten bits hold
                 {65, "10384", "00 00 0E E0"}}; // and the first that they do not
    for (const auto& row : cases) {
        SCOPED_TRACE(row.count);
        healthy(6);
        fakeBus.set(0x28, 0x29, row.count);
        EXPECT_EQ(record(statusPage(), VSC055_FANS + 4), row.record);
        EXPECT_THAT(takeTrace(), Contains("Fan [1] has RPM [" + std::string(row.rpm) + "] divided by a factor of 10."));
        EXPECT_THAT(reports, IsEmpty()) << "only the Xyratex enclosure marks fans here";
        EXPECT_EQ(esaControl.fanFaultStatus, 0U);
    }
}

TEST_F(PageDetails, SpeedWhoseLowEightBitsAreZeroIsNotOff) {
    healthy(5);
    fakeBus.set(0x41, 0x36, 234); // 2564 RPM, 256 tens
    EXPECT_EQ(record(statusPage(), VSC055_FANS + 4), "00 40 00 E0");
}

TEST_F(PageDetails, EventsOfOnePageComeInListOrderBeforeTheReply) {
    healthy(2);
    fakeBus.set(0x63, 0x04, 0x00);
    fakeBus.set(0x63, 0x4E, 0);
    const std::string page = statusPage();
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0][215], 6);
    EXPECT_EQ(reports[1][215], 7);
    EXPECT_EQ(reports[1][255], 0x80) << "the fan's mark";
    EXPECT_EQ(record(page, 8 + 52 + 4), "05 00 00 43");
    EXPECT_EQ(record(page, XYRATEX_FANS + 28), "00 00 00 0A");
    EXPECT_EQ(record(page, XYRATEX_SENSORS), "00 00 2D 00") << "what was built before the events is not lost";
}

TEST_F(PageDetails, AlarmOverallWordEchoesOneBitOfItsLastByte) {
    for (const auto& [control, overall] : {std::pair{0xFFFFFFFFU, "00 00 00 20"},
                                           {0xFFFFFFDFU, "00 00 00 00"},
                                           {0x00000020U, "00 00 00 20"},
                                           {0x20000000U, "00 00 00 00"}}) {
        healthy(5);
        esaControl.audibleAlarmElementControlOverall = control;
        esaControl.deviceElementControlOverall = 0xFFFFFFFF;
        esaControl.powerSupplyElementControlOverall = 0xFFFFFFFF;
        esaControl.coolingElementControlOverall = 0xFFFFFFFF;
        esaControl.temperatureSensorElementControlOverall = 0xFFFFFFFF;
        EXPECT_EQ(statusPage(), compose(pageCases()[3].header, pageCases()[3].lists, overall));
    }
}

} // namespace
