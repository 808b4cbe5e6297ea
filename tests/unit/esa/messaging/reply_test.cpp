/** Replies without a page, byte for byte, and what becomes of a reply that cannot be sent. */
#include <csignal>
#include <unistd.h>

#include "messaging/reply.h"
#include "messaging_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Reply : public MessagingTest {
protected:
    /** The one message sent, from offset 8 on; what comes before is checked here. */
    std::string sent() {
        const std::vector<Bytes_t> messages = takeMessages();
        EXPECT_EQ(messages.size(), 1U);
        if (messages.empty()) {
            return "none";
        }
        const Bytes_t& message = messages[0];
        const auto address = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
        for (std::size_t i = 0; i < 8; ++i) {
            EXPECT_EQ(message[i], static_cast<U8_t>(address >> (24 - 8 * (i % 4))));
        }
        return hex(message.data() + 8, message.size() - 8);
    }
    void withHandle() {
        const Bytes_t handle = unhex("12 34 56 78");
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

TEST_F(Reply, RequestorWithoutABitIsNamedAsAddresseeOnly) {
    (void)build(29, 64, 72, "1D 00 00 00 00 00");
    dispatch();
    EXPECT_EQ(sent().substr(0, 3 * 20 - 1), "0E 01 00 44 12 00 00 1D 21 40 40 00 00 00 00 00 00 00 00 00");
    (void)build(29, 63, 72, "1D 00 00 00 00 00");
    dispatch();
    EXPECT_EQ(sent().substr(0, 3 * 20 - 1), "0E 01 00 44 12 00 00 1D 21 40 3F 00 00 00 00 00 80 00 00 00");
}

TEST_F(Reply, CheckConditionAnswersAReceiveDiagnosticToo) {
    const MMSG_t& mmsg = build(28, 25, 72, "1C 80 02 00 FF FF");
    withHandle();
    esaSendStatus(&mmsg, 2, 2, 6, 0x29, 0x01);
    EXPECT_EQ(sent(), "0E 01 00 5C 12 00 00 1C 21 40 19 00 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "00 00 00 02 12 34 56 78 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "02 E0 00 60 00 00 00 00 00 00 00 00 00 00 00 00 00 29 01 00 00 00 00 00 00 00 00 00");
}

TEST_F(Reply, AnyOtherStatusIsNotAnswered) {
    for (const U32_t command : {28U, 29U}) {
        const MMSG_t& mmsg = build(command, 25, 72, "1C 80 02 00 FF FF");
        (void)takeTrace();
        for (int status = 0; status < 256; ++status) {
            if (status != 0 && status != 2) {
                esaSendStatus(&mmsg, static_cast<U8_t>(status), 2, 0, 0, 0);
            }
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

TEST_F(Reply, SupportedPagesAreSilentlyNotAnsweredAndPagesFrom3OnWithALine) {
    const MMSG_t& mmsg = build(28, 25, 72, "1C 80 02 00 FF FF");
    (void)takeTrace();
    esaSendStatus(&mmsg, 0, 0, 0, 0, 0);
    EXPECT_THAT(takeTrace(), IsEmpty());
    for (int page = 3; page < 256; ++page) {
        esaSendStatus(&mmsg, 0, static_cast<U8_t>(page), 0, 0, 0);
        EXPECT_THAT(takeTrace(), ElementsAre(text("Un-supported SES Page [%d].", page)));
    }
    EXPECT_THAT(takeMessages(), IsEmpty());
}

} // namespace
