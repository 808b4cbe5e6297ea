/** The requests of a kernel's I2C driver, byte for byte, and what becomes of them on the bus. */
#include "virtio_i2c.h"

#include <gtest/gtest.h>

#include "chips/lm75.h"
#include "chips/vsc055.h"
#include "guest_rings.h"

using namespace rings;

namespace {

class VirtioI2cTest : public testing::Test {
protected:
    VirtioI2cTest() {
        bus.attach(0x41, std::make_shared<Vsc055_t>());
        auto sensor = std::make_shared<Lm75_t>();
        sensor->setCelsius(30.5);
        bus.attach(0x4C, sensor);
    }

    /** Descriptor `index`: `count` bytes at BUFFERS plus `at`; flags 1 another follows, 2 the device writes. */
    void descriptor(std::size_t index, unsigned at, std::size_t count, const std::string& flags) {
        guest.put(DESCRIPTORS + index * 16, oneByte(at) + oneByte(0x03 + (at >> 8)) + "01 00 00 00 00 00" +
                                                oneByte(static_cast<unsigned>(count)) + "00 00 00" + flags);
    }
    /** A request: descriptors from `index` on, buffers from `at` on, its status comes to `at` plus 0x1F. */
    void request(unsigned index, unsigned at, const std::string& header, std::size_t count, const std::string& flags) {
        guest.put(BUFFERS + at, header);
        guest.put(BUFFERS + at + 0x1F, "ee");
        descriptor(index, at, 8, "01 00" + oneByte(index + 1) + "00");
        if (count != 0) {
            ++index;
            descriptor(index, at + 8, count, flags + oneByte(index + 1) + "00");
        }
        descriptor(index + 1, at + 0x1F, 1, "02 00 00 00");
    }
    /** Writes `data` (hex). */
    void writeRequest(unsigned index, unsigned at, const std::string& header, const std::string& data) {
        request(index, at, header, unhex(data).size(), "01 00");
        guest.put(BUFFERS + at + 8, data);
    }
    /** Reads `count` bytes, to `at` plus 8. */
    void readRequest(unsigned index, unsigned at, const std::string& header, unsigned count) {
        request(index, at, header, count, "03 00");
    }
    bool serve(const std::string& heads) {
        available += unhex(heads).size() / 2;
        guest.put(AVAILABLE, "00 00" + oneByte(static_cast<unsigned>(available)) + "00" + heads);
        queue = Virtqueue_t::make(guest.memory, Guest_t::layout());
        return serveRequests(*queue, bus);
    }
    std::string status(unsigned at) const { return guest.get(BUFFERS + at + 0x1F, 1); }
    std::vector<std::string> log() const {
        std::vector<std::string> lines;
        for (const Transfer_t& transfer : bus.remembered()) {
            lines.push_back(describe(transfer));
        }
        return lines;
    }
    using Lines_t = std::vector<std::string>;

    Guest_t guest;
    Bus_t bus;
    std::optional<Virtqueue_t> queue;
    std::size_t available = 0;
};

TEST_F(VirtioI2cTest, WriteIsOneMessage) {
    writeRequest(0, 0, "82 00 00 00 00 00 00 00", "98 2f");
    EXPECT_TRUE(serve("00 00"));
    EXPECT_EQ(status(0), "00");
    EXPECT_EQ(guest.get(USED, 12), "00 00 01 00 00 00 00 00 01 00 00 00");
    EXPECT_EQ(log(), Lines_t{"1 write 0x41 0x98 1 [2f] ack = write 0x41 [98 2f] ack"});
}

TEST_F(VirtioI2cTest, RegisterWrittenAndThenReadIsOneTransferOfTwoMessages) {
    writeRequest(0, 0, "98 00 00 00 01 00 00 00", "00");
    readRequest(3, 0x20, "98 00 00 00 02 00 00 00", 2);
    EXPECT_TRUE(serve("00 00 03 00"));
    EXPECT_EQ(status(0), "00");
    EXPECT_EQ(status(0x20), "00");
    EXPECT_EQ(guest.get(BUFFERS + 0x28, 2), "1e 80");
    EXPECT_EQ(guest.get(USED, 20), "00 00 02 00 00 00 00 00 01 00 00 00 03 00 00 00 03 00 00 00");
    EXPECT_EQ(log(), Lines_t{"1 read 0x4c 0x00 2 [1e 80] ack = write 0x4c [00] ack, read 0x4c [1e 80] ack"});
}

TEST_F(VirtioI2cTest, AbsentChipFailsAtTheFirstMessageAndTakesTheSecondAlong) {
    writeRequest(0, 0, "c4 00 00 00 01 00 00 00", "00");
    readRequest(3, 0x20, "c4 00 00 00 02 00 00 00", 1);
    guest.put(BUFFERS + 0x28, "77");
    EXPECT_TRUE(serve("00 00 03 00"));
    EXPECT_EQ(status(0), "01");
    EXPECT_EQ(status(0x20), "01");
    EXPECT_EQ(guest.get(BUFFERS + 0x28, 1), "77") << "nothing was read";
    EXPECT_EQ(log(), Lines_t{"1 read 0x62 0x00 1 [] nack = write 0x62 [00] nack"});
}

TEST_F(VirtioI2cTest, OrderedFailureInTheMiddleLeavesTheFirstMessageAcknowledged) {
    bus.failNext(1, 0, true);
    writeRequest(0, 0, "98 00 00 00 01 00 00 00", "00");
    readRequest(3, 0x20, "98 00 00 00 02 00 00 00", 2);
    serve("00 00 03 00");
    EXPECT_EQ(status(0), "00");
    EXPECT_EQ(status(0x20), "01");
    EXPECT_EQ(log(), Lines_t{"1 read 0x4c 0x00 2 [] nack = write 0x4c [00] ack, read 0x4c [] nack"});
}

TEST_F(VirtioI2cTest, EmptyMessageAsksWhetherAnybodyIsThere) {
    writeRequest(0, 0, "82 00 00 00 00 00 00 00", "");
    readRequest(2, 0x20, "c4 00 00 00 02 00 00 00", 0);
    serve("00 00 02 00");
    EXPECT_EQ(status(0), "00");
    EXPECT_EQ(status(0x20), "01");
    EXPECT_EQ(log(), (Lines_t{"1 write 0x41 0x00 0 [] ack = write 0x41 [] ack",
                              "2 read 0x62 0x00 0 [] nack = read 0x62 [] nack"}));
}

TEST_F(VirtioI2cTest, ReadWithoutARegisterTakesTheOneThatWasSetBefore) {
    writeRequest(0, 0, "82 00 00 00 00 00 00 00", "98");
    readRequest(3, 0x20, "82 00 00 00 02 00 00 00", 1);
    serve("00 00 03 00");
    EXPECT_EQ(guest.get(BUFFERS + 0x28, 1), "3f");
    EXPECT_EQ(log(), (Lines_t{"1 write 0x41 0x98 0 [] ack = write 0x41 [98] ack",
                              "2 read 0x41 0x98 1 [3f] ack = read 0x41 [3f] ack"}));
}

TEST_F(VirtioI2cTest, BuffersMayBeCutAnyway) {
    guest.put(BUFFERS, "82 00 00 00 00 00 00 00 98 2f");
    descriptor(0, 0, 3, "01 00 01 00");
    descriptor(1, 3, 6, "01 00 02 00");
    descriptor(2, 9, 1, "01 00 03 00");
    descriptor(3, 0x40, 0, "03 00 04 00");
    descriptor(4, 0x41, 1, "03 00 05 00");
    descriptor(5, 0x60, 0, "02 00 00 00");
    guest.put(BUFFERS + 0x41, "ee");
    serve("00 00");
    EXPECT_EQ(guest.get(BUFFERS + 0x41, 1), "00");
    EXPECT_EQ(log(), Lines_t{"1 write 0x41 0x98 1 [2f] ack = write 0x41 [98 2f] ack"});
}

TEST_F(VirtioI2cTest, RubbishGetsAnErrorStatusAndNeverReachesTheBus) {
    const std::pair<const char*, const char*> rows[] = {
        {"an address of ten bits", "82 04 00 00 00 00 00 00"},
        {"the direction in the address", "83 00 00 00 00 00 00 00"},
        {"a read that brings data", "82 00 00 00 02 00 00 00"},
    };
    for (const auto& [what, header] : rows) {
        available = 0;
        guest.put(USED, "00 00 00 00");
        writeRequest(0, 0, header, "98 2f");
        serve("00 00");
        EXPECT_EQ(status(0), "01") << what;
    }
    available = 0;
    guest.put(USED, "00 00 00 00");
    writeRequest(0, 0, "82 00 00 00 01 00 00 00", "98 2f");
    readRequest(3, 0x20, "83 00 00 00 02 00 00 00", 1);
    serve("00 00 03 00");
    EXPECT_EQ(status(0), "01") << "the sound half of a transfer";
    EXPECT_EQ(status(0x20), "01");
    EXPECT_EQ(log(), Lines_t{});
}

TEST_F(VirtioI2cTest, ShortHeaderLongMessageAndBadDescriptorGetAnErrorStatusToo) {
    descriptor(0, 0, 7, "01 00 01 00");
    descriptor(1, 0x1F, 1, "02 00 00 00");
    guest.put(BUFFERS + 0x1F, "ee");
    serve("00 00");
    EXPECT_EQ(status(0), "01");

    available = 0;
    guest.put(USED, "00 00 00 00");
    guest.put(BUFFERS, "82 00 00 00 02 00 00 00");
    descriptor(0, 0, 8, "01 00 01 00");
    guest.put(0x010, "00 00 01 00 00 00 00 00 00 10 00 00 03 00 02 00"); // 4096 bytes: all there is
    descriptor(2, 0x2F, 2, "02 00 00 00");
    guest.put(BUFFERS + 0x30, "ee");
    serve("00 00");
    EXPECT_EQ(guest.get(BUFFERS + 0x30, 1), "01");

    available = 0;
    guest.put(USED, "00 00 00 00");
    descriptor(0, 0, 8, "01 00 01 00");
    descriptor(1, 0x1F, 1, "03 00 07 00");
    guest.put(0x070, "00 00 00 00 00 00 00 00 01 00 00 00 02 00 00 00"); // before the memory
    guest.put(BUFFERS + 0x1F, "ee");
    serve("00 00");
    EXPECT_EQ(status(0), "01");
    EXPECT_EQ(log(), Lines_t{});
}

TEST_F(VirtioI2cTest, RequestWithoutRoomForAStatusIsGivenBack) {
    guest.put(BUFFERS, "82 00 00 00 00 00 00 00");
    descriptor(0, 0, 8, "00 00 00 00");
    EXPECT_TRUE(serve("00 00"));
    EXPECT_EQ(guest.get(USED, 12), "00 00 01 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(log(), Lines_t{});
}

TEST_F(VirtioI2cTest, TransferThatTheDriverCouldNotFinishIsCarriedOutAsFarAsItGoes) {
    writeRequest(0, 0, "82 00 00 00 01 00 00 00", "98");
    EXPECT_TRUE(serve("00 00"));
    EXPECT_EQ(status(0), "00") << "a driver without room for the second request waits for the first";
}

} // namespace
