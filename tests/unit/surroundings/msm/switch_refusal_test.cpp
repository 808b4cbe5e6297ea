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
using msmtest::PATIENCE;
using msmtest::SwitchTest;

constexpr const char* SOCKETS[] = {"esadapter", "startup", "eventlog", "volmgr", "peer"};

Bytes_t announcing(unsigned length) {
    Bytes_t bytes = messageTo({18}, 34, 1);
    bytes[10] = static_cast<std::uint8_t>(length >> 8);
    bytes[11] = static_cast<std::uint8_t>(length);
    return bytes;
}

TEST_F(SwitchTest, NonsenseClosesItsSenderAndNobodyElse) {
    start();
    const auto startup = connect("startup");
    const auto good = connectPeer().first;
    for (const unsigned length : {0U, 1U, 11U, 63U, 4065U, 65535U}) {
        const auto [bad, id] = connectPeer();
        ASSERT_EQ(id, 35);
        ASSERT_TRUE(bad->send(messageTo({18}, 35, length)));
        ASSERT_TRUE(bad->send(announcing(length)));
        EXPECT_EQ(startup->receiveHandle(), length) << "the message before the nonsense";
        EXPECT_TRUE(bad->isClosed()) << length;
        EXPECT_TRUE(says("peer(35) closed: announces a message of " + std::to_string(length) +
                         " bytes, 64 to 4064 are possible\n"));
        ASSERT_TRUE(good->send(messageTo({18}, 34, 99)));
        EXPECT_EQ(startup->receiveHandle(), 99);
    }
}

TEST_F(SwitchTest, TheMessageTypeIsNotTheSwitchsBusinessNorAHalfMessageAnybodys) {
    start();
    const auto startup = connect("startup");
    const auto [bad, badId] = connectPeer();
    Bytes_t half = messageTo({18}, badId, 1, 200);
    half.resize(150);
    ASSERT_TRUE(bad->send(half));
    bad->close();
    const auto [good, id] = connectPeer();
    Bytes_t bytes = messageTo({18}, id, 2);
    bytes[8] = 3;
    bytes[9] = 0;
    ASSERT_TRUE(good->send(bytes));
    EXPECT_EQ(startup->receive(), bytes);
}

TEST_F(SwitchTest, NobodySendsInTheNameOfAnother) {
    start();
    const auto [peer, id] = connectPeer();
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
        EXPECT_TRUE(says(line)) << line;
    }
}

TEST_F(SwitchTest, WhatAPeerSentBeforeItLeftIsSwitched) {
    start();
    const auto startup = connect("startup");
    const auto [peer, id] = connectPeer();
    sendAll(*peer, {18}, id, 0, 50, 4064);
    peer->close();
    expectHandles(*startup, 0, 50);
}

TEST_F(SwitchTest, ASecondAdapterIsRefusedWhileTheFirstIsThere) {
    start();
    const auto first = connect("esadapter");
    const auto second = connect("esadapter");
    EXPECT_TRUE(second->isClosed());
    EXPECT_TRUE(says("esadapter(33) refused: another adapter is connected\n"));
    const auto [peer, id] = connectPeer();
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
        const auto ending = process().wait(PATIENCE);
        ASSERT_TRUE(ending.has_value());
        EXPECT_EQ(ending->exitCode, 0);
        EXPECT_TRUE(startup->isClosed());
        EXPECT_TRUE(std::filesystem::is_empty(directory()));
    }
}

TEST_F(SwitchTest, SocketsThatADeadSwitchLeftAreReplacedAndASecondSwitchIsRefused) {
    start();
    process().kill(SIGKILL);
    ASSERT_TRUE(process().wait(PATIENCE).has_value());
    ASSERT_TRUE(std::filesystem::is_socket(path("esadapter")));
    start();
    EXPECT_EQ(refusal({"--directory", directory()}), "a switch is running in " + directory() + " already");
    const auto [peer, id] = connectPeer();
    settle(*peer, id);
}

TEST_F(SwitchTest, WhatIsInTheWayOrNotThereIsOneLine) {
    std::ofstream(path("eventlog")) << "notes";
    EXPECT_EQ(refusal({"--directory", directory()}), path("eventlog") + " is in the way: it is not a socket");
    EXPECT_TRUE(std::filesystem::is_regular_file(path("eventlog")));
    EXPECT_FALSE(std::filesystem::exists(path("esadapter"))) << "what was made before is removed";
    std::filesystem::remove(path("eventlog"));
    const std::string longName = path(std::string(100, 'd'));
    std::filesystem::create_directory(longName);
    EXPECT_EQ(refusal({"--directory", longName}),
              "socket name " + longName + "/esadapter is longer than 107 characters");
    std::filesystem::remove(longName);
    std::filesystem::remove(path(".msm.lock"));
    std::filesystem::create_symlink(path("elsewhere"), path(".msm.lock"));
    EXPECT_EQ(refusal({"--directory", directory()}),
              "cannot open the lock file " + path(".msm.lock") + ": Too many levels of symbolic links");
    EXPECT_FALSE(std::filesystem::exists(path("elsewhere")));
    std::filesystem::remove(path(".msm.lock"));
    const std::string missing = "cannot open directory " + path("none") + ": No such file or directory";
    EXPECT_EQ(refusal({"--directory", path("none")}), missing);
    EXPECT_EQ(refusal({"--directory", directory(), "--ask-directory", path("none")}), missing);
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

TEST_F(SwitchTest, BadArgumentsAreOneLine) {
    EXPECT_EQ(refusal({}), "--directory is required; see msm --help");
    EXPECT_EQ(refusal({"--bogus=1", "--directory", directory()}),
              "there is no option '--bogus': expected one of --directory, --log, --queue, --keep-seconds, --rate, "
              "--per-user, --adapter-user, --ask-directory, --quiet, --help, --version; see msm --help");
    const std::pair<std::string, std::string> values[] = {{"--queue", "0"},
                                                          {"--queue", "-1"},
                                                          {"--queue", "16385"},
                                                          {"--queue", "x"},
                                                          {"--rate", "-1"},
                                                          {"--rate", "100001"},
                                                          {"--per-user", "1025"},
                                                          {"--keep-seconds", "0"},
                                                          {"--keep-seconds", "86401"},
                                                          {"--adapter-user", "no such user"}};
    for (const auto& [option, value] : values) {
        EXPECT_TRUE(refusal({"--directory", directory(), option, value}).starts_with(option + ":")) << option << value;
    }
}

TEST_F(SwitchTest, QuietPrintsNeitherTheReadyLineNorNotices) {
    testsupport::Process_t quiet(testsupport::programCommand("msm", {"--directory", directory(), "--quiet"}));
    for (int i = 0; i < 2000 && !msmtest::Client_t(path("peer")).isOpen(); ++i) {
        ::usleep(10000);
    }
    const auto [peer, id] = connectPeer();
    ASSERT_TRUE(peer->send(msmtest::message(id, 1)));
    settle(*peer, id);
    quiet.kill(SIGTERM);
    ASSERT_TRUE(quiet.wait(PATIENCE).has_value());
    EXPECT_EQ(quiet.out() + quiet.err(), "");
}

} // namespace
