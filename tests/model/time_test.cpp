/** The daemon against the clock, with the system's own select(). */
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "messages.h"
#include "real_adapter.h"
#include "real_calls.h"

namespace model {
namespace {

using Clock_t = std::chrono::steady_clock;
using Seconds_t = std::chrono::duration<double>;

/** What a busy machine may add to a wait. */
constexpr double LATE = 0.6;

} // namespace

TEST(Time, EveryPassWaitsAWholeSecondUnlessAMessageComes) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    Life_t life;
    life.chassis = 1;
    life.flags = 0;
    life.socketFd = ends[0];
    life.steps = {pass(2), put(receiveDiagnostic(1, 4000)), pass(3)};
    SimulatedWorld_t world(life);

    std::vector<double> waits;
    Clock_t::time_point start = Clock_t::now();
    std::thread sender;
    waitForReal([&](bool readable) {
        waits.push_back(Seconds_t(Clock_t::now() - start).count());
        char token = 0;
        if (readable) {
            EXPECT_EQ(read(ends[0], &token, 1), 1);
        }
        if (waits.size() == 2) { // in the middle of the third wait
            sender = std::thread([&ends] {
                std::this_thread::sleep_for(std::chrono::milliseconds(400));
                EXPECT_EQ(write(ends[1], "x", 1), 1);
            });
        }
        start = Clock_t::now();
    });
    start = Clock_t::now();
    liveReal(life, world);
    waitForReal(nullptr);
    sender.join();

    const double expected[] = {1.0, 1.0, 0.4, 1.0, 1.0};
    ASSERT_EQ(waits.size(), 5);
    for (std::size_t i = 0; i < waits.size(); ++i) {
        EXPECT_GE(waits[i], expected[i] - 0.01) << "wait " << i;
        EXPECT_LE(waits[i], expected[i] + LATE) << "wait " << i;
    }
    close(ends[0]);
    close(ends[1]);
}

} // namespace model
