/** The bus: addressing, injected faults, and the record of transfers. */
#include "bus.h"

#include <gtest/gtest.h>

#include "chips/lm75.h"
#include "chips/vsc055.h"
#include "hex.h"

namespace {

class BusTest : public testing::Test {
protected:
    BusTest() {
        bus.attach(0x41, std::make_shared<Vsc055_t>());
        auto sensor = std::make_shared<Lm75_t>();
        sensor->setCelsius(30.5);
        bus.attach(0x4C, sensor);
    }

    std::string read(unsigned address, unsigned reg, std::size_t length = 1) {
        return readHex(bus, length, address, reg);
    }
    bool write(unsigned address, unsigned reg, const std::string& data) {
        return bus.write(static_cast<std::uint8_t>(address), static_cast<std::uint8_t>(reg), unhex(data));
    }

    Bus_t bus;
};

TEST_F(BusTest, OnlyAddressedDeviceAnswers) {
    EXPECT_TRUE(write(0x41, 0x98, "2f"));
    EXPECT_EQ(read(0x41, 0x98), "2f");
    EXPECT_EQ(read(0x4C, 0x00, 2), "1e 80");
    EXPECT_EQ(read(0x62, 0x98), "nack");
    EXPECT_FALSE(write(0x40, 0x98, "00"));
}

TEST_F(BusTest, SilentDeviceDoesNotAcknowledgeAndKeepsItsRegisters) {
    bus.setSilent(0x41, true);
    EXPECT_FALSE(write(0x41, 0x98, "2f"));
    EXPECT_EQ(read(0x41, 0x98), "nack");
    EXPECT_EQ(read(0x4C, 0x00, 2), "1e 80");
    bus.setSilent(0x41, false);
    EXPECT_EQ(read(0x41, 0x98), "3f");
}

TEST_F(BusTest, FailedWriteLeavesTheRegisterAsItWas) {
    BusMessage_t message{0x41, false, {0x98, 0x2f}, false};
    bus.failNext(2, 0);
    EXPECT_FALSE(write(0x41, 0x98, "2f") || bus.transfer({&message, 1}));
    EXPECT_EQ(read(0x41, 0x98), "3f");
}

TEST_F(BusTest, FailedTransferAndOneToAnotherDeviceStartTheSensorsBytesAgain) {
    EXPECT_EQ(read(0x4C, 0x00), "80");
    bus.failNext(1, 0);
    EXPECT_EQ(read(0x4C, 0x00), "nack");
    EXPECT_EQ(read(0x4C, 0x00), "80");
    EXPECT_EQ(read(0x41, 0x04), "ff");
    EXPECT_EQ(read(0x4C, 0x00), "80");
    EXPECT_EQ(read(0x4C, 0x00), "1e");
}

TEST_F(BusTest, RemembersEachTransferInOrderAndCountsThemByDirectionAndOutcome) {
    read(0x41, 0x04);
    write(0x41, 0x98, "2f");
    read(0x62, 0x00);
    read(0x4C, 0x00, 2);
    std::vector<std::string> lines;
    for (const Transfer_t& transfer : bus.remembered()) {
        lines.push_back(describe(transfer));
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"1 read 0x41 0x04 1 [ff] ack", "2 write 0x41 0x98 1 [2f] ack",
                                               "3 read 0x62 0x00 1 [] nack", "4 read 0x4c 0x00 2 [1e 80] ack"}));
    const auto& counts = bus.counts();
    EXPECT_EQ(counts.total, 4u);
    EXPECT_EQ(counts.reads, 3u);
    EXPECT_EQ(counts.writes, 1u);
    EXPECT_EQ(counts.failed, 1u);
}

TEST_F(BusTest, ForgetsTheOldestBeyondTenThousand) {
    for (int i = 0; i < 10001; ++i) {
        read(0x41, 0x04);
    }
    EXPECT_EQ(bus.remembered().size(), 10000u);
    EXPECT_EQ(bus.remembered().front().number, 2u);
}

} // namespace
