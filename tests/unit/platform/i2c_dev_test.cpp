/**
 * Transfers over an i2c-dev character device. /dev/null stands for the device node; the test answers its ioctls
 * and keeps every request as the bytes that the bus would carry.
 */
#include <cerrno>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c.h>
#include <unistd.h>

#include "bytes.h"
#include "calls.h"
#include "platform.h"
#include "transfers.h"

namespace {

using testsupport::Bytes_t;
using testsupport::lowerHex;

/* The kernel's numbers, written out: they are what the device node answers to. */
constexpr unsigned long REQUEST_SLAVE = 0x0703;
constexpr unsigned long REQUEST_FUNCS = 0x0705;
constexpr unsigned long REQUEST_RDWR = 0x0707;
constexpr unsigned long REQUEST_SMBUS = 0x0720;

constexpr unsigned long SPEAKS_I2C_AND_SMBUS = 0x0EFF0001;
constexpr unsigned long SPEAKS_SMBUS_ONLY = 0x00180000; // byte-data reads and writes

struct RdwrRequest_t {
    i2c_msg* messages;
    U32_t count;
};

struct SmbusRequest_t {
    U8_t direction;
    U8_t command;
    U32_t size;
    U8_t* data;
};

/** A bus adapter with its device node. Reads give `nextByte`, `nextByte` + 1, and so on. */
struct FakeAdapter_t {
    explicit FakeAdapter_t(unsigned long functionBits) : functions(functionBits), fd(open("/dev/null", O_RDWR)) {
        forgetBus();
        calls::ioctl.answer = [this](int from, unsigned long request, unsigned long argument) {
            return from == fd ? answer(request, argument) : others(from, request, argument);
        };
    }
    ~FakeAdapter_t() {
        calls::ioctl.answer = others;
        close(fd);
    }
    FakeAdapter_t(const FakeAdapter_t&) = delete;
    FakeAdapter_t& operator=(const FakeAdapter_t&) = delete;

    int answer(unsigned long request, unsigned long argument) {
        if (failAt >= 0 && failAt-- == 0) {
            requests.emplace_back("failed");
            errno = failWith;
            return -1;
        }
        auto* pointer = reinterpret_cast<void*>(argument); // NOLINT(performance-no-int-to-ptr)
        switch (request) {
        case REQUEST_FUNCS:
            requests.emplace_back("functions?");
            *static_cast<unsigned long*>(pointer) = functions;
            return 0;
        case REQUEST_SLAVE:
            requests.push_back(std::string("slave ") + std::to_string(argument));
            return 0;
        case REQUEST_RDWR:
            return combined(*static_cast<RdwrRequest_t*>(pointer));
        case REQUEST_SMBUS:
            return smbus(*static_cast<SmbusRequest_t*>(pointer));
        default:
            ADD_FAILURE() << "unexpected request " << request;
            return -1;
        }
    }

    int combined(const RdwrRequest_t& request) {
        std::string call;
        for (i2c_msg& message : std::span(request.messages, request.count)) {
            const bool reads = message.flags == 0x0001;
            EXPECT_TRUE(reads || message.flags == 0);
            call += std::string(call.empty() ? "" : ", ") + (reads ? "r " : "w ") + std::to_string(message.addr) + " " +
                    std::to_string(message.len);
            if (!reads) {
                call += " " + lowerHex({message.buf, message.len}, "");
            }
            for (int b = 0; reads && b < message.len; ++b) {
                message.buf[b] = nextByte++;
            }
        }
        requests.push_back(call);
        return static_cast<int>(request.count) - (shortCount ? 1 : 0);
    }

    int smbus(const SmbusRequest_t& request) {
        EXPECT_EQ(request.size, 2U) << "byte data";
        const std::string command = lowerHex({&request.command, 1});
        if (request.direction == 1) {
            *request.data = nextByte++;
            requests.push_back("byte r " + command);
        } else {
            requests.push_back("byte w " + command + " " + lowerHex({request.data, 1}));
        }
        return 0;
    }

    unsigned long functions;
    int fd;
    const std::function<int(int, unsigned long, unsigned long)> others =
        calls::ioctl.answer ? calls::ioctl.answer : calls::ioctl.real; /**< what answers for other descriptors */
    U8_t nextByte = 0xA0;
    int failAt = -1; /**< the call, counted from 0, that fails */
    int failWith = 0;
    bool shortCount = false;
    std::vector<std::string> requests;
};

using Calls_t = std::vector<std::string>;

TEST(I2cDevTransfer, IsOneCallOfEveryLengthFrom1To255) {
    FakeAdapter_t adapter(SPEAKS_I2C_AND_SMBUS);
    const Bytes_t written(255, 0x5A);
    for (int length = 1; length <= 255; ++length) {
        const auto count = static_cast<std::size_t>(length);
        adapter.nextByte = 0xA0;
        Bytes_t data(count + 1, 0xEE);
        EXPECT_EQ(read_i2c_data(adapter.fd, 0x63, 0x10, data.data(), length), length);
        EXPECT_EQ(data[count - 1], (0xA0 + length - 1) & 0xFF);
        EXPECT_EQ(data[count], 0xEE);
        EXPECT_EQ(adapter.requests.back(), "w 99 1 10, r 99 " + std::to_string(length));
        EXPECT_EQ(write_i2c_data(adapter.fd, 0x41, 0x98, written.data(), length), length);
        EXPECT_EQ(adapter.requests.back(),
                  "w 65 " + std::to_string(length + 1) + " 98" + lowerHex({written.data(), count}, ""));
    }
}

TEST(I2cDevFunctions, AreAskedOnceForADescriptor) {
    FakeAdapter_t adapter(SPEAKS_I2C_AND_SMBUS);
    EXPECT_GE(readByte(adapter.fd), 0);
    EXPECT_EQ(writeByte(adapter.fd), 1);
    EXPECT_GE(readByte(adapter.fd), 0);
    EXPECT_EQ(adapter.requests, (Calls_t{"functions?", "w 76 1 00, r 76 1", "w 76 2 0199", "w 76 1 00, r 76 1"}));
}

TEST(I2cDevFunctions, AreAskedAgainForAnotherDescriptorAndAfterAFailure) {
    FakeAdapter_t adapter(SPEAKS_SMBUS_ONLY);
    FakeAdapter_t other(SPEAKS_I2C_AND_SMBUS); // of the same device, so that nothing but the number is another
    adapter.failAt = 0;
    adapter.failWith = ENODEV;
    EXPECT_EQ(readByte(adapter.fd), -ENODEV);
    EXPECT_GE(readByte(adapter.fd), 0);
    EXPECT_GE(readByte(other.fd), 0);
    EXPECT_EQ(adapter.requests, (Calls_t{"failed", "functions?", "slave 76", "byte r 00"}));
    EXPECT_EQ(other.requests, (Calls_t{"functions?", "w 76 1 00, r 76 1"}));
}

TEST(I2cDevFailure, OfTheTransferGivesMinusOneWithTheKernelsErrno) {
    FakeAdapter_t adapter(SPEAKS_I2C_AND_SMBUS);
    adapter.failAt = 1;
    adapter.failWith = ENXIO;
    EXPECT_EQ(readByte(adapter.fd), -ENXIO);
    adapter.failAt = 0;
    adapter.failWith = ETIMEDOUT;
    EXPECT_EQ(writeByte(adapter.fd), -ETIMEDOUT);
}

TEST(I2cDevFailure, ATransferThatTheKernelDidInPartHasFailed) {
    FakeAdapter_t adapter(SPEAKS_I2C_AND_SMBUS);
    adapter.shortCount = true;
    EXPECT_EQ(readByte(adapter.fd), -EIO);
    EXPECT_EQ(writeByte(adapter.fd), -EIO);
}

TEST(SmbusTransfer, IsOneByteDataTransferPerRegister) {
    FakeAdapter_t adapter(SPEAKS_SMBUS_ONLY);
    Bytes_t data(4, 0xEE);
    EXPECT_EQ(read_i2c_data(adapter.fd, 0x28, 0xFE, data.data(), 3), 3);
    EXPECT_EQ(data, (Bytes_t{0xA0, 0xA1, 0xA2, 0xEE}));
    EXPECT_EQ(write_i2c_data(adapter.fd, 0x28, 0x4E, data.data(), 3), 3);
    EXPECT_EQ(adapter.requests, (Calls_t{"functions?", "slave 40", "byte r fe", "byte r ff", "byte r 00", "slave 40",
                                         "byte w 4e a0", "byte w 4f a1", "byte w 50 a2"}));
    data.resize(255);
    adapter.requests.clear();
    EXPECT_EQ(read_i2c_data(adapter.fd, 0x28, 0x00, data.data(), 255), 255);
    EXPECT_EQ(write_i2c_data(adapter.fd, 0x28, 0x00, data.data(), 255), 255);
    EXPECT_EQ(adapter.requests.size(), 1U + 255 + 1 + 255);
    EXPECT_EQ(adapter.requests.back(), "byte w fe a1");
}

TEST(SmbusFailure, OfAnyStepEndsTheTransfer) {
    for (int step = 0; step <= 3; ++step) {
        FakeAdapter_t adapter(SPEAKS_SMBUS_ONLY);
        Bytes_t data(3);
        ASSERT_EQ(read_i2c_data(adapter.fd, 0x28, 0x00, data.data(), 1), 1);
        for (const bool reads : {true, false}) {
            adapter.requests.clear();
            adapter.failAt = step;
            adapter.failWith = EBUSY;
            EXPECT_EQ(reads ? read_i2c_data(adapter.fd, 0x28, 0x20, data.data(), 3)
                            : write_i2c_data(adapter.fd, 0x28, 0x20, data.data(), 3),
                      -1);
            EXPECT_EQ(errno, EBUSY);
            EXPECT_EQ(adapter.requests.size(), static_cast<std::size_t>(step) + 1);
            EXPECT_EQ(adapter.requests.back(), "failed");
        }
    }
}

} // namespace
