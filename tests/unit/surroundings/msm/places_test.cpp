#include "places.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

/** Admits `count` connections of a visitor, numbered from `first` on; all have to get in. */
void fill(Places_t& places, Door_e door, Visitor_t visitor, int first, int count) {
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(places.admit(door, visitor, first + i).place.has_value()) << i;
    }
}

TEST(PlacesTest, PeersGetTheLowestFreeIdFrom34To63) {
    Places_t places(false, 0);
    std::vector<Place_t> given;
    for (int id = 34; id <= 63; ++id) {
        const Admission_t admission = places.admit(Door_e::PEER, {0, 1}, 100 + id);
        ASSERT_EQ(admission.endpoint, id);
        given.push_back(*admission.place);
    }
    const Admission_t refused = places.admit(Door_e::PEER, {0, 1}, 200);
    EXPECT_FALSE(refused.place.has_value());
    EXPECT_EQ(refused.refusal, "ids 34 to 63 are all taken");
    EXPECT_EQ(refused.evicted, -1);
    places.release(given[16], 150);
    places.release(given[7], 141);
    EXPECT_EQ(places.admit(Door_e::PEER, {0, 1}, 201).endpoint, 41);
    EXPECT_EQ(places.admit(Door_e::PEER, {0, 1}, 202).endpoint, 50);
}

TEST(PlacesTest, EachNamedSocketHasPlacesThatNoOtherTakes) {
    Places_t places(false, 0);
    fill(places, Door_e::PEER, {0, 1}, 100, 30);
    fill(places, Door_e::STARTUP, {0, 1}, 200, 32);
    fill(places, Door_e::VOLMGR, {0, 1}, 300, 32);
    EXPECT_EQ(places.admit(Door_e::STARTUP, {0, 1}, 400).refusal, "too many connections");
    const Admission_t events = places.admit(Door_e::EVENTLOG, {0, 1}, 401);
    EXPECT_TRUE(events.place.has_value());
    EXPECT_EQ(events.endpoint, 27);
    EXPECT_EQ(places.admit(Door_e::ADAPTER, {0, 1}, 402).endpoint, 33);
    EXPECT_EQ(places.admit(Door_e::ADAPTER, {1, 2}, 403).refusal, "another adapter is connected");
}

TEST(PlacesTest, AUserWithAllPlacesGivesItsNewestToAnother) {
    Places_t places(false, 0);
    fill(places, Door_e::PEER, {1000, 1}, 100, 30);
    const Admission_t admission = places.admit(Door_e::PEER, {1001, 2}, 200);
    EXPECT_EQ(admission.evicted, 129);
    EXPECT_EQ(admission.endpoint, 63);
    EXPECT_EQ(places.holders(Door_e::PEER).size(), 30U);
    places.release(*admission.place, 129); // its own leave comes after its place has gone
    EXPECT_EQ(std::ranges::count(places.holders(Door_e::PEER), 200), 1);
}

TEST(PlacesTest, TwoUsersShareAllPlacesAndNeitherDrivesTheOtherOut) {
    Places_t places(false, 0);
    fill(places, Door_e::PEER, {1000, 1}, 100, 30);
    fill(places, Door_e::PEER, {1001, 2}, 200, 15);
    EXPECT_FALSE(places.admit(Door_e::PEER, {1001, 2}, 300).place.has_value());
    EXPECT_FALSE(places.admit(Door_e::PEER, {1000, 1}, 301).place.has_value());
    EXPECT_TRUE(places.admit(Door_e::PEER, {0, 3}, 302).place.has_value());
}

TEST(PlacesTest, AProcessWithAllPlacesOfAUserGivesOneToAnotherOfTheSameUser) {
    Places_t places(false, 0);
    fill(places, Door_e::EVENTLOG, {1000, 1}, 100, 32);
    EXPECT_FALSE(places.admit(Door_e::EVENTLOG, {1000, 1}, 200).place.has_value());
    EXPECT_EQ(places.admit(Door_e::EVENTLOG, {1000, 2}, 201).evicted, 131);
}

TEST(PlacesTest, TheLimitAUserCountsAllSocketsButTheAdapters) {
    Places_t places(false, 3);
    fill(places, Door_e::ADAPTER, {1000, 1}, 100, 1);
    fill(places, Door_e::PEER, {1000, 1}, 101, 2);
    fill(places, Door_e::EVENTLOG, {1000, 2}, 103, 1);
    EXPECT_EQ(places.admit(Door_e::STARTUP, {1000, 3}, 104).refusal,
              "user 1000 has 3 connections, the limit for a user");
    fill(places, Door_e::STARTUP, {1001, 4}, 105, 3);
}

} // namespace
