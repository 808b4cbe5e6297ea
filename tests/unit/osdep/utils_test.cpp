#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include "child_with_log.h"
#include "osdep.h"
#include "trace.h"
#include "version.h"
#include "wrapped.h"

namespace {

TEST(Lzero, ZeroesThatManyWords) {
    std::array<U32_t, 4> words{1, 2, 3, 4};
    MPU_lzero(words.data() + 1, 2);
    EXPECT_EQ(words, (std::array<U32_t, 4>{1, 0, 0, 4}));
    MPU_lzero(words.data(), 0);
    EXPECT_EQ(words[0], 1U);
}

class GetTz : public testing::Test {
protected:
    GetTz() { wrapped.linkIsSet = true; }
};

TEST_F(GetTz, ReturnsTheZoneBehindTheDirectory) {
    wrapped.link = "/usr/share/zoneinfo/Europe/Berlin";
    EXPECT_STREQ(get_tz(), "Europe/Berlin");
}

TEST_F(GetTz, ReturnsAnEmptyNameForTheDirectoryItself) {
    wrapped.link = "/usr/share/zoneinfo/";
    EXPECT_STREQ(get_tz(), "");
}

TEST_F(GetTz, ReturnsNoneForAShorterTarget) {
    wrapped.link = "/usr/share/zoneinfo";
    EXPECT_EQ(get_tz(), nullptr);
}

TEST_F(GetTz, ComparesTheLengthOfTheDirectoryOnly) {
    wrapped.link = "12345678901234567890UTC";
    EXPECT_STREQ(get_tz(), "UTC");
}

TEST_F(GetTz, ReturnsNamesOf32CharactersAndNoLongerOnes) {
    wrapped.link = "/usr/share/zoneinfo/" + std::string(32, 'x');
    EXPECT_EQ(get_tz(), std::string(32, 'x'));
    wrapped.link += 'x';
    EXPECT_EQ(get_tz(), nullptr);
}

TEST_F(GetTz, ReturnsNoneWithoutALink) {
    wrapped.link = "";
    EXPECT_EQ(get_tz(), nullptr);
}

TEST_F(GetTz, ReadsALinkOfAnyLength) {
    wrapped.link = std::string(5000, 'x');
    EXPECT_EQ(get_tz(), nullptr);
}

TEST(Breakpoint, WritesNothingInAProcessOfOneModule) {
    const char* const names[] = {"ESA"};
    const ChildResult_t child = runInChild([&] {
        TRACE__init(nullptr, nullptr, 1, names);
        (void)TRACE__setTraceLevel(0, 0xFFFF);
        MPU_breakpoint();
    });
    EXPECT_EQ(child.err, "");
    EXPECT_EQ(child.exitStatus, 99);
}

TEST(Breakpoint, WritesNothingBeforeTheTraceFacilityStarts) {
    EXPECT_EQ(runInChild([] { MPU_breakpoint(); }).err, "");
}

TEST(Breakpoint, WritesEntryAndExitLinesOfModule1WhenItsBit7IsSet) {
    const char* const names[] = {"DDLM", "CEE"};
    for (const auto& [level, text] :
         {std::pair<U16_t, const char*>{0x0080, "ENTERING into func: MPU_breakpoint: BREAKPOINT\n"
                                                "EXITING from func: MPU_breakpoint: BREAKPOINT\n"},
          {0xFF7F, ""}}) {
        const ChildResult_t child = runInChild([&, bits = level] {
            TRACE__init(nullptr, nullptr, 2, names);
            (void)TRACE__setTraceLevel(1, bits);
            MPU_breakpoint();
        });
        EXPECT_EQ(child.err, text) << level;
    }
}

TEST(VersionRecord, HoldsThisRelease) {
    EXPECT_EQ(Version.major, 1);
    EXPECT_EQ(Version.minor, 3);
    EXPECT_EQ(Version.maintenance, 0);
    EXPECT_EQ(Version.build, 24);
    EXPECT_STREQ(Version.string, "Version 1.3.0.24");
}

TEST(VersionRecord, HasItsFieldsInOrderAndSize) {
    EXPECT_EQ(offsetof(Version_Structure_t, major), 0U);
    EXPECT_EQ(offsetof(Version_Structure_t, minor), 2U);
    EXPECT_EQ(offsetof(Version_Structure_t, maintenance), 4U);
    EXPECT_EQ(offsetof(Version_Structure_t, build), 6U);
    EXPECT_EQ(offsetof(Version_Structure_t, string), 8U);
    EXPECT_EQ(offsetof(Version_Structure_t, ID), 40U);
    EXPECT_EQ(offsetof(Version_Structure_t, build_time), 104U);
    EXPECT_EQ(sizeof Version.build_time, 21U);
}

TEST(VersionRecord, NamesTheBuildingAccountAndTime) {
    EXPECT_STREQ(Version.ID, BUILD_ACCOUNT);
    EXPECT_GT(std::strlen(Version.ID), 0U);
    const std::string when = Version.build_time;
    ASSERT_EQ(when.size(), 20U);
    EXPECT_THAT(when.substr(0, 3),
                testing::AnyOf("Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"));
    EXPECT_THAT(when.substr(3),
                testing::MatchesRegex(" [ 123][0-9] [0-9][0-9][0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
}

TEST(VersionRecord, FullStringJoinsNumberAccountAndTime) {
    (void)std::strcpy(Version.ID, "builder");
    (void)std::strcpy(Version.build_time, "Oct  2 2006 13:51:16");
    EXPECT_STREQ(VersionFullString(), "1.3.0.24 | builder | Oct  2 2006 13:51:16");
}

TEST(VersionRecord, FullStringIsInTheSameBufferEachTime) {
    const CHAR_t* const first = VersionFullString();
    Version.build = 25;
    EXPECT_EQ(VersionFullString(), first);
    EXPECT_EQ(std::string(first).substr(0, 11), "1.3.0.25 | ");
}

TEST(VersionRecord, FullStringHoldsTheLongestAccount) {
    (void)std::snprintf(Version.ID, sizeof Version.ID, "%s", std::string(63, 'a').c_str());
    (void)std::strcpy(Version.build_time, "Oct  2 2006 13:51:16");
    EXPECT_EQ(VersionFullString(), "1.3.0.24 | " + std::string(63, 'a') + " | Oct  2 2006 13:51:16");
}

template <typename Wait>
double secondsOf(Wait wait) {
    const auto start = std::chrono::steady_clock::now();
    wait();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(Sleep, WaitsInSecondsAndMicroseconds) {
    const double seconds = secondsOf([] { MPU_sleep(1); });
    EXPECT_GE(seconds, 1.0);
    EXPECT_LT(seconds, 10.0);
    const double microseconds = secondsOf([] { MPU_usleep(30000); });
    EXPECT_GE(microseconds, 0.03);
    EXPECT_LT(microseconds, 10.0);
    EXPECT_GE(secondsOf([] { MPU_usleep(1020000); }), 1.02);
}

TEST(Sleep, IsNotCutShortByASignal) {
    static volatile std::sig_atomic_t alarms = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { alarms = alarms + 1; };
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
    EXPECT_GE(secondsOf([] {
                  ualarm(10000, 0);
                  MPU_usleep(100000);
              }),
              0.1);
    EXPECT_EQ(alarms, 1);
}

} // namespace
