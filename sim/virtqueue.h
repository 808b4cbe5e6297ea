/** A virtio split queue from the device's side. The driver writes it and is not trusted. */
#pragma once

#include "guest_memory.h"

/** One request's buffers, in the driver's order. */
struct Chain_t {
    std::uint16_t head = 0; /**< to be given back with Virtqueue::push() */
    bool valid = false;     /**< false: rubbish; the buffers are those before what cannot be understood */
    std::vector<std::span<const std::uint8_t>> readable;
    std::vector<std::span<std::uint8_t>> writable;
};

class Virtqueue_t {
public:
    static constexpr unsigned LARGEST_SIZE = 32768;

    /** Where the three parts are, as addresses of the emulator, and what the driver has agreed to. */
    struct Layout_t {
        unsigned size = 0; /**< a power of two up to LARGEST_SIZE */
        std::uint64_t descriptors = 0, available = 0, used = 0;
        bool eventIndex = false;
        bool indirect = false;
        std::uint16_t next = 0; /**< the first entry of the available ring not taken yet */
    };

    /** Nothing when a part is misaligned or does not lie in the memory, which must outlive the queue's use. */
    static std::optional<Virtqueue_t> make(const GuestMemory_t& memory, const Layout_t& layout);

    /** The request `ahead` places behind the next one; nothing when the driver has not made it available yet. */
    std::optional<Chain_t> peek(unsigned ahead) const;
    /** The next `count` requests are taken, for good. */
    void take(unsigned count) { next_ = static_cast<std::uint16_t>(next_ + count); }
    /** Gives a request back with `written` bytes in its writable buffers. */
    void push(const Chain_t& chain, std::uint32_t written);

    /** How many requests the driver has made available; none while it claims more than the ring has places. */
    unsigned waiting() const;
    /** Asks the driver to tell of the next request. It does not tell of those that are waiting by now. */
    void askForNotification();
    /** Whether the driver wants to hear of what was pushed since the last call. */
    bool wantsInterrupt();

    std::uint16_t next() const { return next_; }
    unsigned size() const { return layout_.size; }

private:
    struct Descriptor_t;

    Virtqueue_t(const GuestMemory_t& memory, const Layout_t& layout) : memory_(&memory), layout_(layout) {}
    bool readIndirect(Chain_t& chain, const Descriptor_t& where) const;
    bool readTable(Chain_t& chain, std::span<const std::uint8_t> table, unsigned at, bool mayBeIndirect) const;
    bool addBuffer(Chain_t& chain, const Descriptor_t& descriptor) const;

    const GuestMemory_t* memory_;
    Layout_t layout_;
    std::span<std::uint8_t> descriptors_, available_, used_;
    std::uint16_t next_ = 0;
    std::uint16_t pushed_ = 0;
    std::uint16_t told_ = 0; /**< `pushed_` when the driver was last asked whether it wants to hear of it */
};
