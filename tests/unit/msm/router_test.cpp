#include "router.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test_message.h"

namespace {

using msmtest::Bytes;
using msmtest::messageTo;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::uint64_t bit(unsigned endpoint) {
    return std::uint64_t{1} << endpoint;
}

std::vector<std::uint32_t> handles(const std::deque<Router_t::Message_t>& queue) {
    std::vector<std::uint32_t> all;
    for (const Bytes& message : queue) {
        all.push_back(msmtest::get32(message, 40));
    }
    return all;
}

TEST(RecipientsTest, EndpointIsBitModulo32OfWordDividedBy32InEitherBitmap) {
    Bytes bytes = msmtest::message(34, 0);
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

TEST(RouterTest, AMessageGoesToEveryConnectedEndpointNamed) {
    Router_t router(4);
    router.attach(33, 5);
    router.attach(18, 6);
    router.attach(34, 7);
    const Routing_t& routing = router.route(messageTo({33, 34}, 18, 1));
    EXPECT_THAT(routing.connections, UnorderedElementsAre(5, 7));
    EXPECT_EQ(routing.named, bit(33) | bit(34));
    EXPECT_EQ(routing.queued, 0U);
    EXPECT_EQ(routing.dropped, 0U);
}

TEST(RouterTest, NamedInBothBitmapsMeansOneCopy) {
    Router_t router(4);
    router.attach(27, 9);
    Bytes bytes = messageTo({27}, 33, 1);
    msmtest::name(bytes, 27, 28);
    EXPECT_THAT(router.route(bytes).connections, ElementsAre(9));
}

TEST(RouterTest, TheSecondBitmapAloneRoutesToo) {
    Router_t router(4);
    router.attach(33, 9);
    Bytes bytes = msmtest::message(18, 1);
    EXPECT_THAT(router.route(msmtest::name(bytes, 33, 28)).connections, ElementsAre(9));
}

TEST(RouterTest, EveryConnectionOfAnEndpointGetsACopy) {
    Router_t router(4);
    router.attach(27, 9);
    router.attach(27, 10);
    EXPECT_THAT(router.route(messageTo({27}, 33, 1)).connections, UnorderedElementsAre(9, 10));
    router.detach(27, 9);
    EXPECT_THAT(router.route(messageTo({27}, 33, 2)).connections, ElementsAre(10));
}

TEST(RouterTest, EachNamedEndpointKeepsMessagesWhileNobodyIsConnected) {
    for (const std::uint8_t endpoint : std::initializer_list<std::uint8_t>{18, 20, 27, 33}) {
        Router_t router(4);
        const Bytes bytes = messageTo({endpoint}, 34, 7);
        const Routing_t& routing = router.route(bytes);
        EXPECT_EQ(routing.queued, bit(endpoint));
        EXPECT_EQ(routing.dropped, 0U);
        EXPECT_THAT(router.takeQueue(endpoint), ElementsAre(bytes));
        EXPECT_THAT(router.takeQueue(endpoint), IsEmpty());
    }
}

TEST(RouterTest, NoOtherEndpointKeepsMessages) {
    for (std::uint8_t endpoint = 0; endpoint < 64; ++endpoint) {
        if (endpoint == 18 || endpoint == 20 || endpoint == 27 || endpoint == 33) {
            continue;
        }
        Router_t router(4);
        EXPECT_EQ(router.route(messageTo({endpoint}, 33, 7)).dropped, bit(endpoint));
        EXPECT_THAT(router.takeQueue(endpoint), IsEmpty());
    }
}

TEST(RouterTest, AFullQueueLosesItsOldestMessage) {
    Router_t router(3);
    for (std::uint32_t handle = 1; handle <= 3; ++handle) {
        EXPECT_EQ(router.route(messageTo({27}, 33, handle)).displaced, 0U);
    }
    EXPECT_EQ(router.lostFromQueue(27), 0U);
    EXPECT_EQ(router.route(messageTo({27}, 33, 4)).displaced, bit(27));
    EXPECT_EQ(router.route(messageTo({27}, 33, 5)).displaced, bit(27));
    EXPECT_EQ(router.lostFromQueue(27), 2U);
    EXPECT_EQ(router.lostFromQueue(18), 0U);
    EXPECT_THAT(handles(router.takeQueue(27)), ElementsAre(3, 4, 5));
}

TEST(RouterTest, TheQueuesOfTwoEndpointsAreTheirOwn) {
    Router_t router(1);
    (void)router.route(messageTo({18}, 33, 1));
    (void)router.route(messageTo({27}, 33, 2));
    EXPECT_THAT(handles(router.takeQueue(18)), ElementsAre(1));
    EXPECT_THAT(handles(router.takeQueue(27)), ElementsAre(2));
}

TEST(RouterTest, MessagesAreKeptAgainAfterTheLastConnectionHasGone) {
    Router_t router(4);
    router.attach(33, 5);
    (void)router.route(messageTo({33}, 34, 1));
    router.detach(33, 5);
    (void)router.route(messageTo({33}, 34, 2));
    EXPECT_THAT(handles(router.takeQueue(33)), ElementsAre(2));
}

TEST(RouterTest, NobodyNamedIsNeitherQueuedNorDelivered) {
    Router_t router(4);
    router.attach(33, 5);
    const Routing_t& routing = router.route(msmtest::message(34, 1));
    EXPECT_EQ(routing.named, 0U);
    EXPECT_THAT(routing.connections, IsEmpty());
}

TEST(RouterTest, PeersGetTheLowestFreeIdFrom34To63) {
    Router_t router(4);
    for (std::uint8_t id = 34; id <= 63; ++id) {
        ASSERT_EQ(router.lowestFreePeer(), id);
        router.attach(id, 100 + id);
    }
    EXPECT_EQ(router.lowestFreePeer(), std::nullopt);
    router.detach(50, 150);
    router.detach(41, 141);
    EXPECT_EQ(router.lowestFreePeer(), 41);
}

} // namespace
