/** The enclosure control page: where the one list lies that nothing acts on or shows. */
#include "messaging_test.h"

namespace {

using Control = MessagingTest;

/** The sensors' list is looked for as many records behind the fans' list as there are sensors, not fans. */
TEST_F(Control, SensorRecordsAreTakenFromTheSensorsCountBehindTheFans) {
    esaSetDimensions({5, 2, 1, 8, 4, 1});
    esaProcMmsgMsg(build(29, 25, 400,
                         "1D 08 00 00 10 00 00 00 02 00 00 00 00 00 00 00"
                         "00 00 00 00 00 00 00 00 00 00 00 00"             // drives
                         "00 00 00 00 00 00 00 00"                         // supply
                         "00 00 00 00 00 02 00 00 00 02 01 00 00 02 02 00" // fans: overall, 0 to 2
                         "00 02 03 00 00 02 04 00 00 02 05 00 00 02 06 00" // 3 to 6
                         "00 02 07 00"                                     // 7
                         "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00" // sensors
                         "00 00 00 00"                                     //
                         "00 00 00 44 00 04 00 00"));                      // alarm
    EXPECT_EQ(esaControl.temperatureSensorElementControlOverall, 0x00020400U) << "fan 4";
    EXPECT_EQ(hex(&esaControl.temperatureSensorElementControl[0], 16),
              "00 02 05 00 00 02 06 00 00 02 07 00 00 00 00 00");
    EXPECT_EQ(esaControl.audibleAlarmElementControlOverall, 0x44U);
    EXPECT_EQ(hex(&esaControl.audibleAlarmElementControl[0], 4), "00 04 00 00");
}

} // namespace
