/** The real switch's socket for whoever listens to what the adapter reports. */
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "msm_client.h"

namespace {

using msmtest::Bytes_t;
using msmtest::Client_t;
using msmtest::get32;
using msmtest::messageTo;
using msmtest::SwitchTest;

std::uint64_t microsNow() {
    return static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch() /
                                      std::chrono::microseconds(1));
}

class SwitchListenTest : public SwitchTest {
protected:
    /** Takes a report with its note; the note. */
    Bytes_t expectReport(const Client_t& listener, const Bytes_t& report, unsigned number) {
        const auto note = listener.receive();
        EXPECT_TRUE(note.has_value());
        EXPECT_EQ(note->size(), 64U);
        EXPECT_EQ((*note)[16], 16); // from the switch itself
        EXPECT_EQ(get32(*note, 40), number);
        EXPECT_EQ(listener.receive(), report);
        return *note;
    }

    /** Takes the word on whether there is an adapter, whose note has the number of the latest report. */
    static void expectPresence(const Client_t& listener, unsigned isThere, unsigned number) {
        const auto note = listener.receive();
        const auto presence = listener.receive();
        ASSERT_TRUE(note && presence);
        EXPECT_EQ(note->size(), 64U);
        EXPECT_EQ(get32(*note, 40), number);
        EXPECT_EQ(presence->size(), 64U);
        EXPECT_EQ((*presence)[16], 16); // from the switch itself
        EXPECT_EQ(get32(*presence, 44), isThere);
    }
};

TEST_F(SwitchListenTest, AnAdapterThatComesOrGoesIsTold) {
    start();
    const auto listener = connect("listen");
    expectPresence(*listener, 0, 0);
    auto adapter = connect("esadapter");
    expectPresence(*listener, 1, 0);
    ASSERT_TRUE(adapter->send(messageTo({27}, 33, 1)));
    (void)expectReport(*listener, messageTo({27}, 33, 1), 1);
    adapter.reset();
    expectPresence(*listener, 0, 1);
    const auto late = connect("listen");
    (void)expectReport(*late, messageTo({27}, 33, 1), 1);
    expectPresence(*late, 0, 1);
    (void)expectReport(*connect("listen"), messageTo({27}, 33, 1), 1); // and so is the next
    EXPECT_TRUE(listener->isSilent());
    EXPECT_EQ(connect("eventlog")->receiveHandle(), 1) << "a listener takes nothing from the receiver";
}

TEST_F(SwitchListenTest, AReportIsHeardUnchangedWithTheTimeOfItsArrival) {
    start();
    const auto adapter = connect("esadapter");
    const auto listener = connect("listen");
    expectPresence(*listener, 1, 0);
    const std::uint64_t before = microsNow();
    ASSERT_TRUE(adapter->send(messageTo({27}, 33, 7, 300)));
    const Bytes_t note = expectReport(*listener, messageTo({27}, 33, 7, 300), 1);
    const std::uint64_t arrived = std::uint64_t{get32(note, 56)} << 32 | get32(note, 60);
    EXPECT_GE(arrived, before);
    EXPECT_LE(arrived, microsNow());
    ASSERT_TRUE(adapter->send(messageTo({18}, 33, 8)));
    EXPECT_EQ(get32(expectReport(*listener, messageTo({18}, 33, 8), 2), 44), get32(note, 44)); // the same run
}

TEST_F(SwitchListenTest, WhoComesLateIsToldWhatCameBefore) {
    start();
    const auto adapter = connect("esadapter");
    const auto [peer, id] = connectPeer();
    for (unsigned handle = 1; handle <= 300; ++handle) {
        ASSERT_TRUE(adapter->send(messageTo({27, id}, 33, handle)));
        ASSERT_EQ(peer->receiveHandle(), handle);
    }
    const auto listener = connect("listen");
    for (unsigned handle = 45; handle <= 300; ++handle) { // the latest 256
        (void)expectReport(*listener, messageTo({27, id}, 33, handle), handle);
    }
    expectPresence(*listener, 1, 300);
    EXPECT_TRUE(listener->isSilent());
}

TEST_F(SwitchListenTest, OnlyReportsOfTheAdapterAreHeardAndAListenerSaysNothing) {
    start();
    const auto adapter = connect("esadapter");
    const auto listener = connect("listen");
    expectPresence(*listener, 1, 0);
    const auto [peer, id] = connectPeer();
    ASSERT_TRUE(peer->send(messageTo({27}, id, 1)));
    ASSERT_TRUE(adapter->send(messageTo({id}, 33, 2)));
    ASSERT_TRUE(listener->send(messageTo({33, id}, 16, 3)));
    EXPECT_EQ(peer->receiveHandle(), 2);
    settle(*peer, id);
    EXPECT_TRUE(listener->isSilent());
    EXPECT_TRUE(adapter->isSilent());
}

TEST_F(SwitchListenTest, ItIsThereForWhoeverMayAskAsWell) {
    std::filesystem::create_directory(path("ask"));
    start({"--ask-directory", path("ask")});
    const auto adapter = connect("esadapter");
    const auto listener = connect("ask/listen");
    expectPresence(*listener, 1, 0);
    ASSERT_TRUE(adapter->send(messageTo({18}, 33, 1)));
    (void)expectReport(*listener, messageTo({18}, 33, 1), 1);
}

} // namespace
