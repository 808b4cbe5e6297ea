/** The event log's lines: what they hold, and how the process ends. */
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>

#include "bytes.h"
#include "child.h"
#include "event_log_fixture.h"

namespace {

using testsupport::Child_t;
using testsupport::lowerHex;

TEST_F(EventLog, AppendsOneObjectALineInTheOrderTheyCome) {
    altEventLogM(SMALL.get(), &params);
    altEventLogM(Record_t(1, 33, 3, 3, 1, std::vector<U8_t>(196, 0xC5)).get(), &params);
    const std::string body = lowerHex(std::vector<U8_t>(196, 0xC5), "");
    EXPECT_EQ(log(), std::string(SMALL_LINE) +
                         "{\"time\":T,\"evId\":1,\"evSource\":33,\"evType\":3,\"evCategory\":3,\"evIdVersion\":1,"
                         "\"evStructLength\":196,\"body\":\"" +
                         body + "\"}\n");
}

TEST_F(EventLog, WritesEveryByteValueAsTwoLowerCaseDigits) {
    std::vector<U8_t> body(256);
    std::string hex;
    for (unsigned i = 0; i < 256; ++i) {
        body[i] = static_cast<U8_t>(i);
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", i);
        hex += digits.data();
    }
    altEventLogM(Record_t(3, 33, 3, 3, 1, body).get(), &params);
    EXPECT_EQ(log(), std::string() +
                         "{\"time\":T,\"evId\":3,\"evSource\":33,\"evType\":3,\"evCategory\":3,\"evIdVersion\":1,"
                         "\"evStructLength\":256,\"body\":\"" +
                         hex + "\"}\n");
}

TEST_F(EventLog, WritesTheLeastAndTheGreatestOfEveryField) {
    altEventLogM(Record_t(0, 0, 0, 0, 0, {}).get(), &params);
    altEventLogM(Record_t(65535, 255, 255, 255, 255, std::vector<U8_t>(65535, 0x9F)).get(), &params);
    const std::string body = lowerHex(std::vector<U8_t>(65535, 0x9F), "");
    EXPECT_EQ(log(), std::string() +
                         "{\"time\":T,\"evId\":0,\"evSource\":0,\"evType\":0,\"evCategory\":0,\"evIdVersion\":0,"
                         "\"evStructLength\":0,\"body\":\"\"}\n"
                         "{\"time\":T,\"evId\":65535,\"evSource\":255,\"evType\":255,\"evCategory\":255,"
                         "\"evIdVersion\":255,\"evStructLength\":65535,\"body\":\"" +
                         body + "\"}\n");
}

TEST_F(EventLog, KeepsLinesWholeWhereTheBufferChanges) {
    std::string expected;
    for (std::size_t length : {4063U, 4064U, 4065U}) {
        altEventLogM(Record_t(4, 33, 3, 3, 1, std::vector<U8_t>(length, 0x11)).get(), &params);
        expected += std::string() +
                    "{\"time\":T,\"evId\":4,\"evSource\":33,\"evType\":3,\"evCategory\":3,\"evIdVersion\":1,"
                    "\"evStructLength\":" +
                    std::to_string(length) + ",\"body\":\"" + std::string(2 * length, '1') + "\"}\n";
    }
    EXPECT_EQ(log(), expected);
}

TEST_F(EventLog, TakesARecordAtAnyAddress) {
    std::vector<U8_t> buffer(1 + SMALL.bytes.size());
    std::memcpy(&buffer[1], SMALL.bytes.data(), SMALL.bytes.size());
    altEventLogM(reinterpret_cast<const EmpEvLogHeader_t*>(&buffer[1]), &params);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, ACriticalErrorIsOneReadableLineInTheJournal) {
    std::vector<U8_t> body(196, 0);
    const std::string file = "esainit.cpp";
    const std::string function(64, 'f');
    const std::string message = "Linux connect function fails for MSM/ESA socket!";
    std::copy(file.begin(), file.end(), body.begin());
    std::copy(function.begin(), function.end(), body.begin() + 64);
    body[131] = 88;
    std::copy(message.begin(), message.end(), body.begin() + 132);
    const Record_t error(1, 33, 3, 3, 1, body);
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(error.get(), &params); }), "");
    setenv("JOURNAL_STREAM", "8:1234", 1);
    EXPECT_EQ(standardErrorOf([&] { altEventLogM(error.get(), &params); }),
              "\nesa: critical error in " + function +
                  " (esainit.cpp:88): Linux connect function fails for MSM/ESA socket!\n");
    EXPECT_EQ(standardErrorOf([&] {
                  altEventLogM(SMALL.get(), &params);
                  altEventLogM(Record_t(2, 33, 3, 3, 1, body).get(), &params);
                  altEventLogM(Record_t(1, 23, 3, 3, 1, body).get(), &params);
                  altEventLogM(Record_t(1, 33, 3, 3, 1, {}).get(), &params);
              }),
              "");
    unsetenv("JOURNAL_STREAM");
}

TEST_F(EventLog, ARecordInTheJournalBeginsALineOfItsOwn) {
    useDirectory((directory / "missing").string());
    setenv("JOURNAL_STREAM", "8:1234", 1);
    const std::string kept = standardErrorOf([&] { altEventLogM(SMALL.get(), &params); });
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(kept.substr(0, 9), "\n{\"time\":");
    EXPECT_EQ(kept.substr(kept.size() - 3), "\"}\n");
}

TEST_F(EventLog, LeavesTheCallersErrnoAlone) {
    useDirectory((directory / "missing").string());
    (void)standardErrorOf([&] {
        errno = EMLINK;
        altEventLogM(SMALL.get(), &params);
        EXPECT_EQ(errno, EMLINK);
    });
}

TEST_F(EventLog, ABugCheckKeepsTheRecordAndAborts) {
    EXPECT_EQ(Child_t([&] { altEventLog(SMALL.get(), &params, -1); }).wait().signal, SIGABRT);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, AnyOtherActionOnlyKeepsTheRecord) {
    for (S32_t action : {0, 1, -2, 2147483647}) {
        altEventLog(SMALL.get(), &params, action);
    }
    EXPECT_EQ(log(), std::string(SMALL_LINE) + SMALL_LINE + SMALL_LINE + SMALL_LINE);
}

const MPU_PARAMS_t* handlersParams = nullptr;

void logFromHandler(int) {
    altEventLogM(SMALL.get(), handlersParams);
}

TEST_F(EventLog, CanBeCalledInASignalHandlerOnASmallStack) {
    // 64 KiB: half of what the longest line takes, ample for a record of a message buffer's size.
    handlersParams = &params;
    std::vector<U8_t> memory(65536);
    stack_t stack{};
    stack.ss_sp = memory.data();
    stack.ss_size = memory.size();
    ASSERT_EQ(sigaltstack(&stack, nullptr), 0);
    struct sigaction action {};
    action.sa_handler = logFromHandler;
    action.sa_flags = SA_ONSTACK;
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    raise(SIGUSR1);
    stack.ss_flags = SS_DISABLE;
    sigaltstack(&stack, nullptr);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, LinesOfSeveralProcessesStayWhole) {
    constexpr int PROCESSES = 4;
    constexpr int RECORDS = 60;
    constexpr std::size_t LENGTHS[] = {10, 500, 4064, 20000};
    std::vector<std::unique_ptr<Child_t>> children;
    for (int process = 0; process < PROCESSES; ++process) {
        children.push_back(std::make_unique<Child_t>([&] {
            const std::vector<U8_t> body(LENGTHS[process], static_cast<U8_t>(0x11 * (process + 1)));
            for (int i = 0; i < RECORDS; ++i) {
                altEventLogM(Record_t(7, 33, 1, 3, 1, body).get(), &params);
            }
        }));
    }
    for (const auto& child : children) {
        ASSERT_EQ(child->wait().exitCode, 0);
    }
    std::map<std::string, int> lines;
    std::istringstream text(log());
    for (std::string line; std::getline(text, line);) {
        ++lines[line];
    }
    EXPECT_EQ(lines.size(), 4U);
    for (int process = 0; process < PROCESSES; ++process) {
        const std::size_t length = LENGTHS[process];
        const std::string line =
            "{\"time\":T,\"evId\":7,\"evSource\":33,\"evType\":1,\"evCategory\":3,\"evIdVersion\":1,"
            "\"evStructLength\":" +
            std::to_string(length) + ",\"body\":\"" + std::string(2 * length, static_cast<char>('1' + process)) + "\"}";
        EXPECT_EQ(lines[line], 60);
    }
}

} // namespace
