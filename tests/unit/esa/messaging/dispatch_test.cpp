/** Which messages are taken, and where they go. */
#include "messaging_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::string ACCEPTED = "Receive a MMSG to the Enclosure Services Adapter";
const std::string RECEIVE = "ESA receives RCV DIAG Cmd.";
const std::string SEND = "ESA receives SND DIAG Cmd.";

class Dispatch : public MessagingTest {
protected:
    /** Dispatches the message in esaInMsg and checks each line: those given, its print, those given. */
    void expectTrace(const Lines_t& before, const Lines_t& after) {
        const Lines_t expected = join({before, printed(esaControl.esaInMsg), after});
        dispatch();
        EXPECT_EQ(takeTrace(), expected);
    }
    /** Dispatches a message that is dropped with the lines given and nothing sent. */
    void expectRejected(const Lines_t& reasons) {
        esaControl.pageCodeInRecentSndDiagCmd = 77;
        expectTrace(reasons, {});
        EXPECT_THAT(takeMessages(), IsEmpty());
        EXPECT_EQ(esaControl.pageCodeInRecentSndDiagCmd, 77);
    }
};

TEST_F(Dispatch, LengthsFrom64To4064AreAccepted) {
    for (int length : {63, 0, 4065, 65535}) {
        SCOPED_TRACE(length);
        (void)build(28, 25, length, "1C 80 02 00 FF FF");
        expectRejected({"MMSG mmsh_length [" + std::to_string(length) + "] is out of range",
                        "MMSG requestor [25] sends wrong mmsg_length!!!"});
    }
    for (int length : {64, 4064}) {
        SCOPED_TRACE(length);
        (void)build(30, 25, length);
        expectTrace({ACCEPTED}, {"Un-supported SES Command [30]."});
        EXPECT_THAT(takeMessages(), IsEmpty());
    }
}

TEST_F(Dispatch, OnlySesAndStartupProtocolsAreTaken) {
    for (int protocol : {0, 11, 13, 17, 19, 255}) {
        SCOPED_TRACE(protocol);
        (void)build(29, 25, 72, "1D 00 00 00 00 00", protocol);
        expectRejected({"Invalid MMSG protocol [" + std::to_string(protocol) + "]"});
    }
    for (int protocol : {12, 18}) {
        SCOPED_TRACE(protocol);
        (void)build(29, 25, 72, "1D 00 00 00 00 00", protocol);
        dispatch();
        const std::vector<Bytes_t> replies = takeMessages();
        ASSERT_EQ(replies.size(), 1U);
        EXPECT_EQ(replies[0][12], protocol) << "the reply has the request's protocol";
    }
}

TEST_F(Dispatch, ReceiveDiagnosticNeedsItsOperationCodeAndRoom) {
    for (const char* payload : {"1D 80 02 00 FF FF", "00 80 02 00 FF FF", "1C 80 02 00 00 00"}) {
        SCOPED_TRACE(payload);
        (void)build(28, 25, 72, payload);
        expectTrace({ACCEPTED}, {RECEIVE});
        EXPECT_THAT(takeMessages(), IsEmpty());
    }
    for (const char* payload : {"1C 80 02 00 00 01", "1C 80 02 00 01 00"}) {
        (void)build(28, 25, 72, payload);
        dispatch();
        EXPECT_THAT(takeMessageNames(), ElementsAre("reply 92")) << payload;
    }
}

TEST_F(Dispatch, ClearPageCodeValidBitMeansThePageOfTheLastSendDiagnostic) {
    (void)build(29, 25, 200, "1D 08 00 00 00 1C 00 00 02");
    dispatch();
    EXPECT_EQ(esaControl.pageCodeInRecentSndDiagCmd, 2);
    (void)takeMessages();
    (void)build(28, 25, 72, "1C 7F 01 00 FF FF");
    dispatch();
    const std::vector<Bytes_t> replies = takeMessages();
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0][65], 2) << "the status page, not the page that the command names";
    (void)build(28, 25, 72, "1C 80 01 00 FF FF");
    esaControl.elementTypeMaxNumber = 5;
    dispatch();
    EXPECT_THAT(takeMessageNames(), ElementsAre("reply 132"));
}

TEST_F(Dispatch, VolumeManagerGetsItsLedsButNoReply) {
    (void)build(29, 20, 200, "1D 08 00 00 00 1C 00 00 02 00 00 00 00 00 00 00 00 00 00 00 80 00 00 04");
    esaControl.deviceMaxNumber = 1;
    expectTrace({ACCEPTED},
                {SEND, "Turn On Fault LED on Drive [0].", "Rx Drive Fault LED SES msg from VM. No further processing.",
                 "Rx Drive Fault LED SES msg from VM. No returning Status msg."});
    EXPECT_EQ(esaControl.driveFaultLedStatus0, 1U);
    EXPECT_THAT(takeMessageNames(), ElementsAre("event 5/2"));
    // Only the control page goes unanswered.
    (void)build(29, 20, 72, "1D 00 00 00 00 00");
    dispatch();
    EXPECT_THAT(takeMessageNames(), ElementsAre("reply 68"));
}

} // namespace
