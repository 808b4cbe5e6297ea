/** The event log's lines: what they hold, and how the process ends. */
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
#include <sstream>

#include "bytes.h"
#include "child.h"
#include "event_log_fixture.h"

namespace {

using testsupport::Child_t;

/** The line of a record of those five numbers with that body. */
std::string lineOf(const std::string& id, const std::string& source, const std::string& type,
                   const std::string& category, const std::string& version, const std::vector<U8_t>& body) {
    return R"({"time":T,"evId":)" + id + R"(,"evSource":)" + source + R"(,"evType":)" + type + R"(,"evCategory":)" +
           category + R"(,"evIdVersion":)" + version + R"(,"evStructLength":)" + std::to_string(body.size()) +
           R"(,"body":")" + testsupport::lowerHex(body, "") + "\"}\n";
}

TEST_F(EventLog, AppendsOneObjectALineInTheOrderTheyComeWithTheLeastAndTheGreatestOfEveryField) {
    std::vector<U8_t> everyByte(256);
    std::iota(everyByte.begin(), everyByte.end(), U8_t{0});
    const std::vector<U8_t> longest(65535, 0x9F);
    add(SMALL);
    add(Record_t(3, 33, 3, 3, 1, everyByte));
    add(Record_t(0, 0, 0, 0, 0, {}));
    add(Record_t(65535, 255, 255, 255, 255, longest));
    EXPECT_EQ(log(), SMALL_LINE + lineOf("3", "33", "3", "3", "1", everyByte) + lineOf("0", "0", "0", "0", "0", {}) +
                         lineOf("65535", "255", "255", "255", "255", longest));
}

TEST_F(EventLog, KeepsLinesWholeWhereTheBufferChanges) {
    std::string expected;
    for (std::size_t length : {4063U, 4064U, 4065U}) {
        const std::vector<U8_t> body(length, 0x11);
        add(Record_t(4, 33, 3, 3, 1, body));
        expected += lineOf("4", "33", "3", "3", "1", body);
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
    const std::string source = "esainit.cpp";
    const std::string function(64, 'f');
    const std::string message = "Linux connect function fails for MSM/ESA socket!";
    std::copy(source.begin(), source.end(), body.begin());
    std::copy(function.begin(), function.end(), body.begin() + 64);
    body[131] = 88;
    std::copy(message.begin(), message.end(), body.begin() + 132);
    const Record_t error(1, 33, 3, 3, 1, body);
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(standardErrorOf([&] { add(error); }), "");
    setenv("JOURNAL_STREAM", "8:1234", 1);
    EXPECT_EQ(standardErrorOf([&] { add(error); }),
              "\nesa: critical error in " + function +
                  " (esainit.cpp:88): Linux connect function fails for MSM/ESA socket!\n");
    EXPECT_EQ(standardErrorOf([&] {
                  add(SMALL);
                  add(Record_t(2, 33, 3, 3, 1, body));
                  add(Record_t(1, 23, 3, 3, 1, body));
                  add(Record_t(1, 33, 3, 3, 1, {}));
              }),
              "");
    useDirectory((directory / "missing").string());
    EXPECT_EQ(standardErrorOf([&] { add(SMALL); }), std::string("\n") + SMALL_LINE)
        << "a record that is not kept in the file begins a line of its own";
    unsetenv("JOURNAL_STREAM");
}

TEST_F(EventLog, LeavesTheCallersErrnoAlone) {
    useDirectory((directory / "missing").string());
    (void)standardErrorOf([&] {
        errno = EMLINK;
        add(SMALL);
        EXPECT_EQ(errno, EMLINK);
    });
}

TEST_F(EventLog, ABugCheckKeepsTheRecordAndAbortsAndAnyOtherActionOnlyKeepsIt) {
    EXPECT_EQ(Child_t([&] { altEventLog(SMALL.get(), &params, -1); }).wait().signal, SIGABRT);
    for (S32_t action : {0, 1, -2, 2147483647}) {
        altEventLog(SMALL.get(), &params, action);
    }
    EXPECT_EQ(log(), std::string(SMALL_LINE) + SMALL_LINE + SMALL_LINE + SMALL_LINE + SMALL_LINE);
}

const MPU_PARAMS_t* handlersParams = nullptr;

TEST_F(EventLog, CanBeCalledInASignalHandlerOnASmallStack) {
    // 64 KiB: half of what the longest line takes, ample for a record of a message buffer's size.
    handlersParams = &params;
    std::vector<U8_t> memory(65536);
    stack_t stack{};
    stack.ss_sp = memory.data();
    stack.ss_size = memory.size();
    ASSERT_EQ(sigaltstack(&stack, nullptr), 0);
    struct sigaction action {};
    action.sa_handler = [](int) { altEventLogM(SMALL.get(), handlersParams); };
    action.sa_flags = SA_ONSTACK;
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    raise(SIGUSR1);
    stack.ss_flags = SS_DISABLE;
    sigaltstack(&stack, nullptr);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLog, LinesOfSeveralProcessesStayWhole) {
    std::vector<std::vector<U8_t>> bodies;
    std::vector<std::unique_ptr<Child_t>> children;
    for (const std::size_t length : {10U, 500U, 4064U, 20000U}) {
        bodies.emplace_back(length, static_cast<U8_t>(0x11 * (bodies.size() + 1)));
        children.push_back(std::make_unique<Child_t>([&] {
            for (int i = 0; i < 60; ++i) {
                add(Record_t(7, 33, 1, 3, 1, bodies.back()));
            }
        }));
    }
    for (const auto& child : children) {
        ASSERT_EQ(child->wait().exitCode, 0);
    }
    std::map<std::string, int> lines;
    std::istringstream text(log());
    for (std::string line; std::getline(text, line);) {
        ++lines[line + "\n"];
    }
    EXPECT_EQ(lines.size(), 4U);
    for (const std::vector<U8_t>& body : bodies) {
        EXPECT_EQ(lines[lineOf("7", "33", "1", "3", "1", body)], 60);
    }
}

} // namespace
