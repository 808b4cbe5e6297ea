#include "decode.h"

#include <gtest/gtest.h>

#include <cstring>

#include "test_message.h"

namespace {

using msmtest::Bytes_t;
using msmtest::put32;

/** A message whose opcode word (protocol and 24-bit type) is `opcode`. */
Bytes_t withOpcode(std::uint32_t opcode, std::size_t length = 64) {
    Bytes_t bytes = msmtest::messageTo({18}, 33, 0, length);
    put32(bytes, 12, opcode);
    return bytes;
}

/** A 300-byte event message; the event record's offsets count from byte 216. */
Bytes_t event(std::uint8_t id, std::uint8_t type, std::uint8_t chassis) {
    Bytes_t bytes = withOpcode(0x08000001, 300);
    bytes[64 + 147] = type;
    bytes[64 + 148] = 3;
    bytes[64 + 149] = 1;
    bytes[64 + 151] = id;
    bytes[216] = chassis;
    return bytes;
}

Bytes_t& at(Bytes_t& bytes, std::size_t recordOffset, std::uint32_t value) {
    put32(bytes, 216 + recordOffset, value);
    return bytes;
}

std::string line(const Bytes_t& bytes, std::uint8_t sender) {
    Router_t router(1);
    router.attach(18, 3);
    return describeMessage(bytes, sender, router.route(Parcel_t(bytes, sender, {}, {})));
}

TEST(DecodeLineTest, SaysWhoToWhomHowLongAndWhat) {
    EXPECT_EQ(line(withOpcode(0x0C000001), 33),
              "esadapter(33) -> startup(18): 64 bytes, startup/notify-init-complete: initialisation complete, earlier "
              "causes are void");
}

TEST(DecodeLineTest, MarksRecipientsThatDidNotGetTheirCopy) {
    Bytes_t bytes = withOpcode(0x0C000001);
    msmtest::name(msmtest::name(bytes, 27), 40, 28);
    EXPECT_EQ(line(bytes, 33), "esadapter(33) -> startup(18), eventlog(27) queued, peer(40) dropped: 64 bytes, "
                               "startup/notify-init-complete: initialisation complete, earlier causes are void");
}

TEST(DecodeLineTest, SaysThatNobodyIsNamed) {
    Bytes_t bytes = msmtest::message(20, 0);
    EXPECT_EQ(line(bytes, 20), "volmgr(20) -> nobody, dropped: 64 bytes, default/type 0");
}

TEST(DecodeLineTest, ShowsARequestorThatIsNotTheSender) {
    EXPECT_EQ(line(withOpcode(0x04000005), 34),
              "esadapter(33) sent by peer(34) -> startup(18): 64 bytes, volmgr/type 5");
}

TEST(DecodeLineTest, ARequestorThatNoBitmapKnowsIsUnknown) {
    Bytes_t bytes = withOpcode(0x04000005);
    bytes[16] = 200;
    EXPECT_EQ(line(bytes, 63), "unknown(200) sent by peer(63) -> startup(18): 64 bytes, volmgr/type 5");
}

TEST(DecodeContentTest, ShowsAMessageTypeOtherThanMmsgAndNumbersWithoutNames) {
    Bytes_t bytes = withOpcode(0x14ABCDEF);
    bytes[8] = 3;
    EXPECT_EQ(describeContent(bytes), "message type 3, protocol 20/type 11259375");
}

TEST(DecodeContentTest, StartupRequests) {
    Bytes_t led = withOpcode(0x0C00000E);
    put32(led, 44, 2);
    put32(led, 48, 2);
    EXPECT_EQ(describeContent(led), "startup/change-led-color: composite fault LED on");
    put32(led, 48, 1);
    EXPECT_EQ(describeContent(led), "startup/change-led-color: composite fault LED off");
    put32(led, 44, 1);
    put32(led, 48, 7);
    EXPECT_EQ(describeContent(led), "startup/change-led-color: LED 1 state 7");
    EXPECT_EQ(describeContent(withOpcode(0x0C000010)), "startup/send-email-notification: send e-mail notification");
    EXPECT_EQ(describeContent(withOpcode(0x0D000001)), "shutdown/orderly: orderly shutdown");
    EXPECT_EQ(describeContent(withOpcode(0x0C000005)), "startup/get-mgt-info");
    EXPECT_EQ(describeContent(withOpcode(0x0C000011)), "startup/type 17");
}

TEST(DecodeContentTest, StartupResponses) {
    Bytes_t bytes = withOpcode(0x0C00000E);
    bytes[17] = 0x40;
    put32(bytes, 36, 1);
    EXPECT_EQ(describeContent(bytes), "startup/change-led-color response: OK");
    put32(bytes, 36, 2);
    EXPECT_EQ(describeContent(bytes), "startup/change-led-color response: rejected");
    put32(bytes, 36, 0);
    EXPECT_EQ(describeContent(bytes), "startup/change-led-color response: return code 0");
}

TEST(DecodeContentTest, DriveFaultLedEvent) {
    Bytes_t bytes = event(5, 2, 2);
    at(at(bytes, 4, 12), 24, 0x809);
    EXPECT_EQ(describeContent(bytes), "eventmgr/log: drive fault LED status (event 5), warning, chassis Xyratex 2U12 "
                                      "(2): 12 drives, fault LEDs on: 0, 3, 11");
    at(bytes, 24, 0);
    EXPECT_EQ(describeContent(bytes), "eventmgr/log: drive fault LED status (event 5), warning, chassis Xyratex 2U12 "
                                      "(2): 12 drives, fault LEDs on: none");
}

TEST(DecodeContentTest, PowerSupplyEvent) {
    Bytes_t bytes = event(6, 1, 4);
    at(at(bytes, 8, 3), 32, 0x80000001);
    EXPECT_EQ(describeContent(bytes), "eventmgr/log: power supply status (event 6), information, chassis Chenbro 3U16 "
                                      "(4): 3 power supply units, status 0x80000001");
}

TEST(DecodeContentTest, FanEvent) {
    Bytes_t bytes = event(7, 2, 6);
    at(at(bytes, 12, 1), 36, 0x1);
    EXPECT_EQ(describeContent(bytes),
              "eventmgr/log: fan fault status (event 7), warning, chassis W83782D backplane (6): 1 fan, faulty: 0");
}

TEST(DecodeContentTest, TemperatureEventWithPositiveNegativeAndNoReading) {
    Bytes_t bytes = event(8, 1, 5);
    at(at(at(bytes, 16, 3), 40, 2), 44, 1);
    bytes[216 + 49] = 41;
    EXPECT_EQ(describeContent(bytes), "eventmgr/log: temperature sensor status (event 8), information, chassis VSC055 "
                                      "backplane (5): sensor 1 of 3, 41 degrees Celsius, over 35");
    bytes[216 + 48] = 0xFF;
    bytes[216 + 49] = 0xFB;
    at(bytes, 40, 1);
    EXPECT_EQ(describeContent(bytes), "eventmgr/log: temperature sensor status (event 8), information, chassis VSC055 "
                                      "backplane (5): sensor 1 of 3, -5 degrees Celsius, back to 35 or below");
    bytes[216 + 48] = 0x7F;
    bytes[216 + 49] = 0xFF;
    at(bytes, 40, 4);
    EXPECT_EQ(describeContent(bytes), "eventmgr/log: temperature sensor status (event 8), information, chassis VSC055 "
                                      "backplane (5): sensor 1 of 3, no reading, over 55");
}

TEST(DecodeContentTest, AlarmEvent) {
    Bytes_t bytes = event(9, 2, 3);
    at(at(bytes, 20, 1), 52, 4);
    EXPECT_EQ(describeContent(bytes),
              "eventmgr/log: alarm status (event 9), warning, chassis VSC055 Quadra (3): 1 alarm, state critical");
}

TEST(DecodeContentTest, InformationEvents) {
    Bytes_t bytes = event(10, 3, 1);
    at(bytes, 56, 1);
    EXPECT_EQ(describeContent(bytes),
              "eventmgr/log: information (event 10), error, chassis none (1): orderly shutdown requested");
    bytes = event(10, 2, 7);
    at(bytes, 56, 2);
    EXPECT_EQ(describeContent(bytes),
              "eventmgr/log: information (event 10), warning, chassis unknown (7): I2C bus fault");
}

TEST(DecodeContentTest, EventsWithoutFieldsHereAndCutShort) {
    EXPECT_EQ(describeContent(event(1, 3, 2)),
              "eventmgr/log: bug check error message (event 1), error, chassis Xyratex 2U12 (2)");
    EXPECT_EQ(describeContent(event(77, 9, 2)), "eventmgr/log: event 77 (event 77), type 9, chassis Xyratex 2U12 (2)");
    EXPECT_EQ(describeContent(withOpcode(0x08000001, 299)), "eventmgr/log: event record cut short, 235 of 236 bytes");
    EXPECT_EQ(describeContent(withOpcode(0x08000002)), "eventmgr/inquiry");
}

TEST(DecodeContentTest, SesRequests) {
    Bytes_t receive = withOpcode(0x1200001C, 72);
    put32(receive, 40, 0xCAFE);
    const Bytes_t receiveCommand = {0x1C, 0x80, 0x02, 0, 0x01, 0x00, 0, 0};
    std::copy(receiveCommand.begin(), receiveCommand.end(), receive.begin() + 64);
    EXPECT_EQ(describeContent(receive), "ses/receive-diagnostic-results handle 0x0000cafe: page enclosure status (2), "
                                        "at most 256 bytes");
    receive[65] = 0x01;
    receive[66] = 0x63;
    EXPECT_EQ(describeContent(receive), "ses/receive-diagnostic-results handle 0x0000cafe: page unknown (99), page "
                                        "code not valid, at most 256 bytes");

    Bytes_t send = withOpcode(0x1200001D, 80);
    const Bytes_t sendCommand = {0x1D, 0x08, 0, 0, 0x00, 0x08, 0, 0, 0x02};
    std::copy(sendCommand.begin(), sendCommand.end(), send.begin() + 64);
    EXPECT_EQ(describeContent(send), "ses/send-diagnostic handle 0x00000000: page enclosure control (2), 8 bytes of "
                                     "parameters");
    send[65] = 0x00;
    EXPECT_EQ(describeContent(send), "ses/send-diagnostic handle 0x00000000: page enclosure control (2), page format "
                                     "not set, 8 bytes of parameters");
}

TEST(DecodeContentTest, SesRequestsCutShortOrOfAnotherType) {
    EXPECT_EQ(describeContent(withOpcode(0x1200001C, 71)),
              "ses/receive-diagnostic-results handle 0x00000000: command cut short, 7 of 8 bytes");
    EXPECT_EQ(describeContent(withOpcode(0x1200001D, 72)),
              "ses/send-diagnostic handle 0x00000000: no page, page format not set, 0 bytes of parameters");
    EXPECT_EQ(describeContent(withOpcode(0x12000012, 72)), "ses/type 18 handle 0x00000000");
}

TEST(DecodeContentTest, SesResponses) {
    Bytes_t page = withOpcode(0x1200001C, 200);
    page[17] = 0x40;
    const Bytes_t header = {0x00, 0x02, 0x00, 0x00, 0x83, 0, 0, 0, 0};
    std::copy(header.begin(), header.end(), page.begin() + 64);
    EXPECT_EQ(describeContent(page), "ses/receive-diagnostic-results response handle 0x00000000: GOOD, page enclosure "
                                     "status (2), 135 bytes");
    page[64] = 0x08;
    EXPECT_EQ(describeContent(page), "ses/receive-diagnostic-results response handle 0x00000000: status 0x08");

    Bytes_t control = withOpcode(0x1200001D, 68);
    control[17] = 0x40;
    EXPECT_EQ(describeContent(control), "ses/send-diagnostic response handle 0x00000000: GOOD");
}

TEST(DecodeContentTest, SesCheckCondition) {
    Bytes_t bytes = withOpcode(0x1200001D, 92);
    bytes[17] = 0x40;
    bytes[64] = 0x02;
    bytes[65] = 0xE0;
    bytes[67] = 0x50;
    bytes[81] = 0x24;
    EXPECT_EQ(describeContent(bytes), "ses/send-diagnostic response handle 0x00000000: CHECK CONDITION, illegal "
                                      "request, ASC 0x24, ASCQ 0x00");
    bytes[67] = 0x40;
    EXPECT_EQ(describeContent(bytes), "ses/send-diagnostic response handle 0x00000000: CHECK CONDITION, sense key 4, "
                                      "ASC 0x24, ASCQ 0x00");
    bytes.resize(88);
    EXPECT_EQ(describeContent(bytes), "ses/send-diagnostic response handle 0x00000000: CHECK CONDITION, no sense data");
    bytes.resize(64);
    EXPECT_EQ(describeContent(bytes), "ses/send-diagnostic response handle 0x00000000: no status");
}

} // namespace
