/** The history on disk: what it keeps, for how long, and what becomes of one that is no good. */
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "folder.h"
#include "recorder.h"
#include "series.h"
#include "tool_error.h"

namespace {

constexpr Millis_t MINUTE = 60000;
constexpr Millis_t DAY = Millis_t{1440} * MINUTE;
constexpr Millis_t BEGIN = Millis_t{1795228200} * 1000; // a multiple of five minutes

/** One slot, one supply, one fan and one sensor; and what they look like at `celsius`. */
const std::vector<U8_t> CONFIGURATION = [] {
    std::vector<U8_t> page{1, 0, 0, 60, 0, 0, 0, 0, 0x20, 0, 4, 36};
    page.resize(48, 0);
    for (const U8_t type : std::array<U8_t, 4>{1, 2, 3, 4}) {
        page.insert(page.end(), {type, 1, 0, 0});
    }
    return page;
}();

std::vector<U8_t> statusAt(int celsius) {
    std::vector<U8_t> page{2, 0, 0, 36, 0, 0, 0, 0};
    page.resize(40, 0);
    page[12] = 1;    // slot
    page[20] = 1;    // supply
    page[29] = 0xC0; // fan: 895 tens
    page[30] = 0x7F;
    page[31] = 0xE0;
    page[38] = static_cast<U8_t>(celsius + 20);
    return page;
}

class StoreTest : public testing::Test {
protected:
    std::string path() const { return folder_.path("history.db"); }
    std::unique_ptr<Store_t> open(std::int64_t bytes = 64 << 20) const {
        return std::make_unique<Store_t>(path(), bytes, 1);
    }
    static Entry_t entry(Millis_t time, const std::string& name, std::vector<std::string> elements = {}) {
        return {0, time, time, 1, name, std::move(elements), "{}"};
    }
    std::ptrdiff_t asideCount() const {
        return std::ranges::count_if(std::filesystem::directory_iterator(folder_.path()), [](const auto& file) {
            const std::string name = file.path().filename();
            return name.find(".aside-") != std::string::npos && !name.ends_with("-wal");
        });
    }

    const testsupport::Folder_t folder_;
};

TEST_F(StoreTest, FiveMinutesBecomeLeastMeanAndMost) {
    const auto store = open();
    for (const auto& [minute, celsius] : {std::pair{0, 30}, {1, 40}, {4, 50}, {5, 70}}) {
        store->addPages(BEGIN + minute * MINUTE, CONFIGURATION, statusAt(celsius));
    }
    store->tidy(BEGIN + 6 * MINUTE);
    const std::vector<Mean_t> means = store->means("temp0", 0, BEGIN + DAY);
    ASSERT_EQ(means.size(), 1U); // the second five minutes are not over
    EXPECT_EQ(means[0].time, BEGIN);
    EXPECT_EQ((std::vector<double>{means[0].least, means[0].mean, means[0].most}), (std::vector<double>{30, 40, 50}));
    store->tidy(BEGIN + 10 * MINUTE);
    EXPECT_EQ(store->means("temp0", 0, BEGIN + DAY).size(), 2U);
    EXPECT_EQ(store->means("fan0", 0, BEGIN + DAY).front().mean, 8950);
    EXPECT_EQ(store->means("fan0.load", 0, BEGIN + DAY).front().mean, 7);
    EXPECT_EQ(store->means("psu0", 0, BEGIN + DAY).front().mean, 1);
}

TEST_F(StoreTest, PagesAreKeptForAWeekAndMeansForAYear) {
    const auto store = open();
    store->addPages(BEGIN, CONFIGURATION, statusAt(30));
    const auto tidyAll = [&](Millis_t now) {
        for (int i = 0; i < 500; ++i) { // each call takes a day's means at most
            store->tidy(now);
        }
    };
    tidyAll(BEGIN + 7 * DAY);
    EXPECT_EQ(store->snapshot(BEGIN + 7 * DAY)->time, BEGIN);
    tidyAll(BEGIN + 7 * DAY + 1);
    EXPECT_FALSE(store->snapshot(BEGIN + 7 * DAY));
    EXPECT_EQ(store->means("temp0", 0, BEGIN + DAY).size(), 1U);
    tidyAll(BEGIN + 365 * DAY);
    EXPECT_EQ(store->means("temp0", 0, BEGIN + DAY).size(), 1U);
    tidyAll(BEGIN + 365 * DAY + 1);
    EXPECT_TRUE(store->means("temp0", 0, BEGIN + DAY).empty());
}

TEST_F(StoreTest, AHundredThousandEntriesAreKept) {
    const auto store = open();
    const std::string rows = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100003) ";
    store->database().run(rows + "INSERT INTO history SELECT i, i, i, 1, 'x', '{}' FROM n");
    store->database().run(rows + "INSERT INTO history_elements SELECT 'fan0', i FROM n");
    store->tidy(BEGIN + DAY);
    EXPECT_EQ(store->database().integer("SELECT count(*) FROM history"), 100000);
    EXPECT_EQ(store->database().integer("SELECT count(*) FROM history_elements"), 100000);
    EXPECT_EQ(store->entries({.limit = 1, .oldest = true}).front().sequence, 4);
}

TEST_F(StoreTest, EntriesAreFoundByTimeElementAndName) {
    const auto store = open();
    (void)store->add(entry(BEGIN, "a", {"fan0"}));
    (void)store->add(entry(BEGIN + 10, "b", {"fan0", "fan1"}));
    (void)store->add(entry(BEGIN + 20, "a"));
    store->repeat(1, BEGIN + 15);
    const auto found = [&](const EntryQuery_t& query) {
        std::string sequences;
        for (const Entry_t& one : store->entries(query)) {
            sequences += std::to_string(one.sequence) + "x" + std::to_string(one.count) + " ";
        }
        return sequences;
    };
    EXPECT_EQ(found({}), "1x2 2x1 3x1 ");
    EXPECT_EQ(found({.since = BEGIN + 12}), "1x2 3x1 "); // the first one lasted
    EXPECT_EQ(found({.until = BEGIN + 10}), "1x2 2x1 ");
    EXPECT_EQ(found({.element = "fan1"}), "2x1 ");
    EXPECT_EQ(found({.name = "a"}), "1x2 3x1 ");
    EXPECT_EQ(found({.after = 1, .before = 3}), "2x1 ");
    EXPECT_EQ(found({.limit = 1}), "3x1 ");
    EXPECT_EQ(found({.limit = 1, .oldest = true}), "1x2 ");
}

TEST_F(StoreTest, AFullHistoryIsSetAsideAndANewOneGoesOn) {
    MonitorOptions_t options;
    options.database = path();
    options.maxMegabytes = 1;
    Hub_t hub;
    Recorder_t recorder(options, hub);
    recorder.begin();
    const std::int64_t first = recorder.store()->lastSequence();
    for (int i = 0; i < 12; ++i) {
        ActionResult_t result{BEGIN + i, {}, {}, {}};
        result.action.who.assign(50000, 'x'); // in two places of the document
        recorder.take(Observation_t(result));
    }
    EXPECT_EQ(asideCount(), 1);
    EXPECT_TRUE(recorder.trouble().empty());
    const std::vector<Entry_t> actions = recorder.store()->entries({.name = "action"});
    EXPECT_EQ(actions.back().time, BEGIN + 11) << "the last one is not lost";
    EXPECT_GT(actions.front().sequence, first) << "numbers never come again";
    EXPECT_FALSE(recorder.store()->entries({.name = "history-set-aside"}).empty());
}

TEST_F(StoreTest, AFolderThatIsNotThereIsOneLine) {
    MonitorOptions_t options;
    options.database = folder_.path("none/history.db");
    Hub_t hub;
    try {
        const Recorder_t recorder(options, hub);
        FAIL();
    } catch (const ToolError_t& error) {
        EXPECT_EQ(std::string(error.what()),
                  "the history in " + options.database + " cannot be used: unable to open database file");
    }
    EXPECT_EQ(asideCount(), 0);
}

TEST(Moments, AreAgesTimesAndSeconds) {
    constexpr Millis_t MOMENT = 1795228391000; // 2026-11-21T02:33:11Z
    EXPECT_EQ(millisText(MOMENT + 7), "2026-11-21T02:33:11.007Z");
    EXPECT_EQ(parseMoment("2026-11-21T02:33:11Z", 0), MOMENT);
    EXPECT_EQ(parseMoment("2026-11-21T02:33:11.500Z", 0), MOMENT + 500);
    EXPECT_EQ(parseMoment("1795228391.5", 0), MOMENT + 500);
    EXPECT_EQ(parseMoment("90s", MOMENT), MOMENT - 90000);
    EXPECT_EQ(parseMoment("1.5h", MOMENT), MOMENT - 5400000);
    EXPECT_EQ(parseMoment("7d", MOMENT), MOMENT - 7 * DAY);
    EXPECT_EQ(parseMoment("1y", MOMENT), MOMENT - 365 * DAY);
    for (const char* text :
         {"", "h", "-1h", "2w", "yesterday", "2026-11-21", "2026-13-21T02:33:11Z", "2026-11-21T02:33:11",
          "2026-11-21T02:33:11+01:00", "2026-11-21T02:33:11.xZ", "2026-11-21T02:33:119Z", "1969-12-31T23:59:59Z",
          "1e400", "nan", "99999999999999999999", "60y"}) {
        EXPECT_EQ(parseMoment(text, MOMENT), std::nullopt) << text;
    }
}

TEST(Series, AreKnownByTheirNames) {
    EXPECT_EQ(std::string(seriesNamed("fan12.load")->quantity), "load");
    EXPECT_EQ(seriesNamed("fan12.load")->element, "fan12");
    for (const char* name : {"", "temp", "slot03", "temp0.load", "fan0.", "fan1234", "0", "tempx"}) {
        EXPECT_FALSE(seriesNamed(name)) << name;
    }
}

} // namespace
