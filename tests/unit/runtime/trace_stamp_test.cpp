/** Time stamps. */
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "trace_fixture.h"

namespace {

class TraceStamp : public TraceTest {
protected:
    static std::string stamp() {
        char text[64];
        const U32_t length = TRACE_getTimestamp(text, sizeof text);
        EXPECT_EQ(std::string(text).size(), length);
        return text;
    }
};

TEST_F(TraceStamp, NeedsABuffer) {
    char text[4] = "abc";
    EXPECT_EQ(TRACE_getTimestamp(nullptr, 64), 0U);
    EXPECT_EQ(TRACE_getTimestamp(text, 0), 0U);
    EXPECT_STREQ(text, "abc");
}

TEST_F(TraceStamp, NamesEveryMonthAndTheDayRightAlignedAndNoYear) {
    const std::pair<std::int64_t, const char*> months[] = {
        {1136775845, "Jan  9 03:04:05"}, {1141095845, "Feb 28 03:04:05"}, {1141873445, "Mar  9 03:04:05"},
        {1146193445, "Apr 28 03:04:05"}, {1147143845, "May  9 03:04:05"}, {1151463845, "Jun 28 03:04:05"},
        {1152414245, "Jul  9 03:04:05"}, {1156734245, "Aug 28 03:04:05"}, {1157771045, "Sep  9 03:04:05"},
        {1162004645, "Oct 28 03:04:05"}, {1163041445, "Nov  9 03:04:05"}, {1167275045, "Dec 28 03:04:05"},
        {0, "Jan  1 00:00:00"},          {4102444799, "Dec 31 23:59:59"},
    };
    for (const auto& [second, text] : months) {
        now = second;
        EXPECT_EQ(stamp(), text);
    }
}

TEST_F(TraceStamp, IsCutToTheBuffer) {
    char text[10];
    EXPECT_EQ(TRACE_getTimestamp(text, sizeof text), 9U);
    EXPECT_STREQ(text, "Oct  2 13");
}

TEST_F(TraceStamp, OfATimeBeyondTheCalendarIsEmpty) {
    now = INT64_MAX;
    EXPECT_EQ(stamp(), "");
    init();
    (void)TRACE__setTraceLevel(0, 0x8010);
    TRACE_INFO("text");
    EXPECT_EQ(log(), "  text\n");
}

TEST_F(TraceStamp, OfALineIsThatOfItsSecond) {
    init();
    (void)TRACE__setTraceLevel(0, 0x8010);
    TRACE_INFO("a");
    TRACE_INFO("b");
    now += 1;
    TRACE_INFO("c");
    now -= 3600; // the clock is set back
    TRACE_INFO("d");
    EXPECT_EQ(log(), "Oct  2 13:51:16  a\nOct  2 13:51:16  b\nOct  2 13:51:17  c\nOct  2 12:51:17  d\n");
}

TEST_F(TraceStamp, IsLocalTimeAndFollowsTheChangeToSummerTime) {
    (void)setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    init();
    (void)TRACE__setTraceLevel(0, 0x8010);
    now = 1143334799; // 26 March 2006 00:59:59 UTC
    TRACE_INFO("winter");
    now += 1;
    TRACE_INFO("summer");
    EXPECT_EQ(log(), "Mar 26 01:59:59  winter\nMar 26 03:00:00  summer\n");
}

TEST_F(TraceStamp, ZoneIsLoadedAgainWhenTheSystemNamesAnotherAndOnlyThen) {
    std::string zone = "/usr/share/zoneinfo/Europe/Berlin";
    const calls::Answer_t named(calls::readlink, zoneLinkTo(zone));
    int loads = 0;
    const calls::Answer_t counted(calls::tzset, [&] { ++loads; });
    init();
    (void)TRACE__setTraceLevel(0, 0x8010);
    const int atStart = loads;
    EXPECT_GE(atStart, 1);
    const auto loadsWith = [&](const char* link) {
        zone = link;
        now += 1;
        TRACE_INFO("a");
        return loads;
    };
    EXPECT_EQ(loadsWith("/usr/share/zoneinfo/Europe/Berlin"), atStart);
    EXPECT_EQ(loadsWith(""), atStart) << "the system names none";
    EXPECT_EQ(loadsWith("/usr/share/zoneinfo/Europe/Berlin"), atStart);
    EXPECT_EQ(loadsWith("/usr/share/zoneinfo/Asia/Tokyo"), atStart + 1);
    EXPECT_EQ(loadsWith("/usr/share/zoneinfo/Asia/Tokyo"), atStart + 1);
}

} // namespace
