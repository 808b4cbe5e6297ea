/** The real switch on real sockets: who gets what, in which order, and what it prints. */
#include <gtest/gtest.h>

#include "msm_client.h"

namespace {

using msmtest::Bytes_t;
using msmtest::messageTo;
using msmtest::SwitchTest;

TEST_F(SwitchTest, APeerIsGreetedWithItsId) {
    start();
    const auto client = connect("peer");
    Bytes_t expected(64, 0);
    expected[8] = 14;
    expected[9] = 1;
    expected[11] = 64;
    expected[16] = 16;
    expected[18] = 34;
    expected[27] = 0x04; // bit 34 - 32 of the second word
    EXPECT_EQ(client->receive(), expected);
    EXPECT_TRUE(client->isSilent());
    settle(*client, 34);
    EXPECT_EQ(process().out(), "ready: listening in " + directory() + "\n") << "all that it prints without --log";
    EXPECT_EQ(process().err(), "");
}

TEST_F(SwitchTest, EachSocketStandsForItsEndpoint) {
    start();
    const auto [peer, id] = connectPeer();
    const std::vector<std::pair<std::string, unsigned>> sockets = {
        {"esadapter", 33}, {"startup", 18}, {"eventlog", 27}, {"volmgr", 20}};
    for (const auto& [name, endpoint] : sockets) {
        const auto client = connect(name);
        const Bytes_t bytes = messageTo({endpoint}, id, endpoint, 100);
        ASSERT_TRUE(peer->send(bytes));
        EXPECT_EQ(client->receive(), bytes) << name;
        ASSERT_TRUE(client->send(messageTo({id}, static_cast<std::uint8_t>(endpoint), endpoint)));
        EXPECT_EQ(peer->receiveHandle(), endpoint) << name;
    }
}

TEST_F(SwitchTest, EachConnectionOfAnEndpointNamedInEitherBitmapGetsOneCopy) {
    start();
    const auto [peer, id] = connectPeer();
    const std::unique_ptr<msmtest::Client_t> receivers[] = {connect("volmgr"), connect("eventlog"),
                                                            connect("eventlog")};
    for (std::uint32_t handle = 1; handle < 3; ++handle) {
        Bytes_t bytes = messageTo({27}, id, handle);
        ASSERT_TRUE(peer->send(msmtest::name(msmtest::name(bytes, 27, 28), 20, 28)));
    }
    for (const auto& receiver : receivers) {
        expectHandles(*receiver, 1, 3);
    }
}

TEST_F(SwitchTest, WhatCameBeforeTheAdapterIsDeliveredToItInOrder) {
    start({"--rate", "0"});
    const auto [peer, id] = connectPeer();
    sendAll(*peer, {33}, id, 0, 256, 4064);
    settle(*peer, id);
    const auto adapter = connect("esadapter");
    expectHandles(*adapter, 0, 256);
    ASSERT_TRUE(peer->send(messageTo({33}, id, 1000)));
    EXPECT_EQ(adapter->receiveHandle(), 1000);
}

TEST_F(SwitchTest, WhatAnAdapterToldComesBeforeWhatItsSuccessorTells) {
    start();
    const auto [peer, id] = connectPeer();
    for (std::uint32_t life = 0; life < 2; ++life) {
        const auto adapter = connect("esadapter");
        for (std::uint32_t handle = 0; handle < 3; ++handle) {
            ASSERT_TRUE(adapter->send(messageTo({18}, 33, 3 * life + handle)));
        }
        settle(*peer, id);
        adapter->close();
    }
    const auto startup = connect("startup");
    expectHandles(*startup, 0, 6);
}

TEST_F(SwitchTest, AFullQueueDropsItsOldestMessagesAndSaysSo) {
    start({"--queue", "3"});
    const auto [peer, id] = connectPeer();
    sendAll(*peer, {27}, id, 1, 8);
    settle(*peer, id);
    const auto events = connect("eventlog");
    expectHandles(*events, 5, 8);
    EXPECT_TRUE(events->isSilent());
    EXPECT_EQ(process().out(), "ready: listening in " + directory() +
                                   "\nqueue of eventlog(27) full: oldest message dropped, 1 so far"
                                   "\nqueue of eventlog(27) full: oldest message dropped, 2 so far"
                                   "\nqueue of eventlog(27) full: oldest message dropped, 4 so far\n");
}

TEST_F(SwitchTest, NothingIsKeptForAPeerThatWentAwayNorForNobody) {
    start();
    const auto adapter = connect("esadapter");
    const auto [other, id] = connectPeer();
    connectPeer().first->close(); // 35
    settle(*other, 34);
    ASSERT_TRUE(adapter->send(messageTo({35, 34}, 33, 1)));
    EXPECT_EQ(other->receiveHandle(), 1);
    const auto [next, nextId] = connectPeer();
    ASSERT_EQ(nextId, 35);
    EXPECT_TRUE(next->isSilent());
    ASSERT_TRUE(other->send(msmtest::message(id, 1)));
    settle(*other, id);
    EXPECT_EQ(process().out(), "ready: listening in " + directory() + "\nmessage for nobody dropped, 1 so far\n");
}

TEST_F(SwitchTest, MessagesStayWholeAndInOrderHoweverTheyAreWritten) {
    start();
    const auto [peer, id] = connectPeer();
    const auto startup = connect("startup");
    std::vector<Bytes_t> sent{messageTo({18}, id, 0x01020304, 80)};
    Bytes_t stream = sent[0];
    for (std::uint32_t handle = 0; handle < 40; ++handle) {
        sent.push_back(messageTo({18}, id, handle, 64 + 99 * handle));
        stream.insert(stream.end(), sent.back().begin(), sent.back().end());
    }
    // The first one byte by byte.
    for (std::size_t begin = 0, end = 1; begin < stream.size(); begin = end, end += end < 80 ? 1 : 777) {
        end = std::min(end, stream.size());
        ASSERT_TRUE(peer->send(Bytes_t(stream.begin() + static_cast<std::ptrdiff_t>(begin),
                                       stream.begin() + static_cast<std::ptrdiff_t>(end))));
    }
    for (const Bytes_t& expected : sent) {
        ASSERT_EQ(startup->receive(), expected);
    }
}

TEST_F(SwitchTest, APeerThatDoesNotReadHoldsUpNobodyAndKeepsWholeMessagesInOrder) {
    constexpr std::uint32_t COUNT = 600; // 2.4 MB: more than the socket and the switch hold for one connection
    start();
    const auto slow = connect("startup");
    const auto quick = connect("eventlog");
    const auto [peer, id] = connectPeer();
    for (std::uint32_t handle = 0; handle < COUNT; ++handle) {
        ASSERT_TRUE(peer->send(messageTo({18, 27}, id, handle, 4064)));
        ASSERT_EQ(quick->receiveHandle(), handle);
    }
    EXPECT_TRUE(says("startup(18) reads too slowly: message dropped, 1 so far\n"));

    std::uint32_t kept = 0;
    for (std::int64_t handle = slow->receiveHandle(msmtest::MOMENT); handle >= 0;
         handle = slow->receiveHandle(msmtest::MOMENT)) {
        ASSERT_EQ(handle, kept);
        ++kept;
    }
    EXPECT_GE(kept, 258U); // 1 MiB of 4064 bytes
    EXPECT_LT(kept, COUNT);
    ASSERT_TRUE(peer->send(messageTo({18}, id, 7777)));
    EXPECT_EQ(slow->receiveHandle(), 7777);
}

TEST_F(SwitchTest, TheLogHasALineForEachMessageAndConnection) {
    start({"--log"});
    const auto adapter = connect("esadapter");
    (void)logUntil("esadapter(33) connected\n");
    const auto startup = connect("startup");
    Bytes_t led = messageTo({18}, 33, 0);
    msmtest::put32(led, 12, 0x0C00000E);
    msmtest::put32(led, 44, 2);
    msmtest::put32(led, 48, 2);
    ASSERT_TRUE(adapter->send(led));
    EXPECT_EQ(startup->receive(), led);
    startup->close();
    (void)logUntil("startup(18) disconnected\n");
    const auto [peer, id] = connectPeer();
    ASSERT_TRUE(peer->send(messageTo({18}, 20, 0)));
    ASSERT_TRUE(peer->send(messageTo({18}, 34, 0)));
    ASSERT_TRUE(peer->send(Bytes_t(10, 0)));
    peer->close();
    EXPECT_EQ(logUntil("bytes lost"),
              (std::vector<std::string>{
                  "ready: listening in " + directory(), "esadapter(33) connected", "startup(18) connected",
                  "esadapter(33) -> startup(18): 64 bytes, startup/change-led-color: composite fault LED on",
                  "startup(18) disconnected", "peer(34) connected",
                  "peer(34) sends in the name of volmgr(20): message refused: 64 bytes, default/type 0",
                  "peer(34) -> startup(18) queued: 64 bytes, default/type 0",
                  "peer(34) disconnected inside a message, 10 bytes lost"}));
}

} // namespace
