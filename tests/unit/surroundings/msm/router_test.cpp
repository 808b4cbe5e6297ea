#include "router.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "test_message.h"

namespace {

using msmtest::Bytes_t;
using msmtest::messageTo;

constexpr std::uint64_t bit(unsigned endpoint) {
    return std::uint64_t{1} << endpoint;
}

using namespace std::chrono_literals;

constexpr MsmClock_t::time_point START = MsmClock_t::time_point(1000s);

/** A message as it came from a connection, `seconds` after the start; its sender is its requestor. */
Parcel_t parcel(const Bytes_t& bytes, std::uint64_t connection = 0, int seconds = 0) {
    return {bytes, bytes.at(16), {connection, {0, 1}}, {START + std::chrono::seconds(seconds), {}}};
}

/** Routes with sender and time of no importance. */
const Routing_t& route(Router_t& router, const Bytes_t& bytes) {
    return router.route(parcel(bytes));
}

/** Handles of what was kept for the endpoint. */
std::vector<std::uint32_t> taken(Router_t& router, std::uint8_t endpoint, int seconds = 0) {
    std::vector<std::uint32_t> all;
    for (const LetterPtr_t& letter : router.takeQueue(endpoint, START + std::chrono::seconds(seconds))) {
        all.push_back(msmtest::get32(letter->bytes, 40));
    }
    return all;
}

/** Who gets a message, in order. */
std::vector<std::uint64_t> receivers(Router_t& router, const Bytes_t& bytes) {
    const auto& connections = route(router, bytes).connections;
    std::vector<std::uint64_t> all(connections.begin(), connections.end());
    std::ranges::sort(all);
    return all;
}

using Kept_t = std::vector<std::uint32_t>; /**< handles */
using Connections_t = std::vector<std::uint64_t>;

TEST(RecipientsTest, EndpointIsBitModulo32OfWordDividedBy32InEitherBitmap) {
    Bytes_t bytes = msmtest::message(34, 0);
    bytes[23] = 0x01; // 0
    bytes[20] = 0x80; // 31
    bytes[27] = 0x02; // 33
    bytes[33] = 0x04; // 50, in the second bitmap
    bytes[36] = 0xFF; // return code: no part of a bitmap
    bytes[19] = 0xFF; // pad: neither
    MMCH_t header;
    std::memcpy(static_cast<void*>(&header), bytes.data(), 64);
    EXPECT_EQ(recipientsOf(header), 0x0004000280000001U);
}

TEST(RouterTest, AMessageGoesOnceToEveryConnectionOfAnEndpointNamedInEitherBitmap) {
    Router_t router(4);
    router.attach(33, 5);
    router.attach(18, 6);
    router.attach(34, 7);
    EXPECT_EQ(receivers(router, messageTo({33, 34}, 18, 1)), (Connections_t{5, 7}));
    const Routing_t& routing = route(router, messageTo({33, 34}, 18, 1));
    EXPECT_EQ(routing.named, bit(33) | bit(34));
    EXPECT_EQ(routing.queued, 0U);
    EXPECT_EQ(routing.dropped, 0U);
    router.attach(27, 9);
    Bytes_t both = messageTo({27}, 33, 1);
    EXPECT_EQ(receivers(router, msmtest::name(both, 27, 28)), Connections_t{9});
    Bytes_t second = msmtest::message(18, 1);
    EXPECT_EQ(receivers(router, msmtest::name(second, 27, 28)), Connections_t{9});
    router.attach(27, 10);
    EXPECT_EQ(receivers(router, messageTo({27}, 33, 1)), (Connections_t{9, 10}));
    router.detach(27, 9);
    EXPECT_EQ(receivers(router, messageTo({27}, 33, 2)), Connections_t{10});
    EXPECT_EQ(receivers(router, msmtest::message(34, 1)), Connections_t{});
    EXPECT_EQ(route(router, msmtest::message(34, 1)).named, 0U);
}

TEST(RouterTest, NamedEndpointsAndNoOthersKeepMessagesWhileNobodyIsConnected) {
    for (std::uint8_t endpoint = 0; endpoint < 64; ++endpoint) {
        const bool isNamed = endpoint == 18 || endpoint == 20 || endpoint == 27 || endpoint == 33;
        Router_t router(4);
        const Routing_t& routing = route(router, messageTo({endpoint}, 34, 7));
        EXPECT_EQ(routing.queued, isNamed ? bit(endpoint) : 0);
        EXPECT_EQ(routing.dropped, isNamed ? 0 : bit(endpoint));
        EXPECT_EQ(taken(router, endpoint), Kept_t(isNamed ? 1 : 0, 7));
        EXPECT_EQ(taken(router, endpoint), Kept_t{});
    }
    Router_t router(4);
    router.attach(33, 5);
    (void)route(router, messageTo({33}, 34, 1));
    router.detach(33, 5);
    (void)route(router, messageTo({33}, 34, 2));
    EXPECT_EQ(taken(router, 33), Kept_t{2}) << "kept again after the last connection has gone";
}

Bytes_t shutdownRequest(std::uint32_t handle) {
    Bytes_t bytes = messageTo({18}, 33, handle);
    bytes[12] = 13;
    return bytes;
}

TEST(RouterTest, TheSenderWithTheMostGivesWayInAFullQueue) {
    Router_t router(4);
    (void)router.route(parcel(messageTo({27}, 40, 1), 6));
    for (std::uint32_t handle = 2; handle <= 9; ++handle) {
        (void)router.route(parcel(messageTo({27}, 41, handle), 7));
    }
    EXPECT_EQ(taken(router, 27), (Kept_t{1, 7, 8, 9}));
    EXPECT_EQ(router.lostFromQueue(27), 5U);
}

TEST(RouterTest, PeersGiveWayToTheAdapterHoweverFewMessagesEachHas) {
    Router_t router(4);
    for (std::uint32_t handle = 1; handle <= 4; ++handle) {
        (void)router.route(parcel(messageTo({27}, 33, handle), 0));
    }
    for (std::uint8_t peer = 34; peer < 64; ++peer) {
        (void)router.route(parcel(messageTo({27}, peer, 100), peer));
    }
    EXPECT_EQ(taken(router, 27), (Kept_t{1, 2, 3, 4}));
}

TEST(RouterTest, WhatTheAdapterIsAskedToDoIsNotKeptBeyondItsAge) {
    Router_t router(4, 60s);
    (void)router.route(parcel(messageTo({33}, 34, 1), 1, 0));
    (void)router.route(parcel(messageTo({33}, 34, 2), 1, 1));
    (void)router.route(parcel(messageTo({33}, 34, 3), 1, 61));
    EXPECT_EQ(taken(router, 33, 61), (Kept_t{2, 3}));
    EXPECT_EQ(router.expired(33), 1U);
}

TEST(RouterTest, RequestsToShutDownGrowOldAndReportsDoNot) {
    Router_t router(4, 60s);
    (void)router.route(parcel(shutdownRequest(1)));
    (void)router.route(parcel(messageTo({18, 20, 27}, 33, 2)));
    EXPECT_EQ(taken(router, 18, 86400), (Kept_t{2}));
    EXPECT_EQ(taken(router, 20, 86400), (Kept_t{2}));
    EXPECT_EQ(taken(router, 27, 86400), (Kept_t{2}));
    EXPECT_EQ(router.expired(18), 1U);
    EXPECT_EQ(router.expired(27), 0U);
}

TEST(RouterTest, AKeptMessageHasItsTimeOfArrivalAndItsSender) {
    Router_t router(4);
    const std::chrono::system_clock::time_point wall(1234567s);
    const Bytes_t bytes = messageTo({27}, 33, 1);
    (void)router.route(Parcel_t(bytes, 33, {9, {1000, 77}}, {START + 5s, wall}));
    const std::vector<LetterPtr_t> queue = router.takeQueue(27, START + 9s);
    ASSERT_EQ(queue.size(), 1U);
    EXPECT_EQ(queue[0]->bytes, bytes);
    EXPECT_EQ(queue[0]->arrival.steady, START + 5s);
    EXPECT_EQ(queue[0]->arrival.wall, wall);
    EXPECT_EQ(queue[0]->sender, 33);
    EXPECT_EQ(queue[0]->origin.connection, 9U);
    EXPECT_EQ(queue[0]->origin.visitor.user, 1000U);
}

} // namespace
