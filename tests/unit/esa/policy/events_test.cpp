/** Event messages with bytes that no event of the adapter has, and temperatures that no sensor gives. */
#include "policy/events.h"

#include <cstring>
#include <numeric>

#include "esa_fixture.h"
#include "policy/temperatures.h"

using Events = EsaTest;

TEST_F(Events, RecordIsCopiedWholeBehindALogHeaderOfZeros) {
    EsaEventData_t data;
    static_assert(sizeof(data) == 84);
    Bytes_t record(84);
    std::iota(record.begin(), record.end(), U8_t{1});
    std::memcpy(static_cast<void*>(&data), record.data(), record.size());
    std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));

    EXPECT_EQ(esaSendEventMmsgToEmp(0x1234, 0x56, &data), 300);

    Bytes_t expected = unhex("0E 01 01 2C 08 00 00 01 21 00 00 00 08 00 00 00"); // from the message type on
    expected.resize(203);                                                        // rest of both headers
    const Bytes_t type = unhex("56 03 01 12 34");
    expected.insert(expected.end(), type.begin(), type.end());
    expected.insert(expected.end(), record.begin(), record.end());
    const std::vector<Bytes_t> messages = takeMessages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(hex(&messages[0][8], messages[0].size() - 8), hex(expected));
    EXPECT_EQ(esaControl.esaWorkSpace[300], 0xA5) << "the buffer behind the message was touched";
}

TEST_F(Events, DriveFaultLedEventHasTheFirstLedWordOnly) {
    startChassis(3);
    esaControl.driveFaultLedStatus0 = 0x00008001;
    esaControl.driveFaultLedStatus1 = 0xFFFFFFFF;
    EXPECT_EQ(esaSendDriveFaultLedEvent(EMP_E_TYPE_WARNING), 300);
    const Bytes_t message = takeMessages().at(0);
    EXPECT_EQ(hex(&message[216], 36), "03 00 00 00 00 00 00 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                      "00 00 80 01 00 00 00 00 00 00 00 00");
}

TEST_F(Events, HighestTemperatureIsReportedAndNoReadingIsNot) {
    startChassis(4);
    const S16_t temperatures[] = {36, -5, 32767, 32766};
    std::copy(std::begin(temperatures), std::end(temperatures), esaControl.temperatureSensor);
    esaControl.temperatureReportStatus[1] = 0x4;
    esaTemperatureEventLog();
    esaTemperatureEventLog();
    EXPECT_EQ(takeMessageNames(), (Lines_t{"event 8/1", "event 8/1", "event 8/2"}));
    EXPECT_EQ(takeTrace(), (Lines_t{"temperatureReportStatus[0] reporting over 35 degrees Event.",
                                    "temperatureReportStatus[1] reset all Temperature Events.",
                                    "temperatureReportStatus[3] reporting over 55 degrees Event.",
                                    "temperatureReportStatus[0] already reported over 35 degrees Event.",
                                    "temperatureReportStatus[3] already reported over 55 degrees Event."}));
}
