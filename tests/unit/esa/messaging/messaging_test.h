/** What the tests of replies, control pages and the self-test message share: requests in one line each, sent bytes as
 * hex. */
#pragma once

#include <gmock/gmock.h>

#include "esa_fixture.h"
#include "messaging/dispatch.h"
#include "messaging/print.h"

class MessagingTest : public EsaTest {
protected:
    /** The request in esaInMsg, with a payload from offset 64 on. */
    const MMSG_t& build(U32_t type, int requestor, int size, const std::string& payload) {
        const MMSG_t& mmsg = request(18, type, requestor, size);
        const Bytes_t bytes = unhex(payload);
        std::copy(bytes.begin(), bytes.end(), esaControl.esaInMsg + 64);
        return mmsg;
    }

    /** What the printer writes about the message in a buffer. Earlier lines are forgotten. */
    Lines_t printed(const U8_t* buffer) {
        (void)takeTrace();
        esaMmsgPrint(&wireAt<MMSG_t>(static_cast<const void*>(buffer)));
        return takeTrace();
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
};
