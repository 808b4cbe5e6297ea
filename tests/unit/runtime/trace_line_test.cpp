/** Information, entry and exit lines. */
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <functional>

#include "trace_fixture.h"

namespace {

class TraceLine : public TraceTest {
protected:
    TraceLine() { init(); }
};

TEST_F(TraceLine, PrefixOfEveryKindFollowsTheThreeBits) {
    struct {
        U16_t level;
        const char* info;
        const char* dump;
        const char* call; // of entry and exit lines
    } const prefixes[] = {
        {0x0000, "", "", ""},
        {0x2000, "fan.cpp:1234:  ", "fan.cpp:1234: ", "fan.cpp:1234:"},
        {0x4000, "doIt:1234:  ", "doIt:1234: ", ""},
        {0x6000, "fan.cpp:doIt:1234:  ", "fan.cpp:doIt:1234: ", "fan.cpp:1234:"},
        {0x8000, "Oct  2 13:51:16  ", "", "Oct  2 13:51:16  "},
        {0xA000, "Oct  2 13:51:16  fan.cpp:1234:  ", "fan.cpp:1234: ", "Oct  2 13:51:16  fan.cpp:1234:"},
        {0xC000, "Oct  2 13:51:16  doIt:1234:  ", "doIt:1234: ", "Oct  2 13:51:16  "},
        {0xE000, "Oct  2 13:51:16  fan.cpp:doIt:1234:  ", "fan.cpp:doIt:1234: ", "Oct  2 13:51:16  fan.cpp:1234:"},
    };
    for (const auto& prefix : prefixes) {
        SCOPED_TRACE(prefix.level);
        TRACE__redirect(&params, "esa_%02d.log");
        (void)TRACE__setTraceLevel(0, prefix.level);
        TRACE__info("fan.cpp", "doIt", 1234, "hello %d", 7);
        TRACE__dump("fan.cpp", "doIt", 1234, "label", "", 0);
        TRACE__enter(0, "fan.cpp", "doIt", 1234, "text");
        TRACE__return(0, "fan.cpp", "doIt", 1234, "text");
        const std::string call = prefix.call;
        EXPECT_EQ(log(), prefix.info + std::string("hello 7\n") + prefix.dump + "label\n" + call +
                             "ENTERING into func: doIt: text\n" + call + "EXITING from func: doIt: text\n");
    }
}

TEST_F(TraceLine, NamesThatAreMissingAreEmpty) {
    (void)TRACE__setTraceLevel(0, 0x6000);
    TRACE__info(nullptr, nullptr, 7, "text");
    EXPECT_EQ(log(), "::7:  text\n");
}

TEST_F(TraceLine, PrefixFollowsTheLevelWordOfTheCallsModule) {
    TRACE__done();
    const char* const names[] = {"DDLM", "CEE"};
    TRACE__init(&params, "esa_%02d.log", 2, names);
    (void)TRACE__setTraceLevel(1, 0xFFFF);
    TRACE_INFO("these two follow the word of module 0");
    TRACE_DUMP("label", "", 0);
    EXPECT_EQ(log(), "");
    (void)TRACE__setTraceLevel(1, 0x2000);
    TRACE__enter(1, "fan.cpp", "doIt", 1, "text");
    TRACE__return(1, "fan.cpp", "doIt", 2, "text");
    TRACE__enter(0, "fan.cpp", "doIt", 3, "text");
    EXPECT_EQ(mpuMutex_Get(&traceData.lock), 0);
    traceData.moduleIndex = 1;
    EXPECT_EQ(TRACE__logInfo(1, 0), 0);
    EXPECT_EQ(mpuMutex_Get(&traceData.lock), 0);
    traceData.moduleIndex = 1;
    TRACE__logDump("", 0);
    EXPECT_EQ(log(), "fan.cpp:1:ENTERING into func: doIt: text\n"
                     "fan.cpp:2:EXITING from func: doIt: text\n"
                     "ENTERING into func: doIt: text\n"
                     "fan.cpp:3:  text\n"
                     "fan.cpp:3: text\n");
}

TEST_F(TraceLine, TextThatCannotBeFormattedIsEmpty) {
    TRACE__info("", "", 1, "before");
    TRACE__info("", "", 1, "%ls", L"\x4E2D"); // the C locale has no such character
    EXPECT_EQ(traceData.infoBufLen, 0U);
    EXPECT_EQ(log(), "before\n\n");
}

TEST_F(TraceLine, NamesAreCutTo32CharactersAndTheLongestPrefixIsWhole) {
    (void)TRACE__setTraceLevel(0, 0x6000);
    const std::string file = "f2345678901234567890123456789012xyz";
    const std::string function = "g2345678901234567890123456789012xyz";
    TRACE__info(file.c_str(), function.c_str(), 1, "a");
    TRACE__dump(file.c_str(), function.c_str(), 2, "b", "", 0);
    TRACE__enter(0, file.c_str(), function.c_str(), 3, "c");
    (void)TRACE__setTraceLevel(0, 0xFFFF);
    TRACE__info(file.c_str(), function.c_str(), 2147483647, "d");
    EXPECT_EQ(log(),
              "f2345678901234567890123456789012:g2345678901234567890123456789012:1:  a\n"
              "f2345678901234567890123456789012:g2345678901234567890123456789012:2: b\n"
              "f2345678901234567890123456789012:3:ENTERING into func: g2345678901234567890123456789012: c\n"
              "Oct  2 13:51:16  f2345678901234567890123456789012:g2345678901234567890123456789012:2147483647:  d\n");
}

TEST_F(TraceLine, MacrosNameTheCallersFileFunctionAndLine) {
    (void)TRACE__setTraceLevel(0, 0x60FF);
    const std::string here = std::to_string(__LINE__);
    TRACE_INFO("value %s", "x");
    EXPECT_EQ(log(), "trace_line_test.cpp:TestBody:" + std::to_string(std::stoi(here) + 1) + ":  value x\n");
}

TEST_F(TraceLine, NothingIsWrittenNorEvaluatedWithBit4ClearOrOfEntryAndExitWithBit7Clear) {
    (void)TRACE__setTraceLevel(0, 0xFF6F);
    int evaluated = 0;
    TRACE_INFO("%d", ++evaluated);
    TRACE_DUMP("label", &evaluated, static_cast<U32_t>(++evaluated));
    TRACE_ENTER(0, "in");
    TRACE_RETURN(0, "out");
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(log(), "");
    (void)TRACE__setTraceLevel(0, 0x0010);
    TRACE_INFO("%d", ++evaluated);
    (void)TRACE__setTraceLevel(0, 0x0080);
    TRACE_INFO("no");
    TRACE_ENTER(0, "in");
    TRACE_RETURN(0, "out");
    EXPECT_EQ(log(), "1\nENTERING into func: TestBody: in\nEXITING from func: TestBody: out\n");
}

TEST_F(TraceLine, TextOf1023CharactersIsWholeAndALongerOneIsCut) {
    const std::string longest(1023, 'a');
    TRACE__info("", "", 1, "%s", longest.c_str());
    EXPECT_EQ(traceData.infoBufLen, 1023U);
    TRACE__info("", "", 1, "%sbc", longest.c_str());
    EXPECT_EQ(traceData.infoBufLen, 1023U);
    TRACE__info("", "", 1, "%s%s", longest.c_str(), longest.c_str());
    TRACE__enter(0, "", "", 1, (longest + "bc").c_str());
    EXPECT_EQ(log(), longest + "\n" + longest + "\n" + longest + "\nENTERING into func: : " + longest + "\n");
}

TEST_F(TraceLine, CallFillsTheCurrentCallFieldsAndReleasesTheLock) {
    traceData.mpuParams = &params;
    traceData.moduleIndex = 5;
    const char* file = "file";
    const char* function = "function";
    TRACE__info(file, function, 77, "abc");
    EXPECT_EQ(traceData.moduleIndex, 0);
    EXPECT_EQ(traceData.fileName, file);
    EXPECT_EQ(traceData.funcName, function);
    EXPECT_EQ(traceData.lineNumber, 77U);
    EXPECT_EQ(traceData.mpuParams, nullptr);
    EXPECT_STREQ(traceData.infoBuf, "abc");
    EXPECT_EQ(traceData.infoBufLen, 3U);
    EXPECT_EQ(pthread_mutex_trylock(&traceData.lock), 0);
    EXPECT_EQ(pthread_mutex_unlock(&traceData.lock), 0);
}

TEST_F(TraceLine, LengthOfAnEntryOrExitTextIsKeptToo) {
    TRACE__enter(0, "", "", 1, "four");
    EXPECT_EQ(traceData.infoBufLen, 4U);
    TRACE__return(0, "", "", 1, "seven77");
    EXPECT_EQ(traceData.infoBufLen, 7U);
    TRACE__enter(0, "", "", 1, std::string(3000, 'e').c_str());
    EXPECT_EQ(traceData.infoBufLen, 1023U);
}

TEST_F(TraceLine, WithoutTheWriteFlagALineIsCountedButNotWritten) {
    EXPECT_EQ(mpuMutex_Get(&traceData.lock), 0);
    EXPECT_EQ(TRACE__logInfo(0, 0), 0);
    EXPECT_EQ(log(), "");
    EXPECT_EQ(traceData.logWriteCount, 1U);
    EXPECT_EQ(pthread_mutex_trylock(&traceData.lock), 0);
    EXPECT_EQ(pthread_mutex_unlock(&traceData.lock), 0);
}

TEST_F(TraceLine, CallLeavesErrnoAlone) {
    errno = EPERM;
    now += 1;
    TRACE__info("", "", 1, "a");
    TRACE__dump("", "", 1, "a", "", 0);
    TRACE__enter(0, "", "", 1, "a");
    TRACE__return(0, "", "", 1, "a");
    EXPECT_EQ(errno, EPERM);
}

TEST(TraceData, FieldsAreInOrder) {
    // clang-format off
#define AT(field) offsetof(TRACE_DATA_t, field)
    const std::size_t offsets[] = {
        AT(lock), AT(infoBuf), AT(fd), AT(fileName), AT(funcName), AT(modNames),
        AT(modLevels), AT(mpuParams), AT(logWriteCount), AT(infoBufLen), AT(lineNumber), AT(log_to_file),
        AT(logNameProto), AT(moduleIndex), AT(logInstanceNumber), AT(numModLevels),
    };
#undef AT
    // clang-format on
    EXPECT_EQ(offsets[0], 0U);
    EXPECT_TRUE(std::ranges::is_sorted(offsets, std::ranges::less_equal()));
    EXPECT_EQ(sizeof traceData.infoBuf, 1024U);
    EXPECT_EQ(sizeof traceData.logNameProto, 192U);
}

TEST_F(TraceLine, WriteErrorsAreIgnored) {
    const ChildResult_t child = runInChild([] {
        traceData.fd = std::fopen("/dev/full", "w");
        TRACE__info("", "", 1, "lost");
        TRACE__dump("", "", 1, "lost", "abc", 3);
        TRACE__info("", "", 1, "lost");
    });
    EXPECT_EQ(child.exitStatus, 99);
    EXPECT_EQ(child.err, "");
}

} // namespace
