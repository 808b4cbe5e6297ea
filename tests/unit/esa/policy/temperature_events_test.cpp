/** The rule that turns the sensors' temperatures into events, and the one for an enclosure that is too hot. */
#include <gmock/gmock.h>

#include "event_message.h"
#include "policy/events.h"
#include "policy/temperatures.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

class TemperatureEvents : public EsaTest {
protected:
    /** One poll with sensor 0 at `degC`; "state/type" of the event it sends, or nothing. */
    std::string poll(S16_t degC) {
        esaControl.temperatureSensor[0] = degC;
        esaTemperatureEventLog();
        std::string text;
        for (const Bytes_t& message : takeMessages()) {
            text += std::to_string(message[259]) + "/" + std::to_string(message[211]);
        }
        return text;
    }

    void oneSensor() {
        startChassis(5);
        esaControl.temperatureSensorMaxNumber = 1;
    }
};

/** A temperature, the report state it leads to, and the event and the trace on the way there. */
struct BandCase_t {
    S16_t degC;
    U32_t reported;
    const char* event;
    const char* reporting;
    const char* already;
};

constexpr const char* RESET = "temperatureReportStatus[0] reset all Temperature Events.";
constexpr const char* OVER_35 = "temperatureReportStatus[0] reporting over 35 degrees Event.";
constexpr const char* OVER_45 = "temperatureReportStatus[0] reporting over 45 degrees Event.";
constexpr const char* OVER_55 = "temperatureReportStatus[0] reporting over 55 degrees Event.";
constexpr const char* ALREADY_35 = "temperatureReportStatus[0] already reported over 35 degrees Event.";
constexpr const char* ALREADY_45 = "temperatureReportStatus[0] already reported over 45 degrees Event.";
constexpr const char* ALREADY_55 = "temperatureReportStatus[0] already reported over 55 degrees Event.";

constexpr BandCase_t BANDS[] = {
    {-128, 0, "1/1", RESET, nullptr},    {-1, 0, "1/1", RESET, nullptr},       {0, 0, "1/1", RESET, nullptr},
    {34, 0, "1/1", RESET, nullptr},      {35, 0, "1/1", RESET, nullptr},       {36, 1, "2/1", OVER_35, ALREADY_35},
    {45, 1, "2/1", OVER_35, ALREADY_35}, {46, 2, "3/2", OVER_45, ALREADY_45},  {55, 2, "3/2", OVER_45, ALREADY_45},
    {56, 4, "4/2", OVER_55, ALREADY_55}, {127, 4, "4/2", OVER_55, ALREADY_55}, {32766, 4, "4/2", OVER_55, ALREADY_55},
};

using Overheat = EsaTest;

} // namespace

TEST_F(TemperatureEvents, EveryTemperatureFromEveryReportStateGivesItsEvent) {
    oneSensor();
    for (U32_t before : {0U, 1U, 2U, 4U}) {
        for (const BandCase_t& band : BANDS) {
            SCOPED_TRACE(testing::Message() << "reported " << before << ", " << band.degC << " degrees");
            esaControl.temperatureReportStatus[0] = before;
            (void)takeTrace();
            EXPECT_EQ(poll(band.degC), before == band.reported ? "" : band.event);
            EXPECT_EQ(esaControl.temperatureReportStatus[0], band.reported);
            const char* text = before == band.reported ? band.already : band.reporting;
            EXPECT_EQ(takeTrace(), text == nullptr ? std::vector<std::string>{} : std::vector<std::string>{text});
        }
    }
}

TEST_F(TemperatureEvents, SequencesOfPollsGiveTheseEvents) {
    struct {
        std::vector<S16_t> degC;
        std::vector<std::string> events;
    } const sequences[] = {
        {{35, 36, 36}, {"", "2/1", ""}},
        {{35, 50, 35}, {"", "3/2", "1/1"}},
        {{60, 50}, {"4/2", "3/2"}},
        {{60, 40, 30, 30}, {"4/2", "2/1", "1/1", ""}},
        {{35, 36, 46, 56, 55, 45, 35}, {"", "2/1", "3/2", "4/2", "3/2", "2/1", "1/1"}},
        {{36, 35, 36, 35}, {"2/1", "1/1", "2/1", "1/1"}},
        {{45, 46, 45, 46}, {"2/1", "3/2", "2/1", "3/2"}},
        {{55, 56, 55, 56}, {"3/2", "4/2", "3/2", "4/2"}},
        {{50, 32767, 50, 32767, 30}, {"3/2", "", "", "", "1/1"}},
        {{-40, -10, 0, 35}, {"", "", "", ""}},
    };
    for (const auto& sequence : sequences) {
        oneSensor();
        esaControl.temperatureReportStatus[0] = 0;
        std::vector<std::string> events;
        for (S16_t degC : sequence.degC) {
            events.push_back(poll(degC));
        }
        EXPECT_EQ(events, sequence.events) << testing::PrintToString(sequence.degC);
    }
}

TEST_F(TemperatureEvents, EventCarriesSensorsStatePositionAndTemperature) {
    startChassis(4);
    esaControl.temperatureReportStatus[1] = 0x4;
    const S16_t temperatures[] = {36, -5, 32767, 56};
    std::copy(std::begin(temperatures), std::end(temperatures), esaControl.temperatureSensor);
    esaTemperatureEventLog();
    const std::vector<Bytes_t> messages = takeMessages();
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(behindLinks(messages[0]),
              eventBytes("01", "08", {0x04000000, 0, 0, 0, 4, 0, 0, 0, 0, 0, 2, 0, 0x00240000}));
    EXPECT_EQ(behindLinks(messages[1]),
              eventBytes("01", "08", {0x04000000, 0, 0, 0, 4, 0, 0, 0, 0, 0, 1, 1, 0xFFFB0000}));
    EXPECT_EQ(behindLinks(messages[2]),
              eventBytes("02", "08", {0x04000000, 0, 0, 0, 4, 0, 0, 0, 0, 0, 4, 3, 0x00380000}));
    EXPECT_THAT(takeTrace(), ElementsAre("temperatureReportStatus[0] reporting over 35 degrees Event.",
                                         "temperatureReportStatus[1] reset all Temperature Events.",
                                         "temperatureReportStatus[3] reporting over 55 degrees Event."));
}

TEST_F(Overheat, SixtyIsNotTooHotAndSixtyOneIs) {
    for (int type : {2, 3, 4, 5, 6}) {
        SCOPED_TRACE(type);
        startChassis(type, 0);
        esaControl.compositeFaultStatus = 0;
        esaControl.temperatureSensorAverage = 60;
        EXPECT_EQ(esaTemperatureOverheatCheck(), 0);
        EXPECT_THAT(takeMessageNames(), IsEmpty());
        EXPECT_THAT(takeTrace(), Not(Contains("Temperature average over 60 degrees!")));
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);

        esaControl.temperatureSensorAverage = 61;
        EXPECT_EQ(esaTemperatureOverheatCheck(), 64);
        EXPECT_THAT(takeMessageNames(), ElementsAre("led-on", "email", "event 10/3", "shutdown"));
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000008U);
        EXPECT_EQ(takeTrace().at(0), "Temperature average over 60 degrees!");
    }
}

TEST_F(Overheat, EveryPollAboveSixtySendsTheEventAndTheShutdownAgainButNoMail) {
    startChassis(5, 0);
    esaControl.temperatureSensorAverage = 80;
    (void)esaTemperatureOverheatCheck();
    (void)takeMessages();
    for (int poll = 0; poll < 3; ++poll) {
        EXPECT_EQ(esaTemperatureOverheatCheck(), 64);
        EXPECT_THAT(takeMessageNames(), ElementsAre("event 10/3", "shutdown"));
    }
    esaControl.temperatureSensorAverage = 60;
    EXPECT_EQ(esaTemperatureOverheatCheck(), 64);
    EXPECT_THAT(takeMessageNames(), ElementsAre("led-off"));
    EXPECT_EQ(esaTemperatureOverheatCheck(), 0);
    EXPECT_THAT(takeMessageNames(), IsEmpty());
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}
