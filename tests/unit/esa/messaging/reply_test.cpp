/** Replies that no message asks for. */
#include "messaging/reply.h"

#include <cstring>

#include "messaging_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Reply = MessagingTest;

TEST_F(Reply, CheckConditionAnswersAReceiveDiagnosticToo) {
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

TEST_F(Reply, AnyOtherStatusIsNotAnswered) {
    for (const U32_t command : {28U, 29U}) {
        const MMSG_t& mmsg = build(command, 25, 72, "1C 80 02 00 FF FF");
        (void)takeTrace();
        for (const U8_t status : {U8_t{1}, U8_t{3}, U8_t{4}, U8_t{8}, U8_t{130}, U8_t{255}}) {
            esaSendStatus(&mmsg, status, 2, 0, 0, 0);
        }
        EXPECT_THAT(takeMessages(), IsEmpty());
        EXPECT_THAT(takeTrace(), IsEmpty());
    }
}

TEST_F(Reply, AnyOtherCommandIsNotAnsweredWhateverItsStatus) {
    for (const U32_t command : {0U, 27U, 30U, 0x11CU, 0xFFFFFFU}) {
        const MMSG_t& mmsg = build(command, 25, 72, "1C 80 02 00 FF FF");
        (void)takeTrace();
        for (const U8_t status : {U8_t{0}, U8_t{2}}) {
            esaSendStatus(&mmsg, status, 2, 5, 0x24, 0);
            EXPECT_THAT(takeTrace(), ElementsAre(text("Un-supported SES Command [%d].", command)));
        }
        EXPECT_THAT(takeMessages(), IsEmpty());
    }
}

} // namespace
