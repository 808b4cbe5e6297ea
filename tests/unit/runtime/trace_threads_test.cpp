/** Several threads on one log. */
#include <map>
#include <thread>

#include "trace_fixture.h"

namespace {

class TraceThreads : public TraceTest {
protected:
    TraceThreads() {
        init();
        (void)TRACE__setTraceLevel(0, 0x4010);
    }
};

TEST_F(TraceThreads, TwoAtOnceTearNoLine) {
    constexpr int rounds = 500;
    const auto work = [](char letter) {
        const std::string text(static_cast<std::size_t>(letter - 'a') * 300 + 50, letter);
        for (int i = 0; i < rounds; ++i) {
            TRACE__info("", std::string(1, letter).c_str(), 1, "%d %s", i, text.c_str());
        }
    };
    std::thread first(work, 'a');
    std::thread second(work, 'c');
    first.join();
    second.join();

    std::map<char, int> next{{'a', 0}, {'c', 0}};
    for (const std::string& line : lines(log())) {
        const char letter = line.at(0);
        const std::string text(letter == 'a' ? 50 : 650, letter);
        ASSERT_EQ(line, std::string(1, letter) + ":1:  " + std::to_string(next[letter]++) + " " + text);
    }
    EXPECT_EQ(next['a'], rounds);
    EXPECT_EQ(next['c'], rounds);
}

TEST_F(TraceThreads, DumpsAndLinesDoNotMix) {
    constexpr int rounds = 100;
    static const unsigned char buffer[1500] = {};
    std::thread dumper([] {
        for (int i = 0; i < rounds; ++i) {
            TRACE__dump("", "dump", 1, "start", buffer, sizeof buffer);
        }
    });
    for (int i = 0; i < rounds * 5; ++i) {
        TRACE__info("", "line", 1, "text");
    }
    dumper.join();

    int dumps = 0;
    int infos = 0;
    const std::vector<std::string> all = lines(log());
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i] == "line:1:  text") {
            ++infos;
            continue;
        }
        ASSERT_EQ(all[i], "dump:1: start");
        for (int row = 0; row < 47; ++row) { // 1500 bytes at 32 a row
            ASSERT_EQ(all.at(++i).substr(0, 2), "0x");
        }
        ++dumps;
    }
    EXPECT_EQ(dumps, rounds);
    EXPECT_EQ(infos, rounds * 5);
}

} // namespace
