/** What the tests of dispatch, pages and control pages share: requests in one line each, replies as hex. */
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "esa_fixture.h"
#include "messaging/dispatch.h"
#include "messaging/print.h"

/** `count` times the same text. */
inline std::string repeat(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

class MessagingTest : public EsaTest {
protected:
    /** The request in esaInMsg, with a payload from offset 64 on. */
    MMSG_t& build(U32_t type, int requestor, int size, const std::string& payload = "", int protocol = 18) {
        MMSG_t& mmsg = request(protocol, type, requestor, size);
        const Bytes_t bytes = unhex(payload);
        std::copy(bytes.begin(), bytes.end(), esaControl.esaInMsg + 64);
        return mmsg;
    }

    void dispatch() { esaProcMmsgMsg(wireAt<MMSG_t>(static_cast<const void*>(esaControl.esaInMsg))); }

    /** What the printer writes about the message in a buffer. Earlier lines are forgotten. */
    Lines_t printed(const U8_t* buffer) {
        (void)takeTrace();
        esaMmsgPrint(&wireAt<MMSG_t>(static_cast<const void*>(buffer)));
        return takeTrace();
    }

    /** Asks for a page and returns the reply's payload from the status byte on; events before it are put aside. */
    std::string page(int pageCode, int allocation = 0xFFFF) {
        char payload[32];
        std::snprintf(payload, sizeof(payload), "1C 80 %02X 00 %02X %02X 00 00", static_cast<unsigned>(pageCode),
                      static_cast<unsigned>(allocation >> 8), static_cast<unsigned>(allocation & 0xFF));
        (void)build(28, 25, 72, payload);
        dispatch();
        reports = takeMessages();
        if (reports.empty() || reports.back()[12] != 18) {
            return "no reply";
        }
        const Bytes_t reply = reports.back();
        reports.pop_back();
        return hex(reply.data() + 64, reply.size() - 64);
    }

    /** Forgets everything that was seen so far. */
    void discard() {
        (void)takeMessages();
        (void)takeTrace();
        (void)fakeBus.takeTransfers();
        fakeBus.heal();
        fakeBus.queues.clear();
    }

    std::vector<Bytes_t> reports;
};
