#include "bus.h"

#include <algorithm>
#include <cstdio>

#include "hex.h"

namespace {

std::string inBrackets(std::span<const std::uint8_t> bytes) {
    return "[" + hexText(bytes, " ") + "]";
}

const char* outcome(bool acknowledged) {
    return acknowledged ? " ack" : " nack";
}

std::string describe(const BusMessage_t& message) {
    char head[16];
    std::snprintf(head, sizeof head, "%s 0x%02x ", message.read ? "read" : "write", unsigned{message.address});
    return head + inBrackets(message.data) + outcome(message.acknowledged);
}

} // namespace

std::string describe(const Transfer_t& transfer) {
    char head[64];
    std::snprintf(head, sizeof head, "%llu %s 0x%02x 0x%02x %u ", static_cast<unsigned long long>(transfer.number),
                  transfer.read ? "read" : "write", unsigned{transfer.address}, unsigned{transfer.reg},
                  transfer.length);
    std::string text = head + inBrackets(transfer.data) + outcome(transfer.acknowledged);
    for (const BusMessage_t& message : transfer.messages) {
        text += (&message == &transfer.messages.front() ? " = " : ", ") + describe(message);
    }
    return text;
}

Device_t* Bus_t::device(std::uint8_t address) const {
    const auto found = devices_.find(address);
    return found == devices_.end() ? nullptr : found->second.get();
}

std::vector<std::uint8_t> Bus_t::addresses() const {
    std::vector<std::uint8_t> all;
    for (const auto& entry : devices_) {
        all.push_back(entry.first);
    }
    return all;
}

bool Bus_t::read(std::uint8_t address, std::uint8_t reg, std::span<std::uint8_t> out) {
    Device_t* const target = begin(address);
    std::vector<std::uint8_t> bytes(out.size());
    const bool acknowledged = target != nullptr && target->read(reg, bytes);
    if (acknowledged) {
        std::copy(bytes.begin(), bytes.end(), out.begin());
    } else {
        bytes.clear();
    }
    finish({.read = true,
            .address = address,
            .reg = reg,
            .length = static_cast<unsigned>(out.size()),
            .data = std::move(bytes),
            .acknowledged = acknowledged,
            .messages = {}});
    return acknowledged;
}

bool Bus_t::write(std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data) {
    Device_t* const target = begin(address);
    const bool acknowledged = target != nullptr && target->write(reg, data);
    finish({.read = false,
            .address = address,
            .reg = reg,
            .length = static_cast<unsigned>(data.size()),
            .data = {data.begin(), data.end()},
            .acknowledged = acknowledged,
            .messages = {}});
    return acknowledged;
}

bool Bus_t::transfer(std::span<BusMessage_t> messages) {
    for (std::size_t i = 0; i < messages.size(); ++i) {
        BusMessage_t& message = messages[i];
        BusMessage_t* const next = i + 1 < messages.size() ? &messages[i + 1] : nullptr;
        if (message.read) {
            readOn(message);
        } else if (message.data.size() == 1 && next != nullptr && next->read && next->address == message.address) {
            readRegister(message, *next);
            ++i;
        } else {
            writeRegister(message);
        }
        if (!messages[i].acknowledged) {
            return false;
        }
    }
    return true;
}

void Bus_t::readRegister(BusMessage_t& select, BusMessage_t& wanted) {
    const std::uint8_t address = select.address;
    const std::uint8_t reg = select.data[0];
    Device_t* const target = begin(address);
    std::vector<std::uint8_t> bytes(wanted.data.size());
    select.acknowledged = target != nullptr ? target->width(reg) != 0 : refused_ && failSecond_;
    wanted.acknowledged = target != nullptr && (bytes.empty() || target->read(reg, bytes));
    if (!wanted.acknowledged) {
        bytes.clear();
    }
    pointers_[address] = reg;
    const auto length = static_cast<unsigned>(wanted.data.size());
    wanted.data = bytes;
    finish({.read = true,
            .address = address,
            .reg = reg,
            .length = length,
            .data = std::move(bytes),
            .acknowledged = wanted.acknowledged,
            .messages = select.acknowledged ? std::vector{select, wanted} : std::vector{select}});
}

/* Without a register, as from a program that has set it in an earlier transfer, or asks whether anybody is there. */
void Bus_t::readOn(BusMessage_t& wanted) {
    const std::uint8_t reg = pointers_[wanted.address];
    Device_t* const target = begin(wanted.address);
    const auto length = static_cast<unsigned>(wanted.data.size());
    wanted.acknowledged = target != nullptr && (length == 0 || target->read(reg, wanted.data));
    if (!wanted.acknowledged) {
        wanted.data.clear();
    }
    finish({.read = true,
            .address = wanted.address,
            .reg = reg,
            .length = length,
            .data = wanted.data,
            .acknowledged = wanted.acknowledged,
            .messages = {wanted}});
}

void Bus_t::writeRegister(BusMessage_t& message) {
    if (!message.data.empty()) {
        pointers_[message.address] = message.data[0];
    }
    const std::uint8_t reg = pointers_[message.address];
    const auto data = std::span<const std::uint8_t>(message.data).subspan(message.data.empty() ? 0 : 1);
    Device_t* const target = begin(message.address);
    if (data.empty()) {
        message.acknowledged = target != nullptr && (message.data.empty() || target->width(reg) != 0);
    } else {
        message.acknowledged = target != nullptr && target->write(reg, data);
    }
    finish({.read = false,
            .address = message.address,
            .reg = reg,
            .length = static_cast<unsigned>(data.size()),
            .data = {data.begin(), data.end()},
            .acknowledged = message.acknowledged,
            .messages = {message}});
}

void Bus_t::failNext(unsigned count, unsigned skip, bool atSecondMessage) {
    failures_ = count;
    skip_ = count == 0 ? 0 : skip;
    failSecond_ = atSecondMessage;
}

void Bus_t::setSilent(std::uint8_t address, bool silent) {
    if (silent) {
        silent_.insert(address);
    } else {
        silent_.erase(address);
    }
}

Device_t* Bus_t::begin(std::uint8_t address) {
    refused_ = false;
    if (failures_ != 0 && skip_ != 0) {
        --skip_;
    } else if (failures_ != 0) {
        --failures_;
        refused_ = true;
        return nullptr;
    }
    return silent(address) ? nullptr : device(address);
}

void Bus_t::finish(Transfer_t transfer) {
    for (const auto& [address, device] : devices_) {
        if (address != transfer.address || !transfer.acknowledged) {
            device->otherTraffic();
        }
    }
    transfer.number = ++number_;
    ++counts_.total;
    ++(transfer.read ? counts_.reads : counts_.writes);
    counts_.failed += transfer.acknowledged ? 0 : 1;
    if (observer_) {
        observer_(transfer);
    }
    remembered_.push_back(std::move(transfer));
    if (remembered_.size() > REMEMBERED) {
        remembered_.pop_front();
    }
}
