#include "decode.h"

#include <gtest/gtest.h>

#include <sstream>

#include "test_message.h"

namespace {

using msmtest::Bytes_t;
using msmtest::put32;

/**
 * A message whose opcode word (protocol and 24-bit type) is `opcode`, with bytes changed: "17=40 36=00000001" sets byte
 * 17 and the four from 36 on.
 */
Bytes_t made(std::uint32_t opcode, std::size_t length = 64, const std::string& changes = "") {
    Bytes_t bytes = msmtest::messageTo({18}, 33, 0, length);
    put32(bytes, 12, opcode);
    std::istringstream words(changes);
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        const Bytes_t value = testsupport::unhex(word.substr(equals + 1));
        std::copy(value.begin(), value.end(), bytes.begin() + std::stol(word.substr(0, equals)));
    }
    return bytes;
}

std::string line(const Bytes_t& bytes, std::uint8_t sender) {
    Router_t router(1);
    router.attach(18, 3);
    return describeMessage(bytes, sender, router.route(Parcel_t(bytes, sender, {}, {})));
}

TEST(DecodeLineTest, SaysWhoToWhomHowLongAndWhat) {
    Bytes_t toThree = made(0x0C000001);
    msmtest::name(msmtest::name(toThree, 27), 40, 28);
    const struct {
        Bytes_t message;
        std::uint8_t sender;
        const char* line;
    } cases[] = {
        {made(0x0C000001), 33,
         "esadapter(33) -> startup(18): 64 bytes, startup/notify-init-complete: initialisation complete, earlier "
         "causes "
         "are void"},
        {toThree, 33,
         "esadapter(33) -> startup(18), eventlog(27) queued, peer(40) dropped: 64 bytes, startup/notify-init-complete: "
         "initialisation complete, earlier causes are void"},
        {msmtest::message(20, 0), 20, "volmgr(20) -> nobody, dropped: 64 bytes, default/type 0"},
        {made(0x04000005), 34, "esadapter(33) sent by peer(34) -> startup(18): 64 bytes, volmgr/type 5"},
        {made(0x04000005, 64, "16=c8"), 63, "unknown(200) sent by peer(63) -> startup(18): 64 bytes, volmgr/type 5"}};
    for (const auto& c : cases) {
        EXPECT_EQ(line(c.message, c.sender), c.line);
    }
}

struct Content_t {
    std::uint32_t opcode;
    std::size_t length;
    const char* changes;
    const char* text;
};

template <std::size_t COUNT>
void expectContents(const Content_t (&cases)[COUNT], const std::string& before = "") {
    for (const Content_t& c : cases) {
        EXPECT_EQ(describeContent(made(c.opcode, c.length, c.changes)), before + c.text) << c.changes;
    }
}

TEST(DecodeContentTest, StartupRequestsAndResponses) {
    expectContents({
        {0x14ABCDEF, 64, "8=03", "message type 3, protocol 20/type 11259375"},
        {0x0C00000E, 64, "44=00000002 48=00000002", "startup/change-led-color: composite fault LED on"},
        {0x0C00000E, 64, "44=00000002 48=00000001", "startup/change-led-color: composite fault LED off"},
        {0x0C00000E, 64, "44=00000001 48=00000007", "startup/change-led-color: LED 1 state 7"},
        {0x0C000010, 64, "", "startup/send-email-notification: send e-mail notification"},
        {0x0D000001, 64, "", "shutdown/orderly: orderly shutdown"},
        {0x0C000005, 64, "", "startup/get-mgt-info"},
        {0x0C000011, 64, "", "startup/type 17"},
        {0x0C00000E, 64, "17=40 36=00000001", "startup/change-led-color response: OK"},
        {0x0C00000E, 64, "17=40 36=00000002", "startup/change-led-color response: rejected"},
        {0x0C00000E, 64, "17=40", "startup/change-led-color response: return code 0"},
    });
}

TEST(DecodeContentTest, Events) {
    expectContents(
        {{0x08000002, 64, "", "inquiry"}, {0x08000001, 299, "", "log: event record cut short, 235 of 236 bytes"}},
        "eventmgr/");
    // Byte 211: type; 215: event; 216: chassis; the fields count from there.
    expectContents(
        {
            {0x08000001, 300, "211=020301 215=05 216=02 220=0000000c 240=00000809",
             "drive fault LED status (event 5), warning, chassis Xyratex 2U12 (2): 12 drives, fault LEDs on: 0, 3, 11"},
            {0x08000001, 300, "211=020301 215=05 216=02 220=0000000c",
             "drive fault LED status (event 5), warning, chassis Xyratex 2U12 (2): 12 drives, fault LEDs on: none"},
            {0x08000001, 300, "211=010301 215=06 216=04 224=00000003 248=80000001",
             "power supply status (event 6), information, chassis Chenbro 3U16 (4): 3 power supply units, status "
             "0x80000001"},
            {0x08000001, 300, "211=020301 215=07 216=06 228=00000001 252=00000001",
             "fan fault status (event 7), warning, chassis W83782D backplane (6): 1 fan, faulty: 0"},
            {0x08000001, 300, "211=010301 215=08 216=05 232=00000003 256=00000002 260=00000001 265=29",
             "temperature sensor status (event 8), information, chassis VSC055 backplane (5): sensor 1 of 3, 41 "
             "degrees "
             "Celsius, over 35"},
            {0x08000001, 300, "211=010301 215=08 216=05 232=00000003 256=00000001 260=00000001 264=fffb",
             "temperature sensor status (event 8), information, chassis VSC055 backplane (5): sensor 1 of 3, -5 "
             "degrees "
             "Celsius, back to 35 or below"},
            {0x08000001, 300, "211=010301 215=08 216=05 232=00000003 256=00000004 260=00000001 264=7fff",
             "temperature sensor status (event 8), information, chassis VSC055 backplane (5): sensor 1 of 3, no "
             "reading, "
             "over 55"},
            {0x08000001, 300, "211=020301 215=09 216=03 236=00000001 268=00000004",
             "alarm status (event 9), warning, chassis VSC055 Quadra (3): 1 alarm, state critical"},
            {0x08000001, 300, "211=030301 215=0a 216=01 272=00000001",
             "information (event 10), error, chassis none (1): orderly shutdown requested"},
            {0x08000001, 300, "211=020301 215=0a 216=07 272=00000002",
             "information (event 10), warning, chassis unknown (7): I2C bus fault"},
            {0x08000001, 300, "211=030301 215=01 216=02",
             "bug check error message (event 1), error, chassis Xyratex 2U12 (2)"},
            {0x08000001, 300, "211=090301 215=4d 216=02", "event 77 (event 77), type 9, chassis Xyratex 2U12 (2)"},
        },
        "eventmgr/log: ");
}

TEST(DecodeContentTest, SesRequests) {
    expectContents(
        {
            {0x1200001C, 72, "40=0000cafe 64=1c80020001000000",
             "receive-diagnostic-results handle 0x0000cafe: page enclosure status (2), at most 256 bytes"},
            {0x1200001C, 72, "40=0000cafe 64=1c01630001000000",
             "receive-diagnostic-results handle 0x0000cafe: page unknown (99), page code not valid, at most 256 bytes"},
            {0x1200001D, 80, "64=1d0800000008000002",
             "send-diagnostic handle 0x00000000: page enclosure control (2), 8 bytes of parameters"},
            {0x1200001D, 80, "64=1d0000000008000002",
             "send-diagnostic handle 0x00000000: page enclosure control (2), page format not set, 8 bytes of "
             "parameters"},
            {0x1200001C, 71, "", "receive-diagnostic-results handle 0x00000000: command cut short, 7 of 8 bytes"},
            {0x1200001D, 72, "",
             "send-diagnostic handle 0x00000000: no page, page format not set, 0 bytes of parameters"},
            {0x12000012, 72, "", "type 18 handle 0x00000000"},
        },
        "ses/");
}

TEST(DecodeContentTest, SesResponses) {
    expectContents(
        {
            {0x1200001C, 200, "17=40 64=000200008300000000",
             "receive-diagnostic-results response handle 0x00000000: GOOD, page enclosure status (2), 135 bytes"},
            {0x1200001C, 200, "17=40 64=080200008300000000",
             "receive-diagnostic-results response handle 0x00000000: status 0x08"},
            {0x1200001D, 68, "17=40", "send-diagnostic response handle 0x00000000: GOOD"},
            {0x1200001D, 92, "17=40 64=02e00050 81=24",
             "send-diagnostic response handle 0x00000000: CHECK CONDITION, illegal request, ASC 0x24, ASCQ 0x00"},
            {0x1200001D, 92, "17=40 64=02e00040 81=24",
             "send-diagnostic response handle 0x00000000: CHECK CONDITION, sense key 4, ASC 0x24, ASCQ 0x00"},
            {0x1200001D, 88, "17=40 64=02e00040 81=24",
             "send-diagnostic response handle 0x00000000: CHECK CONDITION, no sense data"},
            {0x1200001D, 64, "17=40", "send-diagnostic response handle 0x00000000: no status"},
        },
        "ses/");
}

} // namespace
