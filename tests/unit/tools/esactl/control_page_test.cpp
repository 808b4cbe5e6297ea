#include <gtest/gtest.h>

#include "control_page.h"
#include "errors.h"
#include "sample_pages.h"

namespace {

/** The status of an enclosure with so many elements, all well. */
EnclosureStatus_t enclosureOf(unsigned drives, unsigned supplies, unsigned fans, unsigned sensors, unsigned alarms) {
    EnclosureStatus_t status;
    status.drives.resize(drives);
    status.supplies.resize(supplies);
    status.fans.resize(fans);
    status.sensors.resize(sensors);
    status.alarms.resize(alarms);
    return status;
}

/** Bytes of a page that ends too early are those of the message's neighbour. */
std::string part(const Bytes_t& page, std::size_t at, std::size_t size) {
    Bytes_t bytes(size, 0xEE);
    for (std::size_t i = 0; i < size && at + i < page.size(); ++i) {
        bytes[i] = page[at + i];
    }
    return plainHex(bytes);
}

TEST(ControlPage, WithMoreFansThanSensorsTheCoolingListStaysWhole) {
    ControlPage_t wanted = controlPageOf(enclosureOf(1, 1, 3, 1, 1));
    wanted.fansOn = {true, true, true};
    wanted.selectedFan = 2;
    wanted.selectedAlarm = 0;
    wanted.alarms[0].tones.requestedMute = true;
    // The temperature list starts at the third cooling word; the alarm list where four lists of these sizes end.
    EXPECT_EQ(plainHex(encodeControlPage(wanted)), plainHex(unhex("02 00 00 34 00 00 00 00"
                                                                  "00 00 00 00 00 00 00 00"
                                                                  "00 00 00 00 00 00 00 00"
                                                                  "00 00 00 80 00 00 00 04 00 00 00 04 80 00 00 04"
                                                                  "00 00 00 00 00 00 00 00"
                                                                  "00 00 00 80 80 00 00 02")));
}

TEST(ControlPage, WithFewerFansThanSensorsTheAlarmListStaysWhole) {
    ControlPage_t wanted = controlPageOf(enclosureOf(1, 1, 1, 3, 1));
    wanted.fansOn = {true};
    wanted.selectedFan = 0;
    wanted.selectedAlarm = 0;
    wanted.alarms[0].tones.crit = true;
    EXPECT_EQ(plainHex(encodeControlPage(wanted)), plainHex(unhex("02 00 00 34 00 00 00 00"
                                                                  "00 00 00 00 00 00 00 00"
                                                                  "00 00 00 00 00 00 00 00"
                                                                  "00 00 00 80 80 00 00 04"
                                                                  "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                                                                  "00 00 00 80 80 00 00 40")));
}

TEST(ControlPage, TheExchangedStepsFindEveryFanAndTheAlarmInEveryEnclosure) {
    for (unsigned fans = 0; fans <= 8; ++fans) {
        for (unsigned sensors = 0; sensors <= 8; ++sensors) {
            SCOPED_TRACE(testing::Message() << fans << " fans, " << sensors << " sensors");
            ControlPage_t wanted = controlPageOf(enclosureOf(16, 3, fans, sensors, 1));
            wanted.fansOn.assign(fans, true);
            if (fans > 0) {
                wanted.selectedFan = fans - 1;
            }
            wanted.selectedAlarm = 0;
            wanted.alarms[0].tones.nonCrit = true;
            const Bytes_t page = encodeControlPage(wanted);
            EXPECT_EQ(page.size(), 8U + 20U + 4U * (16U + 3U + fans + sensors + 1U));
            // Where the adapter looks: it walks the lists with two steps exchanged.
            const std::size_t cooling = 8 + 4 * 17 + 4 * 4;
            const std::size_t alarm = cooling + (4 * sensors + 4) + (4 * fans + 4);
            std::string records = fans > 0 ? "00000080" : "00000000";
            for (unsigned fan = 0; fan < fans; ++fan) {
                records += fan + 1 == fans ? "80000004" : "00000004";
            }
            EXPECT_EQ(part(page, cooling, 4 + 4 * fans), records);
            EXPECT_EQ(part(page, alarm, 8), "0000008080000020");
        }
    }
}

TEST(ControlPage, EverythingGoesBackAsItWasReportedAndNothingIsSelected) {
    EnclosureStatus_t status = enclosureOf(3, 3, 2, 2, 1);
    status.generation = 7;
    status.drives[1].faultRequested = true;
    status.supplies[0].requestedOn = true;
    status.supplies[1].code = 1;
    status.supplies[1].fail = true; // by command: nothing else is wrong with it
    status.supplies[2].code = 5;
    status.supplies[2].fail = true; // by itself
    status.fans[1].requestedOn = true;
    status.alarms[0].code = 0x20;
    status.alarmOverall = 0x20;
    status.alarms[0].tones = AlarmTones_t{true, false, true, false, true, true, true};
    EXPECT_EQ(plainHex(encodeControlPage(controlPageOf(status))),
              plainHex(unhex("02 00 00 44 00 00 00 07"
                             "00 00 00 00 00 00 00 00 00 00 00 04 00 00 00 00"
                             "00 00 00 00 00 00 00 04 00 00 00 02 00 00 00 00"
                             "00 00 00 00 00 00 00 00 00 00 00 04"
                             "00 00 00 00 00 00 00 00 00 00 00 00"
                             "00 00 00 20 20 00 00 aa")));
}

TEST(ControlPage, AlarmTonesThatDidNotArriveGoBackAsSilence) {
    const Bytes_t page = encodeControlPage(controlPageOf(enclosureOf(0, 0, 0, 0, 1)));
    EXPECT_EQ(plainHex(page), "0200001c00000000"
                              "00000000"
                              "00000000"
                              "00000000"
                              "00000000"
                              "0000000000000000");
}

TEST(ControlPage, AnEnclosureTooLargeForAMessageIsRefused) {
    EXPECT_THROW((void)encodeControlPage(controlPageOf(enclosureOf(255, 255, 255, 255, 1))), ToolError_t);
    EXPECT_NO_THROW((void)encodeControlPage(controlPageOf(enclosureOf(255, 255, 255, 200, 1))));
}

} // namespace
