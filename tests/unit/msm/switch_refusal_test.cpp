/** The real switch on what goes wrong: nonsense, second adapters, other switches, bad arguments; and its end. */
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "msm_client.h"

namespace {

using msmtest::Bytes_t;
using msmtest::messageTo;
using msmtest::SwitchTest;
using testsupport::programCommand;
using testsupport::run;
using testsupport::RunResult_t;

constexpr const char* SOCKETS[] = {"esadapter", "startup", "eventlog", "volmgr", "peer"};

Bytes_t announcing(unsigned length) {
    Bytes_t bytes = messageTo({18}, 34, 1);
    bytes[10] = static_cast<std::uint8_t>(length >> 8);
    bytes[11] = static_cast<std::uint8_t>(length);
    return bytes;
}

TEST_F(SwitchTest, NonsenseClosesItsSenderAndNobodyElse) {
    start();
    std::uint8_t id = 0;
    const auto startup = connect("startup");
    const auto good = connectPeer(id);
    for (const unsigned length : {0U, 1U, 11U, 63U, 4065U, 65535U}) {
        const auto bad = connectPeer(id);
        ASSERT_EQ(id, 35);
        ASSERT_TRUE(bad->send(messageTo({18}, 35, length)));
        ASSERT_TRUE(bad->send(announcing(length)));
        EXPECT_EQ(startup->receiveHandle(), length) << "the message before the nonsense";
        EXPECT_TRUE(bad->isClosed()) << length;
        EXPECT_TRUE(process().waitForOut("peer(35) closed: announces a message of " + std::to_string(length) +
                                             " bytes, 64 to 4064 are possible\n",
                                         msmtest::PATIENCE));
        ASSERT_TRUE(good->send(messageTo({18}, 34, 99)));
        EXPECT_EQ(startup->receiveHandle(), 99);
    }
}

TEST_F(SwitchTest, TheMessageTypeIsNotTheSwitchsBusiness) {
    start();
    std::uint8_t id = 0;
    const auto peer = connectPeer(id);
    Bytes_t bytes = messageTo({id}, id, 1);
    bytes[8] = 3;
    bytes[9] = 0;
    ASSERT_TRUE(peer->send(bytes));
    EXPECT_EQ(peer->receive(), bytes);
}

TEST_F(SwitchTest, NobodySendsInTheNameOfAnother) {
    start();
    std::uint8_t id = 0;
    const auto peer = connectPeer(id);
    const auto startup = connect("startup");
    const auto adapter = connect("esadapter");
    ASSERT_TRUE(peer->send(messageTo({33}, 20, 1)));
    ASSERT_TRUE(peer->send(messageTo({33}, 35, 2)));
    ASSERT_TRUE(peer->send(messageTo({33}, 33, 3)));
    ASSERT_TRUE(startup->send(messageTo({33}, 20, 4)));
    ASSERT_TRUE(peer->send(messageTo({33}, 34, 5)));
    EXPECT_EQ(adapter->receiveHandle(), 5);
    ASSERT_TRUE(startup->send(messageTo({33}, 18, 6)));
    EXPECT_EQ(adapter->receiveHandle(), 6);
    // Which of the two senders is read first is the switch's business.
    for (const char* line : {"startup(18) sends in the name of volmgr(20): message refused, 1 so far\n",
                             "peer(34) sends in the name of volmgr(20): message refused, 1 so far\n",
                             "peer(34) sends in the name of peer(35): message refused, 2 so far\n"}) {
        EXPECT_TRUE(process().waitForOut(line, msmtest::PATIENCE)) << line;
    }
}

TEST_F(SwitchTest, ASenderThatLeavesInsideAMessageHarmsNobody) {
    start();
    std::uint8_t id = 0;
    const auto startup = connect("startup");
    const auto bad = connectPeer(id);
    Bytes_t half = messageTo({18}, id, 1, 200);
    half.resize(150);
    ASSERT_TRUE(bad->send(half));
    bad->close();
    const auto good = connectPeer(id);
    ASSERT_TRUE(good->send(messageTo({18}, id, 2)));
    EXPECT_EQ(startup->receiveHandle(), 2);
}

TEST_F(SwitchTest, WhatAPeerSentBeforeItLeftIsSwitched) {
    start();
    std::uint8_t id = 0;
    const auto startup = connect("startup");
    const auto peer = connectPeer(id);
    for (std::uint32_t handle = 0; handle < 50; ++handle) {
        ASSERT_TRUE(peer->send(messageTo({18}, id, handle, 4064)));
    }
    peer->close();
    for (std::uint32_t handle = 0; handle < 50; ++handle) {
        ASSERT_EQ(startup->receiveHandle(), handle);
    }
}

TEST_F(SwitchTest, ASecondAdapterIsRefusedWhileTheFirstIsThere) {
    start();
    std::uint8_t id = 0;
    const auto first = connect("esadapter");
    const auto second = connect("esadapter");
    EXPECT_TRUE(second->isClosed());
    EXPECT_TRUE(process().waitForOut("esadapter(33) refused: another adapter is connected\n", msmtest::PATIENCE));
    const auto peer = connectPeer(id);
    ASSERT_TRUE(peer->send(messageTo({33}, id, 1)));
    EXPECT_EQ(first->receiveHandle(), 1);

    first->close();
    const auto third = connect("esadapter");
    ASSERT_TRUE(peer->send(messageTo({33}, id, 2)));
    EXPECT_EQ(third->receiveHandle(), 2);
}

TEST_F(SwitchTest, SigtermAndSigintRemoveTheSocketsAndExitWith0) {
    for (const int signal : {SIGTERM, SIGINT}) {
        start();
        const auto startup = connect("startup");
        for (const char* name : SOCKETS) {
            EXPECT_TRUE(std::filesystem::is_socket(path(name))) << name;
        }
        process().kill(signal);
        const auto ending = process().wait(msmtest::PATIENCE);
        ASSERT_TRUE(ending.has_value());
        EXPECT_EQ(ending->exitCode, 0);
        EXPECT_TRUE(startup->isClosed());
        EXPECT_TRUE(std::filesystem::is_empty(directory()));
    }
}

TEST_F(SwitchTest, SocketsThatADeadSwitchLeftAreReplaced) {
    start();
    process().kill(SIGKILL);
    ASSERT_TRUE(process().wait(msmtest::PATIENCE).has_value());
    ASSERT_TRUE(std::filesystem::is_socket(path("esadapter")));
    start();
    std::uint8_t id = 0;
    const auto peer = connectPeer(id);
    settle(*peer, id);
}

TEST_F(SwitchTest, ASecondSwitchInTheDirectoryIsRefusedAndTheFirstGoesOn) {
    start();
    const RunResult_t second = run(programCommand("msm", {"--directory", directory()}));
    EXPECT_EQ(second.ending.exitCode, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, "msm: a switch is running in " + directory() + " already\n");
    std::uint8_t id = 0;
    const auto peer = connectPeer(id);
    settle(*peer, id);
}

TEST_F(SwitchTest, AFileInTheWayIsLeftAndReported) {
    std::ofstream(path("eventlog")) << "notes";
    const RunResult_t result = run(programCommand("msm", {"--directory", directory()}));
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_EQ(result.err, "msm: " + path("eventlog") + " is in the way: it is not a socket\n");
    EXPECT_TRUE(std::filesystem::is_regular_file(path("eventlog")));
    EXPECT_FALSE(std::filesystem::exists(path("esadapter"))) << "what was made before is removed";
}

TEST_F(SwitchTest, AMissingDirectoryIsOneLine) {
    const RunResult_t result = run(programCommand("msm", {"--directory", path("none")}));
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "msm: cannot open directory " + path("none") + ": No such file or directory\n");
}

TEST_F(SwitchTest, ADirectoryNameTooLongForASocketIsOneLine) {
    const std::string name = path(std::string(100, 'd'));
    std::filesystem::create_directory(name);
    const RunResult_t result = run(programCommand("msm", {"--directory", name}));
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_EQ(result.err, "msm: socket name " + name + "/esadapter is longer than 107 characters\n");
}

TEST_F(SwitchTest, BadArgumentsAreOneLine) {
    RunResult_t result = run(programCommand("msm"));
    EXPECT_NE(result.ending.exitCode, 0);
    EXPECT_EQ(result.err, "msm: --directory is required; see msm --help\n");
    result = run(programCommand("msm", {"--bogus=1", "--directory", directory()}));
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_EQ(result.err, "msm: there is no option '--bogus': expected one of --directory, --log, --queue, "
                          "--keep-seconds, --rate, --per-user, --adapter-user, --ask-directory, --quiet, --help, "
                          "--version; see msm --help\n");
    for (const char* queue : {"0", "-1", "16385", "x"}) {
        result = run(programCommand("msm", {"--directory", directory(), "--queue", queue}));
        EXPECT_NE(result.ending.exitCode, 0) << queue;
        EXPECT_EQ(result.err.substr(0, 13), "msm: --queue:") << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    }
}

TEST_F(SwitchTest, QuietPrintsNeitherTheReadyLineNorNotices) {
    testsupport::Process_t quiet(programCommand("msm", {"--directory", directory(), "--quiet"}));
    for (int i = 0; i < 2000 && !msmtest::Client_t(path("peer")).isOpen(); ++i) {
        ::usleep(10000);
    }
    std::uint8_t id = 0;
    const auto peer = connectPeer(id);
    ASSERT_TRUE(peer->send(msmtest::message(id, 1)));
    settle(*peer, id);
    quiet.kill(SIGTERM);
    ASSERT_TRUE(quiet.wait(msmtest::PATIENCE).has_value());
    EXPECT_EQ(quiet.out(), "");
    EXPECT_EQ(quiet.err(), "");
}

} // namespace
