/** What single records of the status page show: temperatures, fans and the alarm at their limits. */
#include "page_cases.h"

using testing::Contains;
using testing::IsEmpty;

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

TEST_F(PageDetails, EverySensorHasItsOwnChip) {
    healthy(4);
    const int chips[] = {0x28, 0x2A, 0x2C, 0x30};
    for (int i = 0; i < 4; ++i) {
        fakeBus.set(chips[i], 0x27, 30 + i);
    }
    const std::string page = statusPage();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(record(page, static_cast<std::size_t>(124 + 4 * i)), "00 00 " + hexByte(50 + i) + " 00");
    }
    healthy(5);
    fakeBus.set(0x4C, 0, 31);
    fakeBus.set(0x4B, 0, 32);
    fakeBus.set(0x4A, 0, 33);
    const std::string backplane = statusPage();
    EXPECT_THAT(takeTrace(), testing::IsSupersetOf({"temperatureSensor[0] = [31] degrees Celsius.",
                                                    "temperatureSensor[1] = [32] degrees Celsius.",
                                                    "temperatureSensor[2] = [33] degrees Celsius."}));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(record(backplane, VSC055_FANS + 12 + 4 + 4 * static_cast<std::size_t>(i)),
                  "00 00 " + hexByte(51 + i) + " 00");
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

/** Tachometer values of a chassis whose divisor is 4: 300000 / value. */
TEST_F(PageDetails, BackplaneFansAreNotMarkedHoweverSlow) {
    const struct {
        int value;
        const char* record;
    } cases[] = {{150, "00 00 C8 E0"}, // 2000 RPM
                 {118, "00 00 FE E0"}, // 2542
                 {117, "00 40 00 E0"}, // 2564: the low byte alone is 0, yet the fan is not off
                 {0, "00 00 00 08"},
                 {255, "00 00 00 E0"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.value);
        healthy(3);
        fakeBus.set(0x41, 0x36, row.value);
        EXPECT_EQ(record(statusPage(), VSC055_FANS + 8), row.record) << "one supply more than on chassis 5";
        EXPECT_THAT(reports, IsEmpty());
        EXPECT_EQ(esaControl.fanFaultStatus, 0U);
    }
}

TEST_F(PageDetails, XyratexMarksFansBySpeed) {
    healthy(2);
    fakeBus.set(0x63, 0x32, 0); // stopped
    EXPECT_EQ(record(statusPage(), XYRATEX_FANS), "00 00 00 0A");
    EXPECT_EQ(reportNames(), Lines{"event 7/2 chassis 2"});
    EXPECT_EQ(eventWord(reports[0], 3), 8U);
    EXPECT_EQ(eventWord(reports[0], 9), 1U);
    EXPECT_THAT(takeTrace(), testing::IsSupersetOf({"Now marking Fault on Fan [0].", "Turn [ON] FAN Fail LED.",
                                                    "Already marked OK on Fan [1].", "FAN Fail LED already [ON]."}));
    EXPECT_THAT(fakeBus.takeTransfers(), Contains("W 63 06 80"));

    EXPECT_EQ(record(statusPage(), XYRATEX_FANS), "00 00 00 0A");
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_THAT(takeTrace(), Contains("Already marked Fault on Fan [0]."));

    fakeBus.set(0x63, 0x32, 255); // unreadable: neither marked nor cleared
    EXPECT_EQ(record(statusPage(), XYRATEX_FANS), "00 00 00 E0");
    EXPECT_THAT(reports, IsEmpty());
    EXPECT_EQ(esaControl.fanFaultStatus, 1U);

    fakeBus.set(0x63, 0x32, 200);
    EXPECT_EQ(record(statusPage(), XYRATEX_FANS), "00 80 58 E0");
    EXPECT_EQ(reportNames(), Lines{"event 7/2 chassis 2"});
    EXPECT_EQ(eventWord(reports[0], 9), 0U);
    EXPECT_THAT(takeTrace(), testing::IsSupersetOf({"Now marking OK on Fan [0].", "Turn [OFF] FAN Fail LED."}));
}

TEST_F(PageDetails, EventsOfOnePageComeInListOrderBeforeTheReply) {
    healthy(2);
    fakeBus.set(0x63, 0x04, 0x00);
    fakeBus.set(0x63, 0x4E, 0);
    const std::string page = statusPage();
    EXPECT_EQ(reportNames(), Lines({"event 6/2 chassis 2", "event 7/2 chassis 2"}));
    EXPECT_EQ(eventWord(reports[1], 9), 0x80U);
    EXPECT_EQ(record(page, 8 + 52 + 4), "05 00 00 43");
    EXPECT_EQ(record(page, XYRATEX_FANS + 28), "00 00 00 0A");
    EXPECT_EQ(record(page, XYRATEX_SENSORS), "00 00 2D 00") << "what was built before the events is not lost";
}

TEST_F(PageDetails, AbsentDrivesAreNotInstalled) {
    healthy(2);
    fakeBus.set(0x63, 0x00, 0x81);
    fakeBus.set(0x63, 0x03, 0x08);
    std::vector<Lines> expected = pageCases()[0].lists;
    expected[0][0] = "05 00 00 00";
    expected[0][7] = "05 07 00 00";
    expected[0][11] = "05 0B 00 00";
    EXPECT_EQ(statusPage(), compose(pageCases()[0].header, expected));
}

TEST_F(PageDetails, AlarmEchoesItsControlRecord) {
    const struct {
        const char* control;
        const char* status;
        const char* muted; // an alarm state of 0 is what shows as muted
    } cases[] = {{"FF FF FF 00", "20 00 00 00", "20 00 00 02"}, {"DF 00 00 80", "00 00 00 80", "00 00 00 82"},
                 {"20 00 00 40", "20 00 00 40", "20 00 00 42"}, {"80 00 00 20", "00 00 00 20", "00 00 00 22"},
                 {"80 00 00 10", "00 00 00 10", "00 00 00 12"}, {"80 00 00 08", "00 00 00 08", "00 00 00 0A"},
                 {"80 00 00 04", "00 00 00 00", "00 00 00 02"}, {"80 00 00 02", "00 00 00 01", "00 00 00 03"},
                 {"80 00 00 01", "00 00 00 00", "00 00 00 02"}};
    for (int type : {3, 4, 5, 6}) {
        for (const auto& row : cases) {
            SCOPED_TRACE(row.control);
            healthy(type);
            const Bytes control = unhex(row.control);
            std::memcpy(static_cast<void*>(&esaControl.audibleAlarmElementControl[0]), control.data(), 4);
            std::string page = statusPage();
            EXPECT_EQ(page.substr(page.size() - 23), "00 00 00 00 " + std::string(row.status));
            esaControl.alarmState = 0;
            page = statusPage();
            EXPECT_EQ(page.substr(page.size() - 11), row.muted);
        }
    }
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

TEST_F(PageDetails, XyratexAlarmIsMutedWhenItsControllerIsIdle) {
    healthy(2);
    std::string page = statusPage();
    EXPECT_EQ(record(page, XYRATEX_ALARM), "00 00 00 02");
    fakeBus.set(0x63, 0x05, 0x10); // each bit reads as one
    esaControl.alarmState = 0;
    page = statusPage();
    EXPECT_EQ(record(page, XYRATEX_ALARM), "00 00 00 00");
    const Bytes control = unhex("00 00 00 02");
    std::memcpy(static_cast<void*>(&esaControl.audibleAlarmElementControl[0]), control.data(), 4);
    page = statusPage();
    EXPECT_EQ(record(page, XYRATEX_ALARM), "00 00 00 01");
}

TEST_F(PageDetails, XyratexReminderEndsOnceRedundancyIsGood) {
    healthy(2);
    esaControl.alarmState = 2;
    fakeBus.queue(0x63, 0x05, {0x00, 0x10, 0x00}); // read back as state 2
    (void)statusPage();
    EXPECT_EQ(reportNames(), Lines{"event 9/1 chassis 2"});
    EXPECT_EQ(eventWord(reports[0], 5), 1U);
    EXPECT_EQ(eventWord(reports[0], 13), 0U);
    EXPECT_EQ(esaControl.alarmState, 0U);
}

} // namespace
