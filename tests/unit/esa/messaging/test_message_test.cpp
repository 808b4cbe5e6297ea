/** The self-test message. */
#include "messaging/test_message.h"

#include <cstring>

#include "messaging_test.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class TestMessage : public MessagingTest {
protected:
    TestMessage() { esaSetDimensions({5, 13, 1, 2, 4, 1}); }
};

/** Header from the type on: 72 bytes (0048) or 164 (00A4), protocol 18, requestor and addressee 33. */
const std::string ENDPOINTS = "21 00 21 00 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 00 "
                              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";

TEST_F(TestMessage, ReceiveDiagnosticAsksTheAdapterItselfForThePage) {
    EXPECT_EQ(esaTestMsg(28, 2), 72);
    // 4 x (13 + 1 + 2) + 21 = 85 bytes allowed
    EXPECT_EQ(sent(), "0E 01 00 48 12 00 00 1C " + ENDPOINTS + " 1C 80 02 00 00 55 00 00");
}

TEST_F(TestMessage, SendDiagnosticCarriesAControlPageWithoutATemperatureList) {
    std::memset(esaControl.esaWorkSpace, 0, sizeof(esaControl.esaWorkSpace));
    EXPECT_EQ(esaTestMsg(29, 2), 164);
    std::string devices;
    for (int slot = 0; slot < 13; ++slot) {
        devices += slot == 0 || slot == 3 || slot == 7 || slot == 12 ? " 00 00 00 04" : " 00 00 00 00";
    }
    // 4 x (13 + 1 + 2 + 1) = 68 bytes of records: list length 92, message length 164
    EXPECT_EQ(sent(), "0E 01 00 A4 12 00 00 1D " + ENDPOINTS + " 1D 08 00 00 00 5C 00 00" +
                          " 02 00 00 00 00 00 00 00" +             // page header: its code only
                          " 00 00 00 00" + devices +               //
                          " 00 00 00 00 00 00 00 04" +             // supply on
                          " 00 00 00 00 00 00 00 04 00 00 00 04" + // fans on
                          " 00 00 00 00 00 00 00 02");             // alarm muted
}

TEST_F(TestMessage, SendDiagnosticFillsEveryRecordOfTheLargestEnclosure) {
    esaSetDimensions({5, 16, 3, 8, 4, 1});
    std::memset(esaControl.esaWorkSpace, 0xFF, sizeof(esaControl.esaWorkSpace));
    // 4 x (16 + 3 + 8 + 1) = 112 bytes of records: message length 208, list length 136
    EXPECT_EQ(esaTestMsg(29, 2), 208);
    const std::string message = sent();
    EXPECT_EQ(message.substr(0, 3 * 8), "0E 01 00 D0 12 00 00 1D ");
    EXPECT_EQ(message.substr(3 * 56, 3 * 8), "1D 08 00 00 00 88 00 00 ");
    EXPECT_EQ(message.substr(3 * 64, 3 * 8), "02 FF FF FF FF FF FF FF ")
        << "of the page's header only its code is written";
    const std::string records = message.substr(3 * 72);
    std::string expected = "00 00 00 00";
    for (int slot = 0; slot < 16; ++slot) {
        expected += slot == 0 || slot == 3 || slot == 7 || slot == 12 ? " 00 00 00 04" : " 00 00 00 00";
    }
    expected += " 00 00 00 00 00 00 00 04 00 00 00 04 00 00 00 04"
                " 00 00 00 00 00 00 00 04 00 00 00 04 00 00 00 04 00 00 00 04"
                " 00 00 00 04 00 00 00 04 00 00 00 04 00 00 00 04"
                " 00 00 00 00 00 00 00 02";
    EXPECT_EQ(records, expected);
}

TEST_F(TestMessage, LinesComeInOrderWithThePrintBeforeTheSend) {
    (void)esaTestMsg(28, 2);
    const Lines_t receive = takeTrace();
    ASSERT_GT(receive.size(), 2U);
    EXPECT_EQ(receive[0], "This test SES Command Message is from Local Blade.");
    EXPECT_EQ(receive[1], "Send out a Test SES Command MMSG from the ESA to ESA.");
    EXPECT_EQ(Lines_t(receive.begin() + 2, receive.end()), printed(esaControl.esaWorkSpace));
    (void)esaTestMsg(29, 2);
    const Lines_t send = takeTrace();
    ASSERT_GT(send.size(), 3U);
    EXPECT_EQ(send[0], "This test SES Command Message is from Local Blade.");
    EXPECT_EQ(send[1], "mmsg_length = [164], sizeof(MMCH_t) = [64]");
    EXPECT_EQ(send[2], "Send out a Test SES Command MMSG from the ESA to ESA.");
    EXPECT_EQ(Lines_t(send.begin() + 3, send.end()), printed(esaControl.esaWorkSpace));
}

TEST_F(TestMessage, AnyOtherPageOrCommandBuildsAndSendsNothing) {
    EXPECT_EQ(esaTestMsg(29, 4), 0);
    EXPECT_THAT(takeMessages(), IsEmpty());
    EXPECT_THAT(takeTrace(), AllOf(Contains("This test SES Command Message is from Local Blade."),
                                   Contains("Un-supported SES Page [4]."),
                                   Contains("Send out a Test SES Command MMSG from the ESA to ESA.")));
    EXPECT_EQ(esaTestMsg(30, 2), 0);
    EXPECT_THAT(takeTrace(), Contains("Un-supported SES Command [30]."));
    EXPECT_THAT(takeMessages(), IsEmpty());
    EXPECT_THAT(fakeEventLog, IsEmpty());
}

TEST_F(TestMessage, FailedSendIsReportedUnderItsOwnName) {
    esaControl.socketFdMSM = -1;
    EXPECT_EQ(esaTestMsg(28, 2), -1);
    ASSERT_EQ(fakeEventLog.size(), 4U);
    const Bytes_t& record = fakeEventLog[0].bytes;
    EXPECT_STREQ(reinterpret_cast<const char*>(record.data()) + 152 + 64, "esaTestMsg()");
    EXPECT_STREQ(reinterpret_cast<const char*>(record.data()) + 152 + 132,
                 "Linux send function fails, sendSize = [72] is wrong");
}

} // namespace
