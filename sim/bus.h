/** The I2C bus: devices by 7-bit address, injected faults, a record of what went over it. */
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "device.h"

/** One message of a transfer as a kernel gives it: between two messages the bus sees a repeated start. */
struct BusMessage_t {
    std::uint8_t address = 0;
    bool read = false;
    std::vector<std::uint8_t> data; /**< to be written; for a read as many as are wanted, and what was read */
    bool acknowledged = false;
};

struct Transfer_t {
    std::uint64_t number = 0; /**< from 1 */
    bool read = false;
    std::uint8_t address = 0;
    std::uint8_t reg = 0;
    unsigned length = 0;
    std::vector<std::uint8_t> data; /**< written, or read; empty for a read that was not acknowledged */
    bool acknowledged = false;
    std::vector<BusMessage_t> messages; /**< of which it was made; empty behind the serial bridge, which knows none */
};

/**
 * "17 read 0x41 0x04 1 [80] ack": number, direction, address, register, length, bytes, outcome.
 * Where there are messages they follow: " = write 0x41 [04] ack, read 0x41 [80] ack".
 */
std::string describe(const Transfer_t& transfer);

struct TransferCounts_t {
    std::uint64_t total = 0, reads = 0, writes = 0, failed = 0;
};

class Bus_t {
public:
    static constexpr std::size_t REMEMBERED = 10000;

    void attach(std::uint8_t address, std::shared_ptr<Device_t> device) { devices_[address] = std::move(device); }
    /** The device at `address`, present or silent; null when the board has none there. */
    Device_t* device(std::uint8_t address) const;
    std::vector<std::uint8_t> addresses() const;

    /** One transfer; false when nobody acknowledged it. `out` is then left alone. */
    bool read(std::uint8_t address, std::uint8_t reg, std::span<std::uint8_t> out);
    bool write(std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data);

    /**
     * The messages of one transfer, to the first that is not acknowledged; each then tells what became of it. True
     * when all of them were. A register written and then read is one transfer in the record.
     */
    bool transfer(std::span<BusMessage_t> messages);

    /**
     * After `skip` more transfers the next `count` are not acknowledged, whoever they are for: the first message, or
     * the second of those that have one. Replaces an earlier order; 0 ends it.
     */
    void failNext(unsigned count, unsigned skip, bool atSecondMessage = false);
    unsigned failuresLeft() const { return failures_; }
    unsigned skipLeft() const { return skip_; }

    /** The device at `address` stops, or starts again, acknowledging. */
    void setSilent(std::uint8_t address, bool silent);
    bool silent(std::uint8_t address) const { return silent_.count(address) != 0; }

    /** Called after each transfer, acknowledged or not. */
    void onTransfer(std::function<void(const Transfer_t&)> observer) { observer_ = std::move(observer); }

    const TransferCounts_t& counts() const { return counts_; }
    void resetCounts() { counts_ = {}; }
    /** The latest transfers, at most `REMEMBERED`, oldest first. */
    const std::deque<Transfer_t>& remembered() const { return remembered_; }

private:
    /** The device that answers the transfer now starting; null: an injected fault or an empty address lets it fail. */
    Device_t* begin(std::uint8_t address);
    void finish(Transfer_t transfer);
    void readRegister(BusMessage_t& select, BusMessage_t& wanted);
    void readOn(BusMessage_t& wanted);
    void writeRegister(BusMessage_t& message);

    std::map<std::uint8_t, std::shared_ptr<Device_t>> devices_;
    std::set<std::uint8_t> silent_;
    unsigned failures_ = 0;
    unsigned skip_ = 0;
    bool failSecond_ = false;
    bool refused_ = false;                          /**< the transfer now going on fails by order */
    std::map<std::uint8_t, std::uint8_t> pointers_; /**< the register that a device was last told of */
    std::uint64_t number_ = 0;
    TransferCounts_t counts_;
    std::deque<Transfer_t> remembered_;
    std::function<void(const Transfer_t&)> observer_;
};
