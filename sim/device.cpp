#include "device.h"

bool Device_t::read(std::uint8_t reg, std::span<std::uint8_t> out) {
    const std::optional<unsigned> value = peek(reg);
    return value.has_value() && deliver(reg, *value, out);
}

bool Device_t::write(std::uint8_t reg, std::span<const std::uint8_t> data) {
    if (width(reg) == 0 || data.size() != width(reg)) {
        return false;
    }
    unsigned value = 0;
    for (const std::uint8_t byte : data) {
        value = value << 8 | byte;
    }
    return store(reg, value);
}

bool Device_t::pin(std::uint8_t reg, unsigned value) {
    const unsigned bytes = width(reg);
    if (bytes == 0 || value >> (8 * bytes) != 0) {
        return false;
    }
    pins_[reg] = value;
    return true;
}

std::optional<unsigned> Device_t::peek(std::uint8_t reg) const {
    if (width(reg) == 0) {
        return std::nullopt;
    }
    const auto pin = pins_.find(reg);
    return pin != pins_.end() ? pin->second : load(reg);
}

bool Device_t::deliver(std::uint8_t, unsigned value, std::span<std::uint8_t> out) {
    if (out.size() != 1) {
        return false;
    }
    out[0] = static_cast<std::uint8_t>(value);
    return true;
}
