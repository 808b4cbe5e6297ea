/** A virtual machine's memory as the device sees it: nothing is reached that does not lie in it as a whole. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/** Memory of this process that the machine sees at an address of its own. */
class GuestMemory_t {
public:
    struct Region_t {
        std::uint64_t guest = 0;       /**< address that the machine's programs and devices use */
        std::uint64_t user = 0;        /**< address that the emulator uses, in which it tells where rings are */
        std::span<std::uint8_t> bytes; /**< must outlive its place here */
    };

    void clear() { regions_.clear(); }
    void add(const Region_t& region) { regions_.push_back(region); }

    /** `length` bytes at a guest address; nothing unless all of them lie in one region. */
    std::optional<std::span<std::uint8_t>> atGuest(std::uint64_t address, std::uint64_t length) const;
    /** The same for an address of the emulator. */
    std::optional<std::span<std::uint8_t>> atUser(std::uint64_t address, std::uint64_t length) const;

private:
    std::vector<Region_t> regions_;
};
