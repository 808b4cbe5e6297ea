#include "sim/bus.h"

#include <algorithm>
#include <cstdio>

namespace encsim {

std::string describe(const Transfer& transfer) {
    char head[64];
    std::snprintf(head, sizeof head, "%llu %s 0x%02x 0x%02x %u [", static_cast<unsigned long long>(transfer.number),
                  transfer.read ? "read" : "write", unsigned{transfer.address}, unsigned{transfer.reg},
                  transfer.length);
    std::string text = head;
    for (std::size_t i = 0; i < transfer.data.size(); ++i) {
        char byte[4];
        std::snprintf(byte, sizeof byte, "%s%02x", i == 0 ? "" : " ", unsigned{transfer.data[i]});
        text += byte;
    }
    return text + (transfer.acknowledged ? "] ack" : "] nack");
}

Device* Bus::device(std::uint8_t address) const {
    const auto found = devices_.find(address);
    return found == devices_.end() ? nullptr : found->second.get();
}

std::vector<std::uint8_t> Bus::addresses() const {
    std::vector<std::uint8_t> all;
    for (const auto& entry : devices_) {
        all.push_back(entry.first);
    }
    return all;
}

bool Bus::read(std::uint8_t address, std::uint8_t reg, std::span<std::uint8_t> out) {
    Device* const target = begin(address);
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
            .acknowledged = acknowledged});
    return acknowledged;
}

bool Bus::write(std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data) {
    Device* const target = begin(address);
    const bool acknowledged = target != nullptr && target->write(reg, data);
    finish({.read = false,
            .address = address,
            .reg = reg,
            .length = static_cast<unsigned>(data.size()),
            .data = {data.begin(), data.end()},
            .acknowledged = acknowledged});
    return acknowledged;
}

void Bus::failNext(unsigned count, unsigned skip) {
    failures_ = count;
    skip_ = count == 0 ? 0 : skip;
}

void Bus::setSilent(std::uint8_t address, bool silent) {
    if (silent) {
        silent_.insert(address);
    } else {
        silent_.erase(address);
    }
}

Device* Bus::begin(std::uint8_t address) {
    if (failures_ != 0 && skip_ != 0) {
        --skip_;
    } else if (failures_ != 0) {
        --failures_;
        return nullptr;
    }
    return silent(address) ? nullptr : device(address);
}

void Bus::finish(Transfer transfer) {
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
    if (remembered_.size() > kRemembered) {
        remembered_.pop_front();
    }
}

} // namespace encsim
