/** Rings as a driver writes them, byte for byte, and as it must not. */
#include <gtest/gtest.h>

#include "guest_rings.h"

using namespace rings;

namespace {

class VirtqueueTest : public testing::Test {
protected:
    static Virtqueue_t queue(Guest_t& guest, const Virtqueue_t::Layout_t& layout = Guest_t::layout()) {
        auto made = Virtqueue_t::make(guest.memory, layout);
        EXPECT_TRUE(made.has_value());
        return *made;
    }
    Guest_t guest;
};

TEST_F(VirtqueueTest, GivesTheBuffersOfAChainInTheDriversOrder) {
    guest.put(0x000, "00 03 01 00 00 00 00 00  08 00 00 00  01 00 01 00");
    guest.put(0x010, "10 03 01 00 00 00 00 00  02 00 00 00  01 00 02 00");
    guest.put(0x020, "20 03 01 00 00 00 00 00  01 00 00 00  02 00 00 00");
    guest.put(0x100, "00 00 01 00 00 00");
    guest.put(0x300, "98 00 00 00 01 00 00 00");
    guest.put(0x310, "04 2f");
    Virtqueue_t ring = queue(guest);
    ASSERT_EQ(ring.waiting(), 1u);
    const auto chain = ring.peek(0);
    ASSERT_TRUE(chain && chain->valid);
    ASSERT_EQ(chain->readable.size(), 2u);
    EXPECT_EQ(lowerHex(chain->readable[0]), "98 00 00 00 01 00 00 00");
    EXPECT_EQ(lowerHex(chain->readable[1]), "04 2f");
    ASSERT_EQ(chain->writable.size(), 1u);
    EXPECT_EQ(chain->writable[0].data(), guest.whole().data() + 0x320);
    EXPECT_FALSE(ring.peek(1));
}

TEST_F(VirtqueueTest, GivesTheBuffersOfAnIndirectTable) {
    guest.put(0x000, "00 04 01 00 00 00 00 00  20 00 00 00  04 00 00 00");
    guest.put(0x400, "00 03 01 00 00 00 00 00  08 00 00 00  01 00 01 00");
    guest.put(0x410, "20 03 01 00 00 00 00 00  03 00 00 00  02 00 00 00");
    guest.put(0x100, "00 00 01 00 00 00");
    Virtqueue_t::Layout_t layout = Guest_t::layout();
    EXPECT_FALSE(queue(guest, layout).peek(0)->valid) << "the driver has not agreed to them";
    layout.indirect = true;
    const auto chain = queue(guest, layout).peek(0);
    ASSERT_TRUE(chain && chain->valid);
    EXPECT_EQ(chain->readable.size(), 1u);
    EXPECT_EQ(chain->writable[0].size(), 3u);
}

TEST_F(VirtqueueTest, GivesRequestsBackInTheUsedRing) {
    guest.put(0x000, "20 03 01 00 00 00 00 00  05 00 00 00  02 00 00 00");
    guest.put(0x020, "30 03 01 00 00 00 00 00  06 00 00 00  02 00 00 00");
    guest.put(0x100, "00 00 02 00 02 00 00 00");
    Virtqueue_t ring = queue(guest);
    const Chain_t first = *ring.peek(0);
    const Chain_t second = *ring.peek(1);
    ring.take(2);
    ring.push(first, 6);
    EXPECT_EQ(guest.get(0x200, 12), "00 00 01 00 02 00 00 00 06 00 00 00");
    ring.push(second, 5);
    EXPECT_EQ(guest.get(0x200, 20), "00 00 02 00 02 00 00 00 06 00 00 00 00 00 00 00 05 00 00 00");
    EXPECT_EQ(ring.waiting(), 0u);
    EXPECT_EQ(ring.next(), 2u);
}

TEST_F(VirtqueueTest, IndexesWrapAroundRingAndNumber) {
    Virtqueue_t::Layout_t layout = Guest_t::layout(2);
    layout.next = 0xFFFF;
    guest.put(0x010, "20 03 01 00 00 00 00 00  05 00 00 00  02 00 00 00");
    guest.put(0x100, "00 00 01 00 00 00 01 00"); // entries 0xFFFF (place 1) and 0x0000 (place 0)
    guest.put(0x200, "00 00 ff ff");
    Virtqueue_t ring = queue(guest, layout);
    EXPECT_EQ(ring.waiting(), 2u);
    const Chain_t chain = *ring.peek(0);
    EXPECT_EQ(chain.head, 1u);
    ring.take(2);
    EXPECT_EQ(ring.next(), 1u);
    ring.push(chain, 1);
    EXPECT_EQ(guest.get(0x200, 4), "00 00 00 00");
    EXPECT_EQ(guest.get(0x20C, 8), "01 00 00 00 01 00 00 00");
}

TEST_F(VirtqueueTest, TellsOnlyADriverThatWantsToHear) {
    guest.put(0x100, "00 00 01 00 00 00");
    Virtqueue_t ring = queue(guest);
    EXPECT_FALSE(ring.wantsInterrupt()) << "nothing was given back";
    ring.push(Chain_t{}, 1);
    EXPECT_TRUE(ring.wantsInterrupt());
    EXPECT_FALSE(ring.wantsInterrupt()) << "it has been told";
    guest.put(0x100, "01 00");
    ring.push(Chain_t{}, 1);
    EXPECT_FALSE(ring.wantsInterrupt());
}

TEST_F(VirtqueueTest, EventIndexNamesTheRequestThatIsToBeTold) {
    Virtqueue_t::Layout_t layout = Guest_t::layout(8);
    layout.eventIndex = true;
    guest.put(0x100, "01 00 03 00"); // the flag means nothing now
    guest.put(0x114, "01 00");       // behind eight entries: when the second is given back
    Virtqueue_t ring = queue(guest, layout);
    ring.push(Chain_t{}, 1);
    EXPECT_FALSE(ring.wantsInterrupt());
    ring.push(Chain_t{}, 1);
    EXPECT_TRUE(ring.wantsInterrupt());
    ring.push(Chain_t{}, 1);
    EXPECT_FALSE(ring.wantsInterrupt());
    ring.take(3);
    ring.askForNotification();
    EXPECT_EQ(guest.get(0x244, 2), "03 00") << "behind the used ring's entries: tell of the fourth";
}

TEST_F(VirtqueueTest, WithoutEventIndexNothingIsWrittenBehindTheRing) {
    guest.put(0x244, "aa aa");
    Virtqueue_t ring = queue(guest);
    ring.askForNotification();
    EXPECT_EQ(guest.get(0x244, 2), "aa aa");
}

TEST_F(VirtqueueTest, RingThatClaimsMoreThanItHasGivesNothing) {
    guest.put(0x100, "00 00 09 00");
    EXPECT_EQ(queue(guest).waiting(), 0u);
    EXPECT_FALSE(queue(guest).peek(0));
}

TEST_F(VirtqueueTest, RubbishInAChainMakesItInvalid) {
    const struct {
        const char* what;
        const char* descriptors;
        const char* head;
    } rows[] = {
        {"a head outside the table", "20 03 01 00 00 00 00 00 01 00 00 00 02 00 00 00", "08 00"},
        {"a next outside the table", "20 03 01 00 00 00 00 00 01 00 00 00 03 00 08 00", "00 00"},
        {"a circle", "20 03 01 00 00 00 00 00 01 00 00 00 03 00 00 00", "00 00"},
        {"a buffer before the memory", "ff ff 00 00 00 00 00 00 01 00 00 00 02 00 00 00", "00 00"},
        {"a buffer behind the memory", "00 10 01 00 00 00 00 00 01 00 00 00 02 00 00 00", "00 00"},
        {"a buffer across the memory's end", "ff 0f 01 00 00 00 00 00 02 00 00 00 02 00 00 00", "00 00"},
        {"a length that wraps", "20 03 01 00 00 00 00 00 ff ff ff ff 02 00 00 00", "00 00"},
        {"an address that wraps", "ff ff ff ff ff ff ff ff 02 00 00 00 02 00 00 00", "00 00"},
        {"a readable buffer behind a writable one",
         "20 03 01 00 00 00 00 00 01 00 00 00 03 00 01 00 20 03 01 00 00 00 00 00 01 00 00 00 00 00 00 00", "00 00"},
        {"an indirect table that is continued", "00 04 01 00 00 00 00 00 10 00 00 00 05 00 01 00", "00 00"},
        {"an indirect table of half an entry", "00 04 01 00 00 00 00 00 08 00 00 00 04 00 00 00", "00 00"},
        {"an indirect table outside the memory", "00 10 01 00 00 00 00 00 10 00 00 00 04 00 00 00", "00 00"},
        {"an empty indirect table", "00 04 01 00 00 00 00 00 00 00 00 00 04 00 00 00", "00 00"},
        {"an indirect table in an indirect table", "40 04 01 00 00 00 00 00 10 00 00 00 04 00 00 00", "00 00"},
    };
    for (const auto& row : rows) {
        Guest_t machine;
        machine.put(0x000, row.descriptors);
        machine.put(0x440, "00 04 01 00 00 00 00 00 10 00 00 00 04 00 00 00");
        machine.put(0x100, "00 00 01 00");
        machine.put(0x104, row.head);
        Virtqueue_t::Layout_t layout = Guest_t::layout();
        layout.indirect = true;
        const auto chain = queue(machine, layout).peek(0);
        ASSERT_TRUE(chain) << row.what;
        EXPECT_FALSE(chain->valid) << row.what;
    }
}

TEST_F(VirtqueueTest, IsNotMadeWhereTheRingsCannotBe) {
    const auto made = [this](auto change) {
        Virtqueue_t::Layout_t layout = Guest_t::layout();
        change(layout);
        return Virtqueue_t::make(guest.memory, layout).has_value();
    };
    EXPECT_TRUE(made([](auto&) {}));
    for (const unsigned size : {0u, 3u, 65536u, 0x80000000u, 4096u}) {
        EXPECT_FALSE(made([size](auto& layout) { layout.size = size; })) << size;
    }
    EXPECT_FALSE(made([](auto& layout) { layout.descriptors = USER + 0xF90; }));
    EXPECT_FALSE(made([](auto& layout) { layout.available = USER + 0xFF0; }));
    EXPECT_FALSE(made([](auto& layout) { layout.available = USER + 0x101; }));
    EXPECT_FALSE(made([](auto& layout) { layout.used = USER + 0xFC0; }));
    EXPECT_FALSE(made([](auto& layout) { layout.used = USER + 0x201; }));
    EXPECT_FALSE(made([](auto& layout) { layout.used = GUEST + 0x200; }));
    EXPECT_FALSE(made([](auto& layout) { layout.used = ~std::uint64_t{0} - 1; }));
}

TEST_F(VirtqueueTest, ABufferMayFillTheMemoryToItsLastByte) {
    EXPECT_TRUE(guest.memory.atGuest(GUEST + 0xFFF, 1));
    EXPECT_TRUE(guest.memory.atGuest(GUEST, 0x1000));
    EXPECT_FALSE(guest.memory.atGuest(GUEST, 0x1001));
    EXPECT_TRUE(guest.memory.atGuest(GUEST + 0x1000, 0));
    EXPECT_FALSE(guest.memory.atGuest(GUEST + 0x1001, 0));
    EXPECT_FALSE(guest.memory.atUser(GUEST, 1));
}

} // namespace
