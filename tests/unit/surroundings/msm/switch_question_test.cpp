/** The real switch's second directory, from which one may only ask; and its further options. */
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "msm_client.h"

namespace {

using msmtest::Bytes_t;
using msmtest::Client_t;
using msmtest::messageTo;
using msmtest::PATIENCE;
using msmtest::SwitchTest;

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
    process().kill(SIGTERM);
    ASSERT_TRUE(process().wait(PATIENCE).has_value());
    EXPECT_TRUE(std::filesystem::is_empty(path("ask")));
    std::filesystem::remove(path("ask"));
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

TEST_F(SwitchQuestionTest, NothingButAQuestionToTheAdapterAlonePasses) {
    startWithQuestions();
    EXPECT_EQ(std::filesystem::status(path("ask/peer")).permissions(), std::filesystem::perms{0666});
    const auto startup = connect("startup");
    const auto changed = [](std::size_t at, std::uint8_t value) {
        Bytes_t bytes = question(54, 1);
        bytes[at] = value;
        return bytes;
    };
    Bytes_t toStartup = question(54, 5);
    Bytes_t toStartupElsewhere = question(54, 6);
    expectRefused(changed(15, 0x1D), "SEND DIAGNOSTIC");
    expectRefused(changed(12, 12), "Startup's protocol");
    expectRefused(changed(8, 7), "another type of message");
    expectRefused(changed(17, 0x40), "a response");
    expectRefused(msmtest::name(toStartup, 18), "to Startup as well");
    expectRefused(msmtest::name(toStartupElsewhere, 18, 28), "to Startup in the second bitmap");
    expectRefused(question(20, 7), "in the volume manager's name");
    expectRefused(messageTo({18}, 54, 8, 72), "to Startup alone");
    EXPECT_TRUE(startup->isSilent());
    EXPECT_TRUE(says("peer(54) may only ask: message refused, 1 so far\n"));
}

TEST_F(SwitchQuestionTest, TenMayAskAndPeersHaveTwentyIdsOfTheirOwn) {
    startWithQuestions();
    std::vector<std::unique_ptr<Client_t>> all;
    for (int i = 0; i < 9; ++i) {
        all.push_back(connect("ask/peer"));
        ASSERT_TRUE(all.back()->receive().has_value());
    }
    EXPECT_TRUE(connect("ask/peer")->isClosed());
    EXPECT_TRUE(says("peer for questions refused: ids 54 to 63 are all taken\n"));
    for (std::uint8_t expected = 34; expected <= 53; ++expected) {
        auto [peer, id] = connectPeer();
        ASSERT_EQ(id, expected);
        all.push_back(std::move(peer));
    }
    EXPECT_TRUE(connect("peer")->isClosed());
    EXPECT_TRUE(says("peer refused: ids 34 to 53 are all taken\n"));
}

TEST_F(SwitchQuestionTest, ALimitAUserIsKept) {
    start({"--per-user", "2"});
    const auto [first, id] = connectPeer();
    const auto second = connect("eventlog");
    settle(*first, id);
    EXPECT_TRUE(connect("peer")->isClosed());
    EXPECT_TRUE(says("2 connections, the limit for a user\n"));
    const auto adapter = connect("esadapter");
    ASSERT_TRUE(adapter->send(messageTo({33}, 33, 5)));
    EXPECT_EQ(adapter->receiveHandle(), 5);
}

} // namespace
