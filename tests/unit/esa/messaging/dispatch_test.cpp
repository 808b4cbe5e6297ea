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
    void expectTrace(const Lines& before, const Lines& after) {
        const Lines expected = join({before, printed(esaControl.esaInMsg), after});
        dispatch();
        EXPECT_EQ(takeTrace(), expected);
    }
    /** Dispatches a message that is dropped with the lines given and nothing sent. */
    void expectRejected(const Lines& reasons) {
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

TEST_F(Dispatch, MessageForAnotherEndpointIsRejected) {
    (void)build(29, 25, 72, "1D 00 00 00 00 00");
    esaControl.esaInMsg[27] = 0xFD; // every endpoint of the second word but 33
    esaControl.esaInMsg[23] = 0x02; // 33's bit in the first word is endpoint 1
    esaControl.esaInMsg[31] = 0x02;
    expectRejected({"Received a MMSG but it isn't for us?"});
}

TEST_F(Dispatch, EitherRecipientBitmapNamesTheAdapter) {
    (void)build(30, 25, 64);
    esaControl.esaInMsg[27] = 0;
    esaControl.esaInMsg[35] = 0x02;
    expectTrace({ACCEPTED}, {"Un-supported SES Command [30]."});
}

TEST_F(Dispatch, OtherMessageTypesAreTakenWhoeverTheyAreFor) {
    for (int type : {7, 0, 13, 15}) {
        SCOPED_TRACE(type);
        (void)build(29, 25, 72, "1D 00 00 00 00 00");
        esaControl.esaInMsg[8] = static_cast<U8_t>(type);
        esaControl.esaInMsg[27] = 0;
        dispatch();
        EXPECT_THAT(takeMessageNames(), ElementsAre("reply 68"));
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
        const std::vector<Bytes> replies = takeMessages();
        ASSERT_EQ(replies.size(), 1U);
        EXPECT_EQ(replies[0][12], protocol) << "the reply has the request's protocol";
    }
}

TEST_F(Dispatch, LengthIsLookedAtBeforeTheAddresseeAndThatBeforeTheProtocol) {
    (void)build(29, 25, 63, "", 99);
    esaControl.esaInMsg[27] = 0;
    expectRejected({"MMSG mmsh_length [63] is out of range", "MMSG requestor [25] sends wrong mmsg_length!!!"});
    (void)build(29, 25, 64, "", 99);
    esaControl.esaInMsg[27] = 0;
    expectRejected({"Received a MMSG but it isn't for us?"});
}

TEST_F(Dispatch, ResponsesToOwnMessagesEndHere) {
    struct Case {
        int requestor;
        int returnCode;
        const char* text;
    };
    for (const Case& response : {Case{33, 1, "Receive a Response MMSG for a Test Message."},
                                 Case{18, 1, "Receive a Response MMSG from Startup with returned code [OK]."},
                                 Case{18, 0, "Receive a Response MMSG from Startup with returned code [REJECTED]."},
                                 Case{18, 2, "Receive a Response MMSG from Startup with returned code [REJECTED]."}}) {
        for (int flags : {0x40, 0xFF}) {
            SCOPED_TRACE(response.text);
            (void)build(29, response.requestor, 72, "1D 00 00 00 00 00", 12);
            esaControl.esaInMsg[17] = static_cast<U8_t>(flags);
            esaControl.esaInMsg[39] = static_cast<U8_t>(response.returnCode);
            expectTrace({ACCEPTED}, {response.text});
            EXPECT_THAT(takeMessages(), IsEmpty());
        }
    }
}

TEST_F(Dispatch, ResponsesOfOthersAreDispatchedByType) {
    (void)build(29, 25, 72, "1D 00 00 00 00 00");
    esaControl.esaInMsg[17] = 0x40;
    dispatch();
    EXPECT_THAT(takeMessageNames(), ElementsAre("reply 68"));
}

TEST_F(Dispatch, OnlyOneFlagMarksAResponse) {
    for (int requestor : {18, 33}) {
        (void)build(29, requestor, 72, "1D 00 00 00 00 00");
        esaControl.esaInMsg[17] = 0xBF;
        dispatch();
        EXPECT_THAT(takeMessageNames(), ElementsAre("reply 68"));
    }
}

TEST_F(Dispatch, AllThreeBytesOfTheTypeCount) {
    for (U32_t type : {0U, 27U, 30U, 0x10001DU, 0x00011CU, 0xFFFFFFU}) {
        (void)build(type, 25, 72, "1D 00 00 00 00 00");
        expectTrace({ACCEPTED}, {"Un-supported SES Command [" + std::to_string(type) + "]."});
        EXPECT_THAT(takeMessages(), IsEmpty());
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

TEST_F(Dispatch, SupportedPagesListIsNotAnsweredAndOtherPagesAreNamed) {
    (void)build(28, 25, 72, "1C 80 00 00 FF FF");
    expectTrace({ACCEPTED}, {RECEIVE});
    EXPECT_THAT(takeMessages(), IsEmpty());
    for (int pageCode : {3, 15, 16, 255}) {
        char payload[32];
        std::snprintf(payload, sizeof(payload), "1C 80 %02X 00 FF FF", static_cast<unsigned>(pageCode));
        (void)build(28, 25, 72, payload);
        expectTrace({ACCEPTED}, {RECEIVE, "Un-supported SES Page [" + std::to_string(pageCode) + "]."});
        EXPECT_THAT(takeMessages(), IsEmpty());
    }
}

TEST_F(Dispatch, ClearPageCodeValidBitMeansThePageOfTheLastSendDiagnostic) {
    (void)build(29, 25, 200, "1D 08 00 00 00 1C 00 00 02");
    dispatch();
    EXPECT_EQ(esaControl.pageCodeInRecentSndDiagCmd, 2);
    (void)takeMessages();
    (void)build(28, 25, 72, "1C 7F 01 00 FF FF");
    dispatch();
    const std::vector<Bytes> replies = takeMessages();
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0][65], 2) << "the status page, not the page that the command names";
    (void)build(28, 25, 72, "1C 80 01 00 FF FF");
    esaControl.elementTypeMaxNumber = 5;
    dispatch();
    EXPECT_THAT(takeMessageNames(), ElementsAre("reply 132"));
}

TEST_F(Dispatch, SendDiagnosticIsRememberedWhateverItCarries) {
    (void)build(29, 25, 72, "1D 00 00 00 00 00 00 00 C8");
    dispatch();
    EXPECT_EQ(esaControl.pageCodeInRecentSndDiagCmd, 200);
    EXPECT_THAT(takeMessageNames(), ElementsAre("reply 68"));
    (void)build(29, 25, 80, "1D 08 00 00 00 08 00 00 04");
    expectTrace({ACCEPTED}, {SEND, "Un-supported SES Page [4]."});
    EXPECT_EQ(esaControl.pageCodeInRecentSndDiagCmd, 4);
    EXPECT_THAT(takeMessages(), IsEmpty());
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

TEST_F(Dispatch, ControlPageOfAnyOtherIsAnsweredGood) {
    for (int requestor : {19, 21, 33}) {
        (void)build(29, requestor, 200, "1D 00 00 00 01 00 00 00 02");
        dispatch();
        EXPECT_THAT(takeMessageNames(), ElementsAre("reply 68"));
        EXPECT_THAT(takeTrace(), Not(Contains(testing::HasSubstr("from VM"))));
    }
}

} // namespace
