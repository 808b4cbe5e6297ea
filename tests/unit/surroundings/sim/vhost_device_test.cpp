/** What an emulator says to set the device up, in the order in which it says it. */
#include "vhost_device.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/mman.h>

#include "chips/vsc055.h"
#include "guest_rings.h"

using namespace rings;

namespace {

using testsupport::Bytes_t;

Bytes_t words(std::initializer_list<std::uint32_t> values) {
    Bytes_t all(values.size() * 4);
    std::memcpy(all.data(), values.begin(), all.size());
    return all;
}
Bytes_t longWords(std::initializer_list<std::uint64_t> values) {
    Bytes_t all(values.size() * 8);
    std::memcpy(all.data(), values.begin(), all.size());
    return all;
}
Bytes_t joined(Bytes_t first, const Bytes_t& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class VhostDeviceTest : public testing::Test {
protected:
    VhostDeviceTest() : memory(memfd_create("guest", MFD_CLOEXEC)), call(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        bus.attach(0x41, std::make_shared<Vsc055_t>());
        EXPECT_EQ(ftruncate(memory.get(), 0x2000), 0);
        shared = static_cast<std::uint8_t*>(mmap(nullptr, 0x2000, PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), 0));
    }
    ~VhostDeviceTest() override { munmap(shared, 0x2000); }

    using Reply_t = std::optional<Bytes_t>;
    Reply_t send(std::uint32_t request, Bytes_t payload = {}, int file = -1, std::uint32_t flags = 1) {
        VhostMessage_t message{.request = request, .flags = flags, .payload = std::move(payload), .files = {}};
        if (file >= 0) {
            message.files.emplace_back(dup(file));
        }
        return device.handle(std::move(message));
    }
    static Reply_t reply(std::uint32_t request, const Bytes_t& payload) {
        return joined(words({request, 5, static_cast<std::uint32_t>(payload.size())}), payload);
    }
    void put(std::size_t at, const std::string& text) {
        const Bytes_t data = unhex(text);
        std::copy(data.begin(), data.end(), shared + 0x1000 + at);
    }
    std::string get(std::size_t at, std::size_t count) const {
        return lowerHex(std::span<const std::uint8_t>(shared + 0x1000 + at, count));
    }
    /** One page of the file's two, from its second on. */
    Bytes_t table() const { return joined(words({1, 0}), longWords({GUEST, 0x1000, USER, 0x1000})); }
    static constexpr std::uint64_t NEGOTIATED = 0x170000001; // with indirect descriptors, event index

    void setUp(std::uint64_t features = NEGOTIATED) {
        const Reply_t nothing = Bytes_t();
        EXPECT_EQ(send(3), nothing);
        EXPECT_EQ(send(13, longWords({0}), call.get()), nothing);
        EXPECT_EQ(send(2, longWords({features})), nothing);
        EXPECT_EQ(send(5, table(), memory.get()), nothing);
        EXPECT_EQ(send(8, words({0, 4})), nothing);
        EXPECT_EQ(send(10, words({0, 0})), nothing);
        EXPECT_EQ(send(9, joined(words({0, 0}), longWords({USER, USER + 0x200, USER + 0x100, 0}))), nothing);
        EXPECT_EQ(send(12, longWords({0}), kick.get()), nothing);
        EXPECT_EQ(send(18, words({0, 1})), nothing);
    }
    /** Makes the write of 0x2f to register 0x98 available: the queue's first request. */
    void request() {
        put(0x000, "00 04 01 00 00 00 00 00  30 00 00 00  04 00 00 00");
        put(0x400, "00 03 01 00 00 00 00 00  08 00 00 00  01 00 01 00");
        put(0x410, "10 03 01 00 00 00 00 00  02 00 00 00  01 00 02 00");
        put(0x420, "20 03 01 00 00 00 00 00  01 00 00 00  02 00 00 00");
        put(0x300, "82 00 00 00 00 00 00 00");
        put(0x310, "98 2f");
        put(0x320, "ee");
        put(0x100, "00 00 01 00 00 00");
    }
    bool called() const {
        std::uint64_t count = 0;
        return ::read(call.get(), &count, sizeof count) > 0;
    }

    Bus_t bus;
    VhostDevice_t device{bus};
    OwnedFd_t memory, call;
    OwnedFd_t kick{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::uint8_t* shared = nullptr;
};

TEST_F(VhostDeviceTest, TellsItsFeatures) {
    EXPECT_EQ(send(1), reply(1, longWords({0x170000001})));
    EXPECT_EQ(send(15), reply(15, longWords({8})));
    EXPECT_EQ(send(17), reply(17, longWords({1})));
}

TEST_F(VhostDeviceTest, ServesTheQueueOnceItIsSetUp) {
    EXPECT_EQ(device.kick(), -1);
    setUp();
    EXPECT_GE(device.kick(), 0);
    request();
    device.serve();
    EXPECT_EQ(get(0x320, 1), "00");
    EXPECT_EQ(get(0x200, 12), "00 00 01 00 00 00 00 00 01 00 00 00");
    EXPECT_TRUE(called());
    EXPECT_EQ(get(0x224, 2), "01 00") << "event index: tell of the second request";
    ASSERT_EQ(bus.remembered().size(), 1u);
    EXPECT_EQ(describe(bus.remembered()[0]), "1 write 0x41 0x98 1 [2f] ack = write 0x41 [98 2f] ack");
    EXPECT_EQ(send(11, words({0, 0})), reply(11, words({0, 1})));
    EXPECT_EQ(device.kick(), -1) << "stopped";
}

TEST_F(VhostDeviceTest, RequestThatWaitedForTheDeviceIsServedWhenItIsThere) {
    request();
    setUp();
    EXPECT_EQ(get(0x320, 1), "00");
    EXPECT_TRUE(called());
}

TEST_F(VhostDeviceTest, WithoutTheProtocolsFeaturesTheQueueNeedsNoEnabling) {
    request();
    send(13, longWords({0}), call.get());
    send(2, longWords({0x130000001}));
    send(5, table(), memory.get());
    send(8, words({0, 4}));
    send(9, joined(words({0, 0}), longWords({USER, USER + 0x200, USER + 0x100, 0})));
    send(12, longWords({0x100}));
    EXPECT_EQ(get(0x320, 1), "00");
}

TEST_F(VhostDeviceTest, GoesOnWhereItWasWhenTheMemoryChanges) {
    setUp();
    request();
    device.serve();
    put(0x100, "00 00 02 00 00 00 00 00");
    put(0x320, "ee");
    EXPECT_EQ(send(5, table(), memory.get()), Reply_t(Bytes_t()));
    EXPECT_EQ(get(0x320, 1), "00");
    EXPECT_EQ(bus.remembered().size(), 2u);
}

TEST_F(VhostDeviceTest, SilentDeviceLetsRequestsWaitAndADisabledQueueIsNotServed) {
    setUp();
    device.setSilent(true);
    request();
    device.serve();
    EXPECT_EQ(get(0x320, 1), "ee");
    device.setSilent(false);
    EXPECT_EQ(get(0x320, 1), "00");
    EXPECT_EQ(send(18, words({0, 0})), Reply_t(Bytes_t()));
    put(0x100, "00 00 02 00 00 00 00 00");
    put(0x320, "ee");
    device.serve();
    EXPECT_EQ(get(0x320, 1), "ee");
    EXPECT_EQ(device.kick(), -1);
}

TEST_F(VhostDeviceTest, AcknowledgesWhenAskedAfterThatWasAgreed) {
    const std::uint32_t asking = 0x9;
    EXPECT_EQ(send(3, {}, -1, asking), Reply_t(Bytes_t())) << "not agreed yet";
    EXPECT_EQ(send(99, {1, 2, 3}), Reply_t(Bytes_t())) << "an unknown one is passed over";
    EXPECT_EQ(send(16, longWords({8})), Reply_t(Bytes_t()));
    EXPECT_EQ(send(3, {}, -1, asking), reply(3, longWords({0})));
    EXPECT_EQ(send(8, words({1, 4}), -1, asking), reply(8, longWords({1}))) << "there is one queue";
    EXPECT_EQ(send(99, {}, -1, asking), reply(99, longWords({1}))) << "nothing known";
}

TEST_F(VhostDeviceTest, BrokenMessagesEndTheConnection) {
    EXPECT_EQ(send(8, words({0})), std::nullopt) << "too short";
    EXPECT_EQ(send(1, words({0})), std::nullopt) << "too long";
    EXPECT_EQ(send(8, words({1, 4})), std::nullopt) << "another queue";
    EXPECT_EQ(send(10, words({1, 4})), std::nullopt);
    EXPECT_EQ(send(11, words({1, 0})), std::nullopt);
    EXPECT_EQ(send(18, words({1, 1})), std::nullopt);
    EXPECT_EQ(send(9, joined(words({1, 0}), longWords({0, 0, 0, 0}))), std::nullopt);
    EXPECT_EQ(send(12, longWords({1}), kick.get()), std::nullopt);
    EXPECT_EQ(send(12, longWords({0})), std::nullopt) << "the file is missing";
    EXPECT_EQ(send(12, longWords({0x100}), kick.get()), std::nullopt) << "a file too many";
    EXPECT_EQ(send(2, longWords({0x170000003})), std::nullopt) << "a feature that was not offered";
    EXPECT_EQ(send(2, longWords({0x070000001})), std::nullopt) << "rings in the guest's byte order";
    EXPECT_EQ(send(16, longWords({9})), std::nullopt);
}

TEST_F(VhostDeviceTest, MemoryThatIsNotThereIsRefused) {
    EXPECT_EQ(send(5, {}), std::nullopt);
    EXPECT_EQ(send(5, table()), std::nullopt) << "no file";
    EXPECT_EQ(send(5, words({1, 0}), memory.get()), std::nullopt) << "no region";
    const struct {
        std::uint64_t size, offset;
    } rows[] = {{0x2001, 0}, {0x1001, 0x1000}, {1, 0x2000}, {0, 0}, {~0ULL, 0x1000}, {0x1000, ~0ULL}};
    for (const auto& row : rows) {
        const Bytes_t payload = joined(words({1, 0}), longWords({GUEST, row.size, USER, row.offset}));
        EXPECT_EQ(send(5, payload, memory.get()), std::nullopt) << row.size << " from " << row.offset;
    }
}

TEST_F(VhostDeviceTest, RingsOutsideTheMemoryAreNotServed) {
    setUp();
    EXPECT_EQ(send(9, joined(words({0, 0}), longWords({USER, USER + 0xFF0, USER + 0x100, 0}))), Reply_t(Bytes_t()));
    EXPECT_EQ(device.kick(), -1);
    device.serve();
}

} // namespace
