/** Replies without a page, byte for byte, and what becomes of a reply that cannot be sent. */
#include <csignal>
#include <unistd.h>

#include "messaging/reply.h"
#include "messaging_test.h"

using testing::IsEmpty;

namespace {

class Reply : public MessagingTest {
protected:
    /** The one message sent, from offset 8 on; what comes before is checked here. */
    std::string sent() {
        const std::vector<Bytes> messages = takeMessages();
        EXPECT_EQ(messages.size(), 1U);
        if (messages.empty()) {
            return "none";
        }
        const Bytes& message = messages[0];
        const auto address = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
        for (std::size_t i = 0; i < 8; ++i) {
            EXPECT_EQ(message[i], static_cast<U8_t>(address >> (24 - 8 * (i % 4))));
        }
        return hex(message.data() + 8, message.size() - 8);
    }
    void withHandle() {
        const Bytes handle = unhex("12 34 56 78");
        std::memcpy(esaControl.esaInMsg + 40, handle.data(), 4);
        std::memset(esaControl.esaInMsg + 44, 0xEE, 20);
        esaControl.esaInMsg[9] = 9;
        esaControl.esaInMsg[39] = 9;
        std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));
    }
};

TEST_F(Reply, GoodIs68Bytes) {
    (void)build(29, 25, 72, "1D 00 00 00 00 00");
    withHandle();
    dispatch();
    EXPECT_EQ(sent(), "0E 01 00 44 12 00 00 1D 21 40 19 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 00 12 34 56 78 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 00");
}

TEST_F(Reply, PageFormatWithoutAParameterListIsACheckConditionOf92Bytes) {
    (void)build(29, 32, 72, "1D 08 00 00 00 00 00 00 02", 12);
    withHandle();
    dispatch();
    EXPECT_EQ(sent(), "0E 01 00 5C 0C 00 00 1D 21 40 20 00 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 "
                      "00 00 00 02 12 34 56 78 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "02 E0 00 50 00 00 00 00 00 00 00 00 00 00 00 00 00 24 00 00 00 00 00 00 00 00 00 00");
}

TEST_F(Reply, OnlyThePageFormatBitMakesACheckCondition) {
    (void)build(29, 25, 72, "1D F7 00 00 00 00");
    dispatch();
    EXPECT_EQ(takeMessageNames(), Lines{"reply 68"});
}

TEST_F(Reply, RequestorWithoutABitIsNamedAsAddresseeOnly) {
    (void)build(29, 64, 72, "1D 00 00 00 00 00");
    dispatch();
    EXPECT_EQ(sent().substr(0, 3 * 20 - 1), "0E 01 00 44 12 00 00 1D 21 40 40 00 00 00 00 00 00 00 00 00");
    (void)build(29, 63, 72, "1D 00 00 00 00 00");
    dispatch();
    EXPECT_EQ(sent().substr(0, 3 * 20 - 1), "0E 01 00 44 12 00 00 1D 21 40 3F 00 00 00 00 00 80 00 00 00");
}

TEST_F(Reply, SenseArgumentsGoToTheirPlacesForBothCommands) {
    for (U32_t type : {28U, 29U}) {
        esaSendStatus(&build(type, 25, 72), 2, 1, 0x0B, 0x44, 0x55);
        EXPECT_EQ(sent().substr(3 * 56), "02 E0 00 B0 00 00 00 00 00 00 00 00 00 00 00 00 00 44 55 00 00 00 00 00 "
                                         "00 00 00 00");
    }
}

TEST_F(Reply, OtherStatusesAndCommandsAreNotAnswered) {
    for (U32_t type : {28U, 29U}) {
        for (int status : {1, 3, 8, 255}) {
            esaSendStatus(&build(type, 25, 72), static_cast<U8_t>(status), 2, 0, 0, 0);
        }
    }
    EXPECT_THAT(takeTrace(), IsEmpty());
    for (int status : {0, 2}) {
        esaSendStatus(&build(31, 25, 72), static_cast<U8_t>(status), 2, 0, 0, 0);
        EXPECT_EQ(takeTrace(), Lines{"Un-supported SES Command [31]."});
    }
    EXPECT_THAT(takeMessages(), IsEmpty());
}

TEST_F(Reply, IsTracedAndPrintedBeforeItIsSent) {
    (void)build(29, 25, 72, "1D 08 00 00 00 00");
    const Lines request = printed(esaControl.esaInMsg);
    dispatch();
    const Lines trace = takeTrace();
    EXPECT_EQ(trace, join({{"Receive a MMSG to the Enclosure Services Adapter"},
                           request,
                           {"ESA receives SND DIAG Cmd.", "Send out a Diagnostic Page."},
                           printed(esaControl.esaWorkSpace)}));
}

TEST_F(Reply, FailedSendGoesToTheFaultHandlerUnderItsHistoricName) {
    std::signal(SIGPIPE, SIG_IGN);
    close(switchFd);
    struct Case {
        U32_t type;
        const char* payload;
        const char* text;
    };
    esaControl.elementTypeMaxNumber = 5;
    for (const Case& reply : {Case{29, "1D 00 00 00 00 00", "Linux send function fails, sendSize = [68] is wrong"},
                              Case{29, "1D 08 00 00 00 00", "Linux send function fails, sendSize = [92] is wrong"},
                              Case{28, "1C 80 01 00 FF FF", "Linux send function fails, sendSize = [132] is wrong"}}) {
        SCOPED_TRACE(reply.text);
        fakeEventLog.clear();
        (void)build(reply.type, 25, 72, reply.payload);
        dispatch();
        ASSERT_EQ(fakeEventLog.size(), 4U);
        const auto* record = reinterpret_cast<const char*>(fakeEventLog[0].bytes.data());
        EXPECT_STREQ(record + 152 + 64, "esaSndDiagPage()");
        EXPECT_STREQ(record + 152 + 132, reply.text);
    }
}

} // namespace
