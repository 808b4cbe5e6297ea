#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <pthread.h>

#include "bytes.h"
#include "calls.h"
#include "child_with_log.h"
#include "osdep.h"
#include "trace.h"
#include "version.h"

namespace {

TEST(Lzero, ZeroesThatManyWords) {
    std::array<U32_t, 4> words{1, 2, 3, 4};
    MPU_lzero(words.data() + 1, 2);
    EXPECT_EQ(words, (std::array<U32_t, 4>{1, 0, 0, 4}));
    MPU_lzero(words.data(), 0);
    EXPECT_EQ(words[0], 1U);
}

TEST(GetTz, ReturnsWhatStandsBehindAsManyCharactersAsTheDirectoryHas) {
    const std::string directory = "/usr/share/zoneinfo/";
    const std::pair<std::string, const char*> links[] = {
        {directory + "Europe/Berlin", "Europe/Berlin"},
        {directory, ""},
        {"/usr/share/zoneinfo", nullptr},
        {"12345678901234567890UTC", "UTC"},
        {directory + "32345678901234567890123456789012", "32345678901234567890123456789012"},
        {directory + "323456789012345678901234567890123", nullptr},
        {"", nullptr}, // no link
        {std::string(5000, 'x'), nullptr},
    };
    for (const auto& [link, zone] : links) {
        const calls::Answer_t named(calls::readlink, zoneLinkTo(link));
        EXPECT_STREQ(get_tz(), zone) << link;
    }
}

TEST(Breakpoint, WritesNothingInAProcessOfOneModuleNorBeforeTheTraceFacilityStarts) {
    const char* const names[] = {"ESA"};
    const ChildResult_t child = runInChild([&] {
        MPU_breakpoint();
        TRACE__init(nullptr, nullptr, 1, names);
        (void)TRACE__setTraceLevel(0, 0xFFFF);
        traceData.modLevels[1] = 0xFFFF; // what lies behind the one level is none
        MPU_breakpoint();
    });
    EXPECT_EQ(child.err, "");
    EXPECT_EQ(child.exitStatus, 99);
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
    const std::string months = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec ";
    EXPECT_EQ(months.find(when.substr(0, 4)) % 4, 0U) << when;
    EXPECT_NE(std::string(" 123").find(when[4]), std::string::npos) << when;
    const std::string shape = testsupport::digitsAsZeros(when.substr(4));
    EXPECT_TRUE(shape == "00 0000 00:00:00" || shape == " 0 0000 00:00:00") << when;
}

TEST(VersionRecord, FullStringJoinsNumberAccountAndTimeInTheSameBufferEachTime) {
    const Version_Structure_t before = Version;
    (void)std::strcpy(Version.ID, "builder");
    (void)std::strcpy(Version.build_time, "Oct  2 2006 13:51:16");
    const CHAR_t* const first = VersionFullString();
    EXPECT_STREQ(first, "1.3.0.24 | builder | Oct  2 2006 13:51:16");
    (void)std::strcpy(Version.ID, std::string(63, 'a').c_str());
    Version.build = 25;
    EXPECT_EQ(VersionFullString(), first);
    EXPECT_EQ(first, "1.3.0.25 | " + std::string(63, 'a') + " | Oct  2 2006 13:51:16");
    Version = before;
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
    EXPECT_GE(secondsOf([] { MPU_usleep(1000000); }), 1.0);
    EXPECT_GE(secondsOf([] { MPU_usleep(1020000); }), 1.02);
    EXPECT_GE(secondsOf([] { MPU_usleep(999999); }), 0.999999);
}

TEST(Sleep, IsNotCutShortByASignal) {
    static volatile std::sig_atomic_t alarms;
    alarms = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { alarms = alarms + 1; };
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    EXPECT_GE(secondsOf([] {
                  ualarm(10000, 0);
                  MPU_usleep(100000);
              }),
              0.1);
    EXPECT_EQ(alarms, 1);
    EXPECT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
}

} // namespace
