/** The adapter and the model of it live the same lives: random ones from fixed seeds, and those that once differed. */
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "comparison.h"
#include "generator.h"
#include "real_adapter.h"
#include "shrinker.h"

namespace model {
namespace {

/** Lives of one test; ESA_LIVES in the environment asks for more or fewer. */
unsigned livesOfATest() {
    const char* asked = std::getenv("ESA_LIVES");
    const int lives = asked != nullptr ? std::atoi(asked) : ESA_LIVES_OF_A_TEST;
    EXPECT_GT(lives, 0) << "ESA_LIVES is a number from 1 on";
    return static_cast<unsigned>(std::max(lives, 0));
}

/** How the life differs on the two sides, shrunk, as a reader and lifeFromText() understand it; empty when it does not.
 */
std::string shortestDifference(const Life_t& life) {
    if (!compare(life, liveModel, liveReal)) {
        return "";
    }
    const Life_t small = shrink(life, [](const Life_t& one) { return compare(one, liveModel, liveReal).has_value(); });
    return "the shortest life that differs:\n" + toText(small) + compare(small, liveModel, liveReal).value_or("");
}

std::vector<std::filesystem::path> cases() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(ESA_CASES)) {
        files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

} // namespace

/** Twice the chassis type, and one more with tracing. */
class RandomLives : public testing::TestWithParam<int> {};

TEST_P(RandomLives, AreWhatTheModelForetells) {
    const Generator_t generator(liveReal);
    const unsigned lives = livesOfATest();
    for (unsigned seed = 1; seed <= lives; ++seed) {
        const Life_t life = generator.life(seed, static_cast<std::uint8_t>(GetParam() / 2), GetParam() % 2 == 1);
        ASSERT_EQ(shortestDifference(life), "") << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Chassis, RandomLives, testing::Range(0, 16), [](const auto& test) {
    return "Type" + std::to_string(test.param / 2) + (test.param % 2 == 1 ? "Tracing" : "Silent");
});

class EventfulLife : public testing::TestWithParam<int> {
protected:
    /** The life with `failure` waiting in it from the start. */
    Life_t with(const Step_t& failure) const {
        Life_t life = eventfulLife(static_cast<std::uint8_t>(GetParam()));
        life.flags = TRACING;
        life.steps.resize(6); // a poll, a page, a poll, a control page, a page, a poll
        life.steps.insert(life.steps.begin(), failure);
        return life;
    }

    static std::size_t count(const std::vector<Entry_t>& stream, Entry_t::Kind_e kind, const char* start) {
        return static_cast<std::size_t>(std::ranges::count_if(
            stream, [=](const Entry_t& entry) { return entry.kind == kind && entry.text.starts_with(start); }));
    }
};

TEST_P(EventfulLife, IsForetoldWhicheverTransferFails) {
    const std::size_t transfers = count(streamOf(with(pass(0)), liveReal), Entry_t::TRANSFER, "");
    ASSERT_EQ(transfers > 0, GetParam() > 1) << "type 1 has no enclosure, all others poll theirs";
    for (std::size_t n = 0; n < transfers; n += ESA_STRIDE) {
        const Life_t life = with(fail(Call_e::TRANSFER, static_cast<unsigned>(n), result(-1)));
        ASSERT_EQ(shortestDifference(life), "") << "transfer " << n;
    }
}

TEST_P(EventfulLife, IsForetoldWhicheverSystemCallFails) {
    const std::pair<Call_e, const char*> calls[] = {{Call_e::SOCKET, "socket"}, {Call_e::CONNECT, "connect"},
                                                    {Call_e::OPEN, "open"},     {Call_e::SELECT, "select"},
                                                    {Call_e::RECEIVE, "recv"},  {Call_e::SEND, "send"}};
    const Outcome_t outcomes[] = {result(-1), result(0), asked(-1), asked(256)};
    const std::vector<Entry_t> usual = streamOf(with(pass(0)), liveReal);
    for (const auto& [call, name] : calls) {
        // All that comes later is like one of these.
        const std::size_t most = std::min<std::size_t>(count(usual, Entry_t::SYSTEM, name), ESA_STRIDE > 1 ? 4 : 8);
        ASSERT_GT(most, 0U) << name;
        for (std::size_t n = 0; n < most; ++n) {
            for (std::size_t kind = 0; kind < std::size(outcomes); ++kind) {
                if (ESA_STRIDE > 1 && kind != n % std::size(outcomes)) {
                    continue; // there is no time for all
                }
                const Life_t life = with(fail(call, static_cast<unsigned>(n), outcomes[kind]));
                ASSERT_EQ(shortestDifference(life), "") << name << " " << n;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Chassis, EventfulLife, testing::Range(1, 7),
                         [](const auto& test) { return "Type" + std::to_string(test.param); });

TEST(Cases, AreWhatTheModelForetells) {
    ASSERT_FALSE(cases().empty());
    for (const std::filesystem::path& file : cases()) {
        SCOPED_TRACE(file.filename());
        std::string error;
        const std::optional<Life_t> life = lifeFromFile(file, error);
        ASSERT_TRUE(life.has_value()) << error;
        EXPECT_EQ(compare(*life, liveModel, liveReal).value_or(""), "");
    }
}

} // namespace model
