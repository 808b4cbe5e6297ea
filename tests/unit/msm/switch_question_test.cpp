/** The real switch's second directory, from which one may only ask; and its further options. */
#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

#include "msm_client.h"

namespace {

using msmtest::Bytes_t;
using msmtest::Client_t;
using msmtest::messageTo;
using msmtest::PATIENCE;
using msmtest::SwitchTest;
using testsupport::programCommand;
using testsupport::run;
using testsupport::RunResult_t;

/** RECEIVE DIAGNOSTIC RESULTS to the adapter. */
Bytes_t question(std::uint8_t from, std::uint32_t handle) {
    Bytes_t bytes = messageTo({33}, from, handle, 72);
    msmtest::put32(bytes, 12, 0x1200001C);
    bytes[64] = 0x1C;
    bytes[65] = 0x80;
    bytes[66] = 2;
    bytes[68] = 0x0F;
    bytes[69] = 0xE0;
    return bytes;
}

class SwitchQuestionTest : public SwitchTest {
protected:
    void startWithQuestions() {
        std::filesystem::create_directory(path("ask"));
        start({"--ask-directory", path("ask")});
        adapter_ = connect("esadapter");
        asker_ = connect("ask/peer");
        const auto greeting = asker_->receive();
        ASSERT_TRUE(greeting.has_value());
        ASSERT_EQ((*greeting)[18], 54);
    }

    /** Sends a message and then a question; the message has to get nowhere. */
    void expectRefused(const Bytes_t& bytes, const std::string& what) {
        ASSERT_TRUE(asker_->send(bytes)) << what;
        ASSERT_TRUE(asker_->send(question(54, ++handle_))) << what;
        EXPECT_EQ(adapter_->receiveHandle(), handle_) << what;
    }

    std::unique_ptr<Client_t> adapter_;
    std::unique_ptr<Client_t> asker_;
    std::uint32_t handle_ = 1000;
};

TEST_F(SwitchQuestionTest, AQuestionIsAnsweredAndNoByteChanges) {
    startWithQuestions();
    ASSERT_TRUE(asker_->send(question(54, 1)));
    EXPECT_EQ(adapter_->receive(), question(54, 1));
    const Bytes_t answer = messageTo({54}, 33, 1, 192);
    ASSERT_TRUE(adapter_->send(answer));
    EXPECT_EQ(asker_->receive(), answer);
}

TEST_F(SwitchQuestionTest, NothingButAQuestionToTheAdapterAlonePasses) {
    startWithQuestions();
    const auto startup = connect("startup");
    Bytes_t bytes = question(54, 1);
    bytes[15] = 0x1D;
    expectRefused(bytes, "SEND DIAGNOSTIC");
    bytes = question(54, 2);
    bytes[12] = 12;
    expectRefused(bytes, "Startup's protocol");
    bytes = question(54, 3);
    bytes[8] = 7;
    expectRefused(bytes, "another type of message");
    bytes = question(54, 4);
    bytes[17] = 0x40;
    expectRefused(bytes, "a response");
    bytes = question(54, 5);
    expectRefused(msmtest::name(bytes, 18), "to Startup as well");
    bytes = question(54, 6);
    expectRefused(msmtest::name(bytes, 18, 28), "to Startup in the second bitmap");
    expectRefused(question(20, 7), "in the volume manager's name");
    bytes = messageTo({18}, 54, 8, 72);
    expectRefused(bytes, "to Startup alone");
    EXPECT_TRUE(startup->isSilent());
    EXPECT_TRUE(process().waitForOut("peer(54) may only ask: message refused, 1 so far\n", PATIENCE));
}

TEST_F(SwitchQuestionTest, WhoeverCanEnterTheDirectoryCanAsk) {
    startWithQuestions();
    struct stat status {};
    ASSERT_EQ(::stat(path("ask/peer").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0666U);
}

TEST_F(SwitchQuestionTest, TenMayAskAndPeersHaveTwentyIdsOfTheirOwn) {
    startWithQuestions();
    std::vector<std::unique_ptr<Client_t>> all;
    for (int i = 0; i < 9; ++i) {
        all.push_back(connect("ask/peer"));
        ASSERT_TRUE(all.back()->receive().has_value());
    }
    EXPECT_TRUE(connect("ask/peer")->isClosed());
    EXPECT_TRUE(process().waitForOut("peer for questions refused: ids 54 to 63 are all taken\n", PATIENCE));
    for (std::uint8_t expected = 34; expected <= 53; ++expected) {
        std::uint8_t id = 0;
        all.push_back(connectPeer(id));
        ASSERT_EQ(id, expected);
    }
}

TEST_F(SwitchQuestionTest, BothDirectoriesAreEmptyAfterwards) {
    startWithQuestions();
    process().kill(SIGTERM);
    ASSERT_TRUE(process().wait(PATIENCE).has_value());
    EXPECT_TRUE(std::filesystem::is_empty(path("ask")));
    std::filesystem::remove(path("ask"));
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

TEST_F(SwitchQuestionTest, AMissingSecondDirectoryIsOneLine) {
    const RunResult_t result =
        run(programCommand("msm", {"--directory", directory(), "--ask-directory", path("none")}));
    EXPECT_EQ(result.ending.exitCode, 1);
    EXPECT_EQ(result.err, "msm: cannot open directory " + path("none") + ": No such file or directory\n");
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

TEST_F(SwitchQuestionTest, ALimitAUserIsKept) {
    start({"--per-user", "2"});
    std::uint8_t id = 0;
    const auto first = connectPeer(id);
    const auto second = connect("eventlog");
    settle(*first, id);
    EXPECT_TRUE(connect("peer")->isClosed());
    EXPECT_TRUE(process().waitForOut("2 connections, the limit for a user\n", PATIENCE));
    const auto adapter = connect("esadapter");
    ASSERT_TRUE(adapter->send(messageTo({33}, 33, 5)));
    EXPECT_EQ(adapter->receiveHandle(), 5);
}

TEST_F(SwitchQuestionTest, BadValuesOfTheOptionsAreOneLine) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"--keep-seconds", "0"}, {"--keep-seconds", "86401"}, {"--rate", "-1"},
        {"--rate", "100001"},    {"--per-user", "1025"},      {"--adapter-user", "no such user"},
    };
    for (const auto& [option, value] : cases) {
        const RunResult_t result = run(programCommand("msm", {"--directory", directory(), option, value}));
        EXPECT_NE(result.ending.exitCode, 0) << option << value;
        EXPECT_EQ(result.err.substr(0, 6 + option.size()), "msm: " + option + ":") << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    }
}

} // namespace
