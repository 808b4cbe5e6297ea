/** Several threads on one log. */
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

TEST_F(TraceThreads, DumpsAndLinesDoNotMix) {
    constexpr int ROUNDS = 100;
    static const unsigned char buffer[1500] = {};
    std::thread dumper([] {
        for (int i = 0; i < ROUNDS; ++i) {
            TRACE__dump("", "dump", 1, "start", buffer, sizeof buffer);
        }
    });
    const std::string text(650, 'c');
    for (int i = 0; i < ROUNDS * 5; ++i) {
        TRACE__info("", "line", 1, "%d %s", i, text.c_str());
    }
    dumper.join();

    int dumps = 0;
    int infos = 0;
    const std::vector<std::string> all = lines(log());
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].starts_with("line")) {
            ASSERT_EQ(all[i], "line:1:  " + std::to_string(infos++) + " " + text);
            continue;
        }
        ASSERT_EQ(all[i], "dump:1: start");
        for (int row = 0; row < 47; ++row) { // 1500 bytes at 32 a row
            ASSERT_EQ(all.at(++i).substr(0, 2), "0x");
        }
        ++dumps;
    }
    EXPECT_EQ(dumps, ROUNDS);
    EXPECT_EQ(infos, ROUNDS * 5);
}

} // namespace
