/** What a format makes of its arguments is what printf makes of them, quick way or not. */
#include "trace_fixture.h"

#include <climits>

namespace {

class TraceFormat : public TraceTest {
protected:
    TraceFormat() {
        init();
        (void)TRACE__setTraceLevel(0, 0x0010);
    }
};

/** The call's line, and its length beside it. */
#define EXPECT_LINE(text, ...)                                                                                         \
    do {                                                                                                               \
        TRACE__info("", "", 1, __VA_ARGS__);                                                                           \
        EXPECT_STREQ(traceData.infoBuf, text);                                                                         \
        EXPECT_EQ(traceData.infoBufLen, std::string(text).size());                                                     \
    } while (0)

TEST_F(TraceFormat, WholeNumbersToTheirLimits) {
    EXPECT_LINE("0 2147483647 -2147483648", "%d %d %d", 0, INT_MAX, INT_MIN);
    EXPECT_LINE("0 4294967295", "%u %u", 0U, UINT_MAX);
    EXPECT_LINE("0x0 0xff 0xffffffff", "0x%x 0x%x 0x%x", 0U, 255U, UINT_MAX);
    EXPECT_LINE("[7]", "[%d]", 7);
}

TEST_F(TraceFormat, WordsAndWhatStandsBetweenThem) {
    EXPECT_LINE("fan 3 turns: FAST", "fan %d turns: %s", 3, "FAST");
    EXPECT_LINE("", "%s", "");
    EXPECT_LINE("xy", "%s%s", "x", "y");
    EXPECT_LINE("no conversion", "no conversion");
    const char* volatile nobody = nullptr; // the compiler would refuse one it can see
    EXPECT_LINE("nobody is (null)", "nobody is %s", nobody);
}

TEST_F(TraceFormat, WordsInAColumn) {
    EXPECT_LINE("[fan  ][fan][turning]", "[%-*s][%-*s][%-*s]", 5, "fan", 3, "fan", 4, "turning");
    EXPECT_LINE("[][  ][ab   ]", "[%-*s][%-*s][%-*s]", 0, "", 2, "", -5, "ab");
    EXPECT_LINE("7  ,ab , ab", "%-*d,%-3s,%*s", 3, 7, "ab", 3, "ab");
    const char* volatile nobody = nullptr;
    EXPECT_LINE("(null)  ", "%-*s", 8, nobody);
}

TEST_F(TraceFormat, EveryOtherConversionToo) {
    EXPECT_LINE("100% FF 07 0x2a    5 5   +5", "100%% %X %02d %#x %4d %-3d %+d", 255U, 7, 42U, 5, 5, 5);
    EXPECT_LINE("3.300000 ab c 12345678901 9", "%f %.*s %c %lld %hhu", 3.3, 2, "abc", 'c', 12345678901LL,
                static_cast<unsigned char>(9));
    EXPECT_LINE("1 2 3 4.5 end", "%d %s %x %.1f %s", 1, "2", 3U, 4.5, "end");
}

TEST_F(TraceFormat, IsCutAt1023CharactersWhereverTheyEnd) {
    for (const std::size_t before : {1018U, 1019U, 1020U, 1021U, 1022U, 1023U}) {
        const std::string text(before, 'a');
        TRACE__info("", "", 1, "%s%d", text.c_str(), 12345);
        EXPECT_EQ(std::string(traceData.infoBuf), (text + "12345").substr(0, 1023)) << before;
        EXPECT_EQ(traceData.infoBufLen, std::min<std::size_t>(before + 5, 1023));
        TRACE__info("", "", 1, "%s%-*s2", text.c_str(), 4, "abc");
        EXPECT_EQ(std::string(traceData.infoBuf), (text + "abc 2").substr(0, 1023)) << before;
        TRACE__info("", "", 1, "%s%x12", text.c_str(), 0xABCU);
        EXPECT_EQ(std::string(traceData.infoBuf), (text + "abc12").substr(0, 1023)) << before;
    }
}

TEST_F(TraceFormat, LineGoesBehindWhatWaitsInTheStream) {
    (void)std::fputs("before ", traceData.fd);
    TRACE__info("", "", 1, "line %d", 1);
    EXPECT_EQ(log(), "before line 1\n");
    TRACE_DUMP("dump", "", 0);
    TRACE__info("", "", 1, "line %d", 2);
    EXPECT_EQ(log(), "before line 1\ndump\nline 2\n");
}

} // namespace
