/** Messages that no life meets: replies that nothing asks for, the one list that nothing acts on, the self-test. */
#include <algorithm>
#include <cstring>

#include "esa_fixture.h"
#include "messaging/dispatch.h"
#include "messaging/print.h"
#include "messaging/reply.h"
#include "messaging/test_message.h"

namespace {

class Messaging : public EsaTest {
protected:
    /** The request in esaInMsg, with a payload from offset 64 on. */
    const MMSG_t& build(U32_t type, int requestor, int size, const std::string& payload) {
        const MMSG_t& mmsg = request(18, type, requestor, size);
        const Bytes_t bytes = unhex(payload);
        std::copy(bytes.begin(), bytes.end(), esaControl.esaInMsg + 64);
        return mmsg;
    }

    /** The one message sent, from offset 8 on: in front of that lies twice the buffer's own address. */
    std::string sent() {
        const std::vector<Bytes_t> messages = takeMessages();
        EXPECT_EQ(messages.size(), 1U);
        if (messages.empty()) {
            return "";
        }
        Bytes_t links(8);
        const auto address = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
        testsupport::put32(links, 0, address);
        testsupport::put32(links, 4, address);
        EXPECT_EQ(hex(messages[0].data(), 8), hex(links));
        return hex(messages[0].data() + 8, messages[0].size() - 8);
    }

    /** Behind the given lines come those that the printer writes of the message in the send buffer. */
    void expectTraceWithPrint(Lines_t lines) {
        const Lines_t found = takeTrace();
        esaMmsgPrint(&wireAt<MMSG_t>(static_cast<const void*>(esaControl.esaWorkSpace)));
        const Lines_t printed = takeTrace();
        lines.insert(lines.end(), printed.begin(), printed.end());
        EXPECT_EQ(found, lines);
    }
};

/** Header from the requestor on: requestor and addressee 33. */
const std::string ENDPOINTS = "21 00 21 00 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 00 "
                              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";

/** A list's overall word and as many records. */
std::string list(int count, const char* record) {
    std::string text = " 00 00 00 00";
    for (int i = 0; i < count; ++i) {
        text += record;
    }
    return text;
}

std::string devices(int count) {
    std::string text = " 00 00 00 00";
    for (int slot = 0; slot < count; ++slot) {
        text += slot == 0 || slot == 3 || slot == 7 || slot == 12 ? " 00 00 00 04" : " 00 00 00 00";
    }
    return text;
}

} // namespace

TEST_F(Messaging, SensorRecordsAreTakenFromTheSensorsCountBehindTheFans) {
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

TEST_F(Messaging, CheckConditionAnswersAReceiveDiagnosticToo) {
    const MMSG_t& mmsg = build(28, 25, 72, "1C 80 02 00 FF FF");
    const Bytes_t handle = unhex("12 34 56 78");
    std::memcpy(esaControl.esaInMsg + 40, handle.data(), 4);
    std::memset(esaControl.esaInMsg + 44, 0xEE, 20);
    esaControl.esaInMsg[9] = 9;
    esaControl.esaInMsg[39] = 9;
    std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));
    esaSendStatus(&mmsg, 2, 2, 6, 0x29, 0x01);
    EXPECT_EQ(sent(), "0E 01 00 5C 12 00 00 1C 21 40 19 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 02 12 34 56 78 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "02 E0 00 60 00 00 00 00 00 00 00 00 00 00 00 00 00 29 01 00 00 00 00 00 00 00 00 00");
}

TEST_F(Messaging, AnyOtherStatusOrCommandIsNotAnswered) {
    for (const U32_t command : {28U, 29U}) {
        const MMSG_t& mmsg = build(command, 25, 72, "1C 80 02 00 FF FF");
        for (const int status : {1, 3, 4, 8, 130, 255}) {
            esaSendStatus(&mmsg, static_cast<U8_t>(status), 2, 0, 0, 0);
        }
    }
    EXPECT_EQ(takeTrace(), Lines_t{});
    for (const U32_t command : {0U, 27U, 30U, 0x11CU, 0xFFFFFFU}) {
        const MMSG_t& mmsg = build(command, 25, 72, "1C 80 02 00 FF FF");
        for (const U8_t status : {U8_t{0}, U8_t{2}}) {
            esaSendStatus(&mmsg, status, 2, 5, 0x24, 0);
            EXPECT_EQ(takeTrace(), (Lines_t{text("Un-supported SES Command [%d].", command)}));
        }
    }
    EXPECT_EQ(takeMessageNames(), Lines_t{});
}

TEST_F(Messaging, SelfTestAsksTheAdapterItselfForAPage) {
    esaSetDimensions({5, 13, 1, 2, 4, 1});
    std::memset(esaControl.esaWorkSpace, 0xFF, sizeof(esaControl.esaWorkSpace));
    EXPECT_EQ(esaTestMsg(28, 2), 72);
    // 4 x (13 + 1 + 2) + 21 = 85 bytes allowed
    EXPECT_EQ(sent(), "0E 01 00 48 12 00 00 1C " + ENDPOINTS + " 1C 80 02 00 00 55 00 00");
    expectTraceWithPrint({"This test SES Command Message is from Local Blade.",
                          "Send out a Test SES Command MMSG from the ESA to ESA."});
}

TEST_F(Messaging, SelfTestSendsAControlPageWithoutATemperatureList) {
    esaSetDimensions({5, 13, 1, 2, 4, 1});
    EXPECT_EQ(esaTestMsg(29, 2), 164);
    // 4 x (13 + 1 + 2 + 1) = 68 bytes of records: list length 92, message length 164
    EXPECT_EQ(sent(), "0E 01 00 A4 12 00 00 1D " + ENDPOINTS + " 1D 08 00 00 00 5C 00 00 02 00 00 00 00 00 00 00" +
                          devices(13) + list(1, " 00 00 00 04") + list(2, " 00 00 00 04") + list(1, " 00 00 00 02"));
    expectTraceWithPrint({"This test SES Command Message is from Local Blade.",
                          "mmsg_length = [164], sizeof(MMCH_t) = [64]",
                          "Send out a Test SES Command MMSG from the ESA to ESA."});
    // Of the page's header only its code is written, all records are: 4 x (16 + 3 + 8 + 1) = 112 bytes of them.
    esaSetDimensions({5, 16, 3, 8, 4, 1});
    std::memset(esaControl.esaWorkSpace, 0xFF, sizeof(esaControl.esaWorkSpace));
    EXPECT_EQ(esaTestMsg(29, 2), 208);
    const std::string message = sent();
    EXPECT_EQ(message.substr(0, 3 * 8), "0E 01 00 D0 12 00 00 1D ");
    EXPECT_EQ(message.substr(3 * 56), "1D 08 00 00 00 88 00 00 02 FF FF FF FF FF FF FF" + devices(16) +
                                          list(3, " 00 00 00 04") + list(8, " 00 00 00 04") + list(1, " 00 00 00 02"));
}

TEST_F(Messaging, SelfTestOfAnyOtherPageOrCommandSendsNothing) {
    EXPECT_EQ(esaTestMsg(29, 4), 0);
    expectTraceWithPrint({"This test SES Command Message is from Local Blade.", "Un-supported SES Page [4].",
                          "Send out a Test SES Command MMSG from the ESA to ESA."});
    EXPECT_EQ(esaTestMsg(30, 2), 0);
    expectTraceWithPrint({"This test SES Command Message is from Local Blade.", "Un-supported SES Command [30].",
                          "Send out a Test SES Command MMSG from the ESA to ESA."});
    EXPECT_EQ(takeMessageNames(), Lines_t{});
    EXPECT_TRUE(fakeEventLog.empty());
}

TEST_F(Messaging, SelfTestThatCannotBeSentIsReportedUnderItsOwnName) {
    esaControl.socketFdMSM = -1;
    EXPECT_EQ(esaTestMsg(28, 2), -1);
    ASSERT_EQ(fakeEventLog.size(), 4U);
    const Bytes_t& record = fakeEventLog[0];
    EXPECT_STREQ(reinterpret_cast<const char*>(record.data()) + 152 + 64, "esaTestMsg()");
    EXPECT_STREQ(reinterpret_cast<const char*>(record.data()) + 152 + 132,
                 "Linux send function fails, sendSize = [72] is wrong");
}
