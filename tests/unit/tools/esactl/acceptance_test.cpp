/** Conditions that an operator lives with. */
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "acceptance.h"
#include "errors.h"
#include "folder.h"

namespace {

constexpr std::time_t NOW = 1795300000; // 2026-11-21T22:26:40Z

Problem_t hot(int celsius, Condition_e condition = CONDITION_E_WARNING) {
    return {"temp1", condition, "temp1 is hot", true, "hot", celsius};
}

Acceptances_t accepted(const Problem_t& problem, std::time_t until = NOW + 60) {
    return {{elementsOf(problem), problem.kind, problem.measure, problem.condition, until, problem.text}};
}

int exitStatusOf(const Problem_t& problem, const Acceptances_t& acceptances) {
    return withAcceptances(healthOf({problem}), acceptances, NOW).exitStatus;
}

TEST(Acceptance, CountsNoMoreButIsListed) {
    const Health_t health = withAcceptances(healthOf({hot(57)}), accepted(hot(57)), NOW);
    EXPECT_EQ(health.exitStatus, 0);
    EXPECT_EQ(health.overall, CONDITION_E_OK);
    EXPECT_TRUE(health.problems.empty());
    ASSERT_EQ(health.accepted.size(), 1U);
    EXPECT_EQ(health.accepted[0].problem.text, "temp1 is hot");
    EXPECT_EQ(health.accepted[0].until, "2026-11-21T22:27:40Z");
}

TEST(Acceptance, HoldsForAsMuchAsWasAcceptedAndNoLongerThanItsMoment) {
    const Problem_t lost{"psu0", CONDITION_E_FAULT, "", false, "lost", 0, {"psu1", "psu2"}};
    const Problem_t one{"psu0", CONDITION_E_FAULT, "", false, "lost", 0, {}};
    const struct {
        Problem_t is;
        Problem_t wasAccepted;
        int exitStatus;
        std::time_t until = NOW + 60;
    } cases[] = {{hot(56), hot(57), 0},
                 {hot(58), hot(57), 16},
                 {hot(57, CONDITION_E_FAULT), hot(57), 24},
                 {{"temp1", CONDITION_E_WARNING, "", false, "no-reading", 0}, hot(57), 16},
                 {{"temp2", CONDITION_E_WARNING, "", false, "hot", 57}, hot(57), 16},
                 {lost, lost, 0},
                 {one, lost, 0},
                 {lost, one, 8}, // more elements than were accepted
                 {hot(57), hot(57), 0, NOW + 1},
                 {hot(57), hot(57), 16, NOW}};
    for (const auto& c : cases) {
        EXPECT_EQ(exitStatusOf(c.is, accepted(c.wasAccepted, c.until)), c.exitStatus) << &c - cases;
    }
}

TEST(Acceptance, AMonitorOfAnotherUserCanReadThem) {
    const testsupport::Folder_t files;
    const std::filesystem::path folder = files.path();
    const mode_t before = umask(077);
    writeAcceptances(folder, accepted(hot(57)));
    (void)umask(before);
    EXPECT_EQ(std::filesystem::status(folder / "accepted").permissions(), std::filesystem::perms{0644});
    std::filesystem::permissions(folder / "accepted", std::filesystem::perms{0600});
    writeAcceptances(folder, accepted(hot(58)));
    EXPECT_EQ(std::filesystem::status(folder / "accepted").permissions(), std::filesystem::perms{0644});
}

TEST(Acceptance, IsKeptInAFileAndNonsenseThereIsPassedOver) {
    const testsupport::Folder_t files;
    const std::filesystem::path folder = files.path();
    EXPECT_TRUE(readAcceptances(folder).empty());
    writeAcceptances(folder, accepted(hot(57)));
    std::ofstream(folder / "accepted", std::ios::app) << "nonsense\na\tb\tc\td\te\tf\n";
    const Acceptances_t read = readAcceptances(folder);
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(exitStatusOf(hot(57), read), 0);
    EXPECT_EQ(exitStatusOf(hot(58), read), 16);
    std::filesystem::remove_all(folder);
    EXPECT_THROW(writeAcceptances(folder, {}), ToolError_t);
}

TEST(Acceptance, NothingIsWrittenThroughALinkThatAMemberOfTheGroupHasPut) {
    const testsupport::Folder_t files;
    const std::filesystem::path folder = files.path();
    std::ofstream(folder / "victim") << "mine";
    const auto victim = [&] { return files.read("victim"); };
    const std::vector<std::string> names{".tmp", ".new", "." + std::to_string(getpid())};
    for (const std::string& foreseen : names) {
        std::filesystem::create_symlink("victim", (folder / "accepted").string() + foreseen);
    }
    writeAcceptances(folder, accepted(hot(57)));
    EXPECT_EQ(victim(), "mine");
    EXPECT_EQ(readAcceptances(folder).size(), 1U);
    std::filesystem::remove(folder / "accepted");
    std::filesystem::create_symlink("victim", folder / "accepted");
    EXPECT_THROW(writeAcceptances(folder, accepted(hot(57))), ToolError_t);
    EXPECT_EQ(victim(), "mine");
}

TEST(Acceptance, AMomentIsADateOrATimeFromNow) {
    const std::pair<const char*, std::time_t> cases[] = {{"30m", NOW + 1800},
                                                         {"8h", NOW + 28800},
                                                         {"3d", NOW + 259200},
                                                         {"2w", NOW + 1209600},
                                                         {"2026-12-01", 1796083200},
                                                         {"2026-12-01T18:30", 1796149800},
                                                         {"2026-12-01T18:30:01Z", 1796149801}};
    for (const auto& [text, moment] : cases) {
        EXPECT_EQ(parseUntil(text, NOW), moment) << text;
    }
    for (const char* wrong : {"", "tomorrow", "3", "d", "-3d", "3y", "2026-13-01", "2026-12-01x", "2026-11-20", "0h"}) {
        EXPECT_THROW((void)parseUntil(wrong, NOW), ToolError_t) << wrong;
    }
}

} // namespace
