/** What operators leave in files: conditions that they live with, and their own names of the slots. */
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "acceptance.h"
#include "errors.h"
#include "folder.h"
#include "slots.h"

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

TEST(Acceptance, IsKeptInAFileThatAMonitorOfAnotherUserCanReadAndNonsenseThereIsPassedOver) {
    const testsupport::Folder_t files;
    const std::filesystem::path folder = files.path();
    const auto permissions = [&] { return std::filesystem::status(folder / "accepted").permissions(); };
    EXPECT_TRUE(readAcceptances(folder).empty());
    const mode_t before = umask(077);
    writeAcceptances(folder, accepted(hot(57)));
    (void)umask(before);
    EXPECT_EQ(permissions(), std::filesystem::perms{0644});
    std::filesystem::permissions(folder / "accepted", std::filesystem::perms{0600});
    writeAcceptances(folder, accepted(hot(57)));
    EXPECT_EQ(permissions(), std::filesystem::perms{0644});
    // Each lacks something that the line above has, or has a word for a number.
    std::ofstream(folder / "accepted", std::ios::app)
        << "\nnonsense\ntemp1\thot\ntemp1\thot\t99\ntemp1\thot\t99\t1\ntemp1\thot\t99\t1\t9999999999\n"
           "temp1\thot\tc\t1\t9999999999\tf\ntemp1\thot\t99x\t1\t9999999999\tf\n"
           "temp1\thot\t99\td\t9999999999\tf\ntemp1\thot\t99\t1\te\tf\n\thot\t99\t1\t9999999999\tf\n";
    const Acceptances_t read = readAcceptances(folder);
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(exitStatusOf(hot(57), read), 0);
    EXPECT_EQ(exitStatusOf(hot(58), read), 16);
    std::filesystem::remove_all(folder);
    EXPECT_THROW(writeAcceptances(folder, {}), ToolError_t);
}

TEST(Acceptance, NothingIsWrittenThroughALinkThatAMemberOfTheGroupHasPut) {
    const testsupport::Folder_t files;
    (void)files.write("victim", "mine");
    for (const std::string& foreseen : {std::string(".tmp"), std::string(".new"), "." + std::to_string(getpid())}) {
        std::filesystem::create_symlink("victim", files.path("accepted" + foreseen));
    }
    writeAcceptances(files.path(), accepted(hot(57)));
    EXPECT_EQ(readAcceptances(files.path()).size(), 1U);
    std::filesystem::remove(files / "accepted");
    std::filesystem::create_symlink("victim", files / "accepted");
    EXPECT_THROW(writeAcceptances(files.path(), accepted(hot(57))), ToolError_t);
    EXPECT_EQ(files.read("victim"), "mine");
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
    for (const char* wrong :
         {"", "tomorrow", "3", "d", "-3d", "3y", "2026-13-01", "2026-12-01x", "2026-11-20", "0h", "100001d"}) {
        EXPECT_THROW((void)parseUntil(wrong, NOW), ToolError_t) << wrong;
    }
}

using Slots_t = std::vector<unsigned>;

class Slots : public testing::Test {
protected:
    SlotLabels_t labels(const std::string& text) const { return {folder_.write("slots", text), true}; }

    /** What is wrong with a file of this text. */
    std::string complaint(const std::string& text) const {
        try {
            (void)labels(text);
        } catch (const ToolError_t& error) {
            return error.what();
        }
        return "";
    }

    const testsupport::Folder_t folder_;
};

TEST_F(Slots, NumbersListsAndRanges) {
    const SlotLabels_t none("/nonexistent", false);
    const std::pair<const char*, Slots_t> cases[] = {{"3", {3}},
                                                     {"slot03", {3}},
                                                     {"3,5-7", {3, 5, 6, 7}},
                                                     {"3,", {3}},
                                                     {"slot00-slot02", {0, 1, 2}},
                                                     {"5-7,6", {5, 6, 7}},
                                                     {"all", {0, 1, 2, 3, 4, 5, 6, 7}},
                                                     {"7-7", {7}}};
    for (const auto& [text, slots] : cases) {
        EXPECT_EQ(none.parse(text, 8), slots) << text;
    }
    for (const char* wrong : {"8", "7-8", "5-3", "a-b", "-3", "3-", "", ",", "A4"}) {
        EXPECT_THROW((void)none.parse(wrong, 8), ToolError_t) << wrong;
    }
    EXPECT_THROW((void)none.parse("all", 0), ToolError_t);
}

TEST_F(Slots, LabelsOfTheSite) {
    std::filesystem::create_symlink(folder_.write("disk", ""), folder_.path("by-path"));
    const std::string link = folder_.path("by-path");
    const SlotLabels_t site = labels("# bay, serial, link\n3 A4 WX-1234 " + link + "\nslot05 5 # said twice\n\n");
    EXPECT_EQ(site.parse("A4", 8), Slots_t{3});
    EXPECT_EQ(site.parse("WX-1234,0", 8), (Slots_t{3, 0})) << "a label with a dash is no range";
    EXPECT_EQ(site.parse(link, 8), Slots_t{3});
    EXPECT_EQ(site.parse(folder_.path("disk"), 8), Slots_t{3}) << "where the link leads";
    EXPECT_EQ(site.describe(3), "slot03 (A4 WX-1234 " + link + ")");
    EXPECT_EQ(site.describe(0), "slot00");
    EXPECT_EQ(site.all(), (std::vector<std::string>{"A4", "WX-1234", link, "5"}));
    EXPECT_THROW((void)site.parse("A4", 2), ToolError_t) << "a slot that this enclosure does not have";
}

TEST_F(Slots, WhatIsWrongWithTheFileIsToldByItsLine) {
    const std::string file = folder_.path("slots");
    EXPECT_EQ(complaint("3 A4\nbay A5\n"),
              file + ":2: 'bay' is no slot; expected a slot and its labels, such as \"3 A4 WX1234\"");
    EXPECT_EQ(complaint("3 A4\n5 A4\n"),
              file + ":2: 'A4' is the label of slot03 already; expected one slot for each label");
    EXPECT_THROW(SlotLabels_t("/nonexistent", true), ToolError_t);
}

} // namespace
