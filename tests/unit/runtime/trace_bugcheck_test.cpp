/** The bug check: a last line, an event record, the end of the process. */
#include <csignal>

#include "trace_fixture.h"

namespace {

std::string bytes(std::initializer_list<int> values) {
    std::string result;
    for (const int value : values) {
        result += static_cast<char>(value);
    }
    return result;
}

std::string filled(std::string text, std::size_t size) {
    text.resize(size, '\0');
    return text;
}

class TraceBugCheck : public TraceTest {
protected:
    TraceBugCheck() { init(); }

    static ChildResult_t bugCheck(const std::string& file, const std::string& function, U32_t line,
                                  const std::string& text) {
        const auto what = [&] { TRACE__infoBugCheck(file.c_str(), function.c_str(), line, "%s", text.c_str()); };
        return runInChild(what, true);
    }
};

TEST_F(TraceBugCheck, RecordsTheLastTextAndAborts) {
    const ChildResult_t child = bugCheck("esafan.cpp", "esaFanCheck", 0x12345, "fan 3 is gone");
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_EQ(child.err, "");
    EXPECT_EQ(log(), "TRACE LOG BUG-CHECK AT: fan 3 is gone\n");
    ASSERT_TRUE(child.event.has_value());
    // The record lies in a message: opcode 8 (event manager), type 1 (log).
    EXPECT_EQ(child.event->before, std::string(12, '\0') + bytes({8, 0, 0, 1}) + std::string(48, '\0'));
    // 58 bytes of body; source 23, type 3, category 1, version 1, id 2000.
    EXPECT_EQ(child.event->header, std::string(144, '\0') + bytes({0, 58, 23, 3, 1, 1, 0x07, 0xD0}));
    EXPECT_EQ(child.event->body, bytes({0x23, 0x45}) + filled(std::string("esafan\0esaFanCheck", 18), 30) +
                                     filled("BUG CHECK: fan 3 is gone\n", 26));
    EXPECT_EQ(child.event->params, 0U);
}

TEST_F(TraceBugCheck, LineHasTheWholePrefixEvenTheLongest) {
    (void)TRACE__setTraceLevel(0, 0xE000);
    (void)bugCheck("f2345678901234567890123456789012x", "g2345678901234567890123456789012x", 2147483647, "text");
    EXPECT_EQ(log(), "Oct  2 13:51:16  TRACE LOG BUG-CHECK AT: "
                     "f2345678901234567890123456789012:g2345678901234567890123456789012:2147483647:  text\n");
}

TEST_F(TraceBugCheck, NothingOfAnEarlierOneIsInTheRecord) {
    const ChildResult_t child = runInChild([] {
        surviveAbort([] { TRACE__infoBugCheck("some_file.cpp", "someFunction", 77, "%200d", 7); });
        traceData.fileName = "a.cpp"; // the lock is still held
        traceData.funcName = "f";
        traceData.lineNumber = 1;
        traceData.infoBuf[0] = '\0';
        (void)TRACE__logInfo(0, 1);
    });
    EXPECT_EQ(child.signal, SIGABRT);
    ASSERT_TRUE(child.event.has_value());
    EXPECT_EQ(child.event->body, bytes({0, 1}) + filled(std::string("a\0f", 3), 30) + filled("BUG CHECK: \n", 13));
}

TEST_F(TraceBugCheck, MacroNamesTheCaller) {
    (void)TRACE__setTraceLevel(0, 0x2000);
    const std::string line = std::to_string(__LINE__ + 1);
    const ChildResult_t child = runInChild([] { TRACE_BUGCHECK("value %d", 5); });
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_EQ(log(), "TRACE LOG BUG-CHECK AT: trace_bugcheck_test.cpp:" + line + ":  value 5\n");
}

TEST_F(TraceBugCheck, WithoutTheWriteFlagOnlyTheRecordIsLeftWithTheParameterWord) {
    const ChildResult_t child = runInChild([&] {
        (void)mpuMutex_Get(&traceData.lock);
        traceData.mpuParams = &params;
        (void)TRACE__logInfo(0, 1);
    });
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_EQ(log(), "");
    ASSERT_TRUE(child.event.has_value());
    EXPECT_EQ(child.event->body, std::string(32, '\0') + filled("BUG CHECK: \n", 13));
    EXPECT_EQ(child.event->params, reinterpret_cast<std::uintptr_t>(&params));
}

TEST_F(TraceBugCheck, WorksBeforeInitAndAfterDone) {
    TRACE__done();
    const ChildResult_t child = bugCheck("a.cpp", "f", 1, "early");
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_EQ(child.err, "TRACE LOG BUG-CHECK AT: early\n");
    EXPECT_TRUE(child.event.has_value());
}

TEST_F(TraceBugCheck, NamesFillThe30Bytes) {
    struct {
        const char* file;
        const char* function;
        std::string area;
    } const cases[] = {
        {"noextension", "f", std::string("noextension\0f", 13)},
        {"a.b.cpp", "f", std::string("a.b\0f", 5)},
        {".hidden", "f", std::string("\0f", 2)},
        {"12345678901234567890.cpp", "f", std::string("12345678901234567890\0f", 22)},
        {"123456789012345678901.cpp", "function", std::string("12345678901234567890\0function", 29)},
        {"12345678901234567890.cpp", "functions", std::string("12345678901234567890\0functions", 30)},
        {"12345678901234567890.cpp", "functionsCut", std::string("12345678901234567890\0functions", 30)},
        {"a.cpp", "f23456789012345678901234567890", std::string("a\0f234567890123456789012345678", 30)},
    };
    for (const auto& one : cases) {
        const ChildResult_t child = bugCheck(one.file, one.function, 1, "x");
        ASSERT_TRUE(child.event.has_value());
        EXPECT_EQ(child.event->body.substr(2), filled(one.area, 30) + filled("BUG CHECK: x\n", 14)) << one.file;
    }
}

TEST_F(TraceBugCheck, TextStaysWithin256Bytes) {
    for (const auto& [length, kept] :
         {std::pair<std::size_t, std::size_t>{242, 242}, {243, 243}, {244, 243}, {1023, 243}}) {
        const ChildResult_t child = bugCheck("a.cpp", "f", 1, std::string(length, 't'));
        ASSERT_TRUE(child.event.has_value());
        const std::string text = "BUG CHECK: " + std::string(kept, 't') + "\n";
        EXPECT_EQ(child.event->body.substr(32), filled(text, text.size() + 1));
        EXPECT_LE(child.event->body.size(), 32U + 256U);
    }
}

} // namespace
