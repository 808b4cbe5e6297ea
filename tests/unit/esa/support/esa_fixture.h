/**
 * Fixture of the adapter's unit tests: a clean control block, a socket whose other end the test holds, a parameter
 * block, and a trace log with nothing but the texts in it.
 */
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bytes.h"
#include "esamain.h"
#include "fake_platform.h"
#include "folder.h"
#include "policy/chassis.h"

using testsupport::Bytes_t;
using testsupport::hex;
using testsupport::unhex;
using Lines_t = std::vector<std::string>;

/** Formats numbers into a text. */
template <typename... Numbers>
std::string text(const char* format, Numbers... numbers) {
    char line[256];
    std::snprintf(line, sizeof(line), format, numbers...);
    return line;
}

class EsaTest : public testing::Test {
protected:
    EsaTest();
    ~EsaTest() override;

    /**
     * Puts the control block into the state of a chassis whose initialiser has run: type, addresses, dimensions,
     * usable bus, RPM limit 2000, supplies good, alarm as given (3: muted).
     */
    void startChassis(int type, U32_t alarmState = 3);

    /** Messages that the adapter has sent since the last call. */
    std::vector<Bytes_t> takeMessages();
    /** One word a message: "led-on", "led-off", "email", "shutdown", "init", "event ID/TYPE", "reply LEN" ... */
    std::vector<std::string> takeMessageNames();
    /** Trace lines since the last call. Dumps are lines as well. */
    std::vector<std::string> takeTrace();

    /** A message that says `size` bytes in esaInMsg: a header addressed to the adapter (type 14, SES), rest zero. */
    static MMSG_t& request(int protocol, U32_t type, int requestor, int size);

    int switchFd = -1; /**< the switch's end of the socket */
    MPU_PARAMS_t params = {};
    const testsupport::Folder_t folder;
    std::size_t traceRead = 0;
};
