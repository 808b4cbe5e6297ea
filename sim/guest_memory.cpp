#include "guest_memory.h"

namespace {

std::optional<std::span<std::uint8_t>> within(std::uint64_t begin, std::span<std::uint8_t> bytes, std::uint64_t address,
                                              std::uint64_t length) {
    if (address < begin || address - begin > bytes.size() || bytes.size() - (address - begin) < length) {
        return std::nullopt;
    }
    return bytes.subspan(static_cast<std::size_t>(address - begin), static_cast<std::size_t>(length));
}

} // namespace

std::optional<std::span<std::uint8_t>> GuestMemory_t::atGuest(std::uint64_t address, std::uint64_t length) const {
    for (const Region_t& region : regions_) {
        if (const auto found = within(region.guest, region.bytes, address, length)) {
            return found;
        }
    }
    return std::nullopt;
}

std::optional<std::span<std::uint8_t>> GuestMemory_t::atUser(std::uint64_t address, std::uint64_t length) const {
    for (const Region_t& region : regions_) {
        if (const auto found = within(region.user, region.bytes, address, length)) {
            return found;
        }
    }
    return std::nullopt;
}
