/** The real switch and those who misuse it: everybody else is served as ever. */
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "child.h"
#include "msm_client.h"

namespace {

using msmtest::Bytes_t;
using msmtest::Client_t;
using msmtest::messageTo;
using msmtest::PATIENCE;
using msmtest::SwitchTest;
using testsupport::Milliseconds_t;
using testsupport::programCommand;

using Clock_t = std::chrono::steady_clock;

/** A process of its own that does something until the test is over; what it does is given the switch's directory. */
class Abuser_t : public testsupport::Child_t {
public:
    explicit Abuser_t(const std::function<void()>& deed)
        : Child_t([&deed] {
              deed();
              for (;;) {
                  ::pause();
              }
          }) {}
};

class SwitchAbuseTest : public SwitchTest {
protected:
    /** Another process takes `count` connections of each socket, and has them when this returns. */
    std::unique_ptr<Abuser_t> holdConnections(const std::vector<std::string>& names, int count) {
        int ready[2];
        EXPECT_EQ(::pipe2(ready, O_CLOEXEC), 0);
        auto abuser = std::make_unique<Abuser_t>([&] {
            for (const std::string& name : names) {
                for (int i = 0; i < count; ++i) {
                    (void)new Client_t(path(name));
                }
            }
            (void)!::write(ready[1], "x", 1);
        });
        char byte = 0;
        EXPECT_EQ(::read(ready[0], &byte, 1), 1);
        (void)::close(ready[0]);
        (void)::close(ready[1]);
        return abuser;
    }

    /** A round trip of a peer: everybody who is connected before is known to the switch when it returns. */
    void exchange() {
        const auto [peer, id] = connectPeer();
        settle(*peer, id);
    }
};

TEST_F(SwitchAbuseTest, ARequestPassesTheFloodOfAnotherPeer) {
    start();
    const auto adapter = connect("esadapter");
    const auto [flooder, flooderId] = connectPeer();
    const auto [peer, id] = connectPeer();
    sendAll(*flooder, {33}, flooderId, 0, 60);
    settle(*flooder, flooderId);
    ASSERT_TRUE(peer->send(messageTo({33}, id, 7777)));
    settle(*peer, id);
    std::vector<std::int64_t> first(8);
    std::generate(first.begin(), first.end(), [&] { return adapter->receiveHandle(); });
    EXPECT_EQ(std::ranges::count(first, 7777), 1) << "no more than the kernel had for the adapter came before it";
}

TEST_F(SwitchAbuseTest, ASenderIsSlowedDownTowardsTheAdapterAndLosesNothing) {
    start({"--rate", "20"});
    const auto adapter = connect("esadapter");
    const auto [peer, id] = connectPeer();
    const auto begin = Clock_t::now();
    sendAll(*peer, {33}, id, 0, 95);
    expectHandles(*adapter, 0, 95);
    // 80 at once, then 20 a second.
    EXPECT_GE(Clock_t::now() - begin, Milliseconds_t(700));
}

TEST_F(SwitchAbuseTest, AnAdapterThatTakesNothingHoldsUpNobodysOtherMessages) {
    start();
    const auto adapter = connect("esadapter");
    const auto startup = connect("startup");
    const auto [peer, id] = connectPeer();
    for (std::uint32_t handle = 0; handle < 500; ++handle) {
        ASSERT_TRUE(peer->send(messageTo({33}, id, handle)));
        if (handle % 100 == 0) {
            ASSERT_TRUE(peer->send(messageTo({18}, id, handle)));
            ASSERT_EQ(startup->receiveHandle(), handle);
        }
    }
}

TEST_F(SwitchAbuseTest, NoEventIsLostInAFloodToAnEventManagerThatReadsSlowly) {
    start();
    const auto events = connect("eventlog");
    const auto adapter = connect("esadapter");
    const auto [flooder, id] = connectPeer();
    for (std::uint32_t handle = 0; handle < 1000; ++handle) {
        ASSERT_TRUE(flooder->send(messageTo({27}, id, handle, 4064)));
        if (handle % 100 == 99) {
            ASSERT_TRUE(adapter->send(messageTo({27}, 33, 0x10000 + handle, 300)));
        }
    }
    settle(*flooder, id);
    EXPECT_TRUE(says("eventlog(27) reads too slowly: message dropped, 1 so far\n"));
    std::vector<std::int64_t> kept;
    while (kept.size() < 10) {
        const std::int64_t handle = events->receiveHandle();
        ASSERT_GE(handle, 0);
        if (handle >= 0x10000) {
            kept.push_back(handle);
        }
    }
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(kept[i], static_cast<std::int64_t>(0x10000 + 100 * i + 99));
    }
}

TEST_F(SwitchAbuseTest, InAFullQueueTheConnectionWithTheMostGivesWayAndTheAdapterNever) {
    start({"--queue", "5"});
    const auto adapter = connect("esadapter");
    const auto [quiet, quietId] = connectPeer();
    const auto [flooder, id] = connectPeer();
    sendAll(*adapter, {27}, 33, 1, 4);
    sendAll(*quiet, {27}, quietId, 4, 5);
    sendAll(*flooder, {27}, id, 10, 20);
    settle(*flooder, id);
    const auto events = connect("eventlog");
    std::vector<std::int64_t> kept(5);
    std::ranges::generate(kept, [&] { return events->receiveHandle(); });
    std::ranges::sort(kept);
    EXPECT_EQ(kept, (std::vector<std::int64_t>{1, 2, 3, 4, 19}));
}

TEST_F(SwitchAbuseTest, WhoTakesAllPlacesLocksNobodyOut) {
    start();
    const auto abuser = holdConnections({"peer", "startup", "eventlog", "volmgr"}, 60);
    const auto adapter = connect("esadapter");
    const auto events = connect("eventlog");
    const auto [peer, id] = connectPeer();
    ASSERT_TRUE(peer->send(messageTo({33, 27}, id, 1)));
    EXPECT_EQ(adapter->receiveHandle(), 1);
    EXPECT_EQ(events->receiveHandle(), 1);
}

TEST_F(SwitchAbuseTest, AStormOfConnectionsIsNoHindrance) {
    start();
    const auto storm = [this](const std::string& name) {
        return [this, name] {
            for (;;) {
                const Client_t client(path(name));
            }
        };
    };
    const auto events = connect("eventlog");
    const auto adapter = connect("esadapter");
    const Abuser_t peers(storm("peer"));
    const Abuser_t adapters(storm("esadapter"));
    EXPECT_TRUE(says(" connects too often: closed, 1 so far\n"));
    for (std::uint32_t handle = 0; handle < 20; ++handle) {
        ASSERT_TRUE(adapter->send(messageTo({27}, 33, handle)));
        ASSERT_EQ(events->receiveHandle(), handle);
        exchange();
    }
}

TEST_F(SwitchAbuseTest, SigtermEndsTheSwitchInAFloodThatNeverEnds) {
    start();
    const auto flood = [this] {
        const Client_t client(path("peer"));
        const Bytes_t bytes = messageTo({client.receive()->at(18), 27}, 34, 1);
        while (client.send(bytes)) {
        }
    };
    const Abuser_t first(flood);
    EXPECT_TRUE(says("queue of eventlog(27) full: oldest message dropped, 1024 so far\n"));
    process().kill(SIGTERM);
    const auto ending = process().wait(PATIENCE);
    ASSERT_TRUE(ending.has_value());
    EXPECT_EQ(ending->exitCode, 0);
}

TEST_F(SwitchAbuseTest, ALogThatNobodyReadsStopsNeitherMessagesNorSigterm) {
    for (const bool isReadAtLast : {true, false}) {
        start({"--log"});
        const auto [peer, id] = connectPeer();
        std::vector<unsigned> recipients(50, id); // and others that are not there, for a long line
        std::iota(recipients.begin() + 1, recipients.end(), 60);
        for (std::uint32_t handle = 0; handle < 1200; ++handle) { // half a megabyte of lines
            ASSERT_TRUE(peer->send(messageTo(recipients, id, handle)));
            ASSERT_EQ(peer->receiveHandle(), handle);
        }
        if (isReadAtLast) {
            EXPECT_TRUE(says(" lines of the log lost: nobody read them in time\n"));
        }
        process().kill(SIGTERM);
        const auto deadline = Clock_t::now() + PATIENCE;
        while (process().running() && Clock_t::now() < deadline) { // looks only: nothing is read of the log
            ::usleep(10000);
        }
        EXPECT_FALSE(process().running());
    }
}

TEST_F(SwitchAbuseTest, TheAdapterGetsInWhenDescriptorsHaveRunOutAndTheSwitchDoesNotSpin) {
    std::vector<std::string> command = {"/bin/sh", "-c", "ulimit -n 32; exec \"$@\"", "sh"};
    for (const std::string& word : programCommand("msm", {"--directory", directory()})) {
        command.push_back(word);
    }
    testsupport::Process_t limited(command);
    ASSERT_TRUE(limited.waitForOut("ready", PATIENCE)) << limited.err();
    const auto abuser = holdConnections({"peer"}, 29);
    ASSERT_TRUE(limited.waitForOut("cannot take connections: Too many open files\n", PATIENCE));
    const auto processorTicks = [&limited] {
        std::ifstream file("/proc/" + std::to_string(limited.pid()) + "/stat");
        std::string word;
        long ticks = 0;
        for (int field = 1; field <= 15 && file >> word; ++field) {
            ticks += field >= 14 ? std::stol(word) : 0;
        }
        return ticks;
    };
    const long before = processorTicks();
    std::this_thread::sleep_for(Milliseconds_t(1000));
    EXPECT_LT(processorTicks() - before, ::sysconf(_SC_CLK_TCK) / 4);
    const auto adapter = connect("esadapter");
    ASSERT_TRUE(adapter->send(messageTo({33}, 33, 5)));
    EXPECT_EQ(adapter->receiveHandle(), 5);
}

TEST_F(SwitchAbuseTest, WhoLocksTheDirectoryDoesNotKeepTheSwitchFromStarting) {
    const int held = ::open(directory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    start();
    exchange();
    (void)::close(held);
    EXPECT_EQ(std::filesystem::status(path(".msm.lock")).permissions(), std::filesystem::perms{0600});
}

TEST_F(SwitchAbuseTest, AnotherUserIsNotTheAdapter) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can be two users";
    }
    start();
    ASSERT_EQ(::chmod(directory().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(path("esadapter").c_str(), 0777), 0);
    const Abuser_t other([this] {
        if (::setgid(65534) == 0 && ::setuid(65534) == 0) {
            (void)new Client_t(path("esadapter"));
        }
    });
    EXPECT_TRUE(says("esadapter(33) refused: user 65534 is not the adapter's\n"));
    const auto adapter = connect("esadapter");
    ASSERT_TRUE(adapter->send(messageTo({33}, 33, 5)));
    EXPECT_EQ(adapter->receiveHandle(), 5);
}

TEST_F(SwitchAbuseTest, AnOldRequestIsNotReplayedToTheAdapterAndOldEventsAreKept) {
    start({"--keep-seconds", "1"});
    const auto [peer, id] = connectPeer();
    ASSERT_TRUE(peer->send(messageTo({33, 27}, id, 1)));
    settle(*peer, id);
    std::this_thread::sleep_for(Milliseconds_t(1100));
    ASSERT_TRUE(peer->send(messageTo({33}, id, 2)));
    settle(*peer, id);
    const auto adapter = connect("esadapter");
    EXPECT_EQ(adapter->receiveHandle(), 2);
    EXPECT_TRUE(says("esadapter(33) came too late for 1 messages older than 1 s: dropped\n"));
    const auto events = connect("eventlog");
    EXPECT_EQ(events->receiveHandle(), 1);
}

} // namespace
