/** A driver's side of a virtio queue, written byte by byte into a piece of memory that plays a guest's. */
#pragma once

#include <algorithm>

#include "hex.h"
#include "virtqueue.h"

namespace rings {

/* The guest sees the memory at 0x10000, the emulator at 0x7f0000000000. */
inline constexpr std::uint64_t GUEST = 0x10000;
inline constexpr std::uint64_t USER = 0x7f0000000000;

/* Offsets in it: descriptors, available ring, used ring, then buffers. */
inline constexpr std::size_t DESCRIPTORS = 0x000;
inline constexpr std::size_t AVAILABLE = 0x100;
inline constexpr std::size_t USED = 0x200;
inline constexpr std::size_t BUFFERS = 0x300;

class Guest_t {
public:
    Guest_t() { memory.add({.guest = GUEST, .user = USER, .bytes = bytes_}); }

    /** Puts bytes, written as hex, at an offset. */
    void put(std::size_t at, const std::string& text) {
        const auto data = unhex(text);
        std::copy(data.begin(), data.end(), bytes_ + at);
    }
    std::string get(std::size_t at, std::size_t count) const { return lowerHex(std::span(bytes_).subspan(at, count)); }
    std::span<std::uint8_t> whole() { return bytes_; }

    static Virtqueue_t::Layout_t layout(unsigned size = 8) {
        Virtqueue_t::Layout_t layout;
        layout.size = size;
        layout.descriptors = USER + DESCRIPTORS;
        layout.available = USER + AVAILABLE;
        layout.used = USER + USED;
        return layout;
    }

    GuestMemory_t memory;

private:
    alignas(16) std::uint8_t bytes_[0x1000] = {};
};

} // namespace rings
