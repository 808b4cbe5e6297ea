/** Slots as people name them. */
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "errors.h"
#include "folder.h"
#include "slots.h"

namespace {

using testing::ElementsAre;
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
    const struct {
        const char* text;
        Slots_t slots;
    } cases[] = {{"3", {3}},
                 {"slot03", {3}},
                 {"3,5-7", {3, 5, 6, 7}},
                 {"3,", {3}},
                 {"slot00-slot02", {0, 1, 2}},
                 {"5-7,6", {5, 6, 7}},
                 {"all", {0, 1, 2, 3, 4, 5, 6, 7}},
                 {"7-7", {7}}};
    for (const auto& c : cases) {
        EXPECT_EQ(none.parse(c.text, 8), c.slots) << c.text;
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
    EXPECT_THAT(site.all(), ElementsAre("A4", "WX-1234", link, "5"));
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
