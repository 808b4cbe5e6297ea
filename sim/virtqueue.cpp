#include "virtqueue.h"

#include <bit>
#include <cstring>
#include <endian.h>
#include <utility>

namespace {

constexpr std::size_t DESCRIPTOR_SIZE = 16; /* le64 address, le32 length, le16 flags, le16 next */
constexpr std::size_t RING_HEAD = 4;        /* le16 flags, le16 index */
constexpr std::size_t USED_ENTRY = 8;       /* le32 head, le32 written */
constexpr std::size_t EVENT = 2;            /* le16 behind either ring, used with event index only */

constexpr unsigned NEXT = 1;
constexpr unsigned WRITE = 2;
constexpr unsigned INDIRECT = 4;

constexpr unsigned NO_INTERRUPT = 1;

template <typename Number>
Number plain(const std::uint8_t* from) {
    Number value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/* The driver runs while the device looks: an index is read before, and written after, what it tells of. */
std::uint16_t sharedIndex(const std::uint8_t* from) {
    return le16toh(__atomic_load_n(reinterpret_cast<const std::uint16_t*>(from), __ATOMIC_SEQ_CST));
}
void setSharedIndex(std::uint8_t* to, std::uint16_t value) {
    __atomic_store_n(reinterpret_cast<std::uint16_t*>(to), htole16(value), __ATOMIC_SEQ_CST);
}

} // namespace

struct Virtqueue_t::Descriptor_t {
    std::uint64_t address;
    std::uint32_t length;
    std::uint16_t flags;
    std::uint16_t next;

    explicit Descriptor_t(const std::uint8_t* from)
        : address(le64toh(plain<std::uint64_t>(from))), length(le32toh(plain<std::uint32_t>(from + 8))),
          flags(le16toh(plain<std::uint16_t>(from + 12))), next(le16toh(plain<std::uint16_t>(from + 14))) {}
};

std::optional<Virtqueue_t> Virtqueue_t::make(const GuestMemory_t& memory, const Layout_t& layout) {
    if (layout.size == 0 || layout.size > LARGEST_SIZE || !std::has_single_bit(layout.size)) {
        return std::nullopt;
    }
    const auto descriptors = memory.atUser(layout.descriptors, layout.size * DESCRIPTOR_SIZE);
    const auto available = memory.atUser(layout.available, RING_HEAD + layout.size * 2 + EVENT);
    const auto used = memory.atUser(layout.used, RING_HEAD + layout.size * USED_ENTRY + EVENT);
    if (!descriptors || !available || !used) {
        return std::nullopt;
    }
    for (const auto& part : {*available, *used}) {
        if (reinterpret_cast<std::uintptr_t>(part.data()) % alignof(std::uint16_t) != 0) {
            return std::nullopt;
        }
    }
    Virtqueue_t queue(memory, layout);
    queue.descriptors_ = *descriptors;
    queue.available_ = *available;
    queue.used_ = *used;
    queue.next_ = layout.next;
    queue.pushed_ = queue.told_ = sharedIndex(used->data() + 2);
    return queue;
}

unsigned Virtqueue_t::waiting() const {
    const auto count = static_cast<std::uint16_t>(sharedIndex(available_.data() + 2) - next_);
    return count <= layout_.size ? count : 0;
}

std::optional<Chain_t> Virtqueue_t::peek(unsigned ahead) const {
    if (ahead >= waiting()) {
        return std::nullopt;
    }
    Chain_t chain;
    const unsigned entry = (next_ + ahead) % layout_.size;
    chain.head = le16toh(plain<std::uint16_t>(&available_[RING_HEAD + entry * 2]));
    chain.valid = readTable(chain, descriptors_, chain.head, layout_.indirect);
    return chain;
}

/* A table that leads in a circle is left after as many steps as it has entries. */
bool Virtqueue_t::readTable(Chain_t& chain, std::span<const std::uint8_t> table, unsigned at,
                            bool mayBeIndirect) const {
    const std::size_t entries = table.size() / DESCRIPTOR_SIZE;
    for (std::size_t step = 0; step < entries && at < entries; ++step) {
        const Descriptor_t descriptor(&table[at * DESCRIPTOR_SIZE]);
        if ((descriptor.flags & INDIRECT) != 0) {
            return mayBeIndirect && (descriptor.flags & NEXT) == 0 && readIndirect(chain, descriptor);
        }
        if (!addBuffer(chain, descriptor)) {
            return false;
        }
        if ((descriptor.flags & NEXT) == 0) {
            return true;
        }
        at = descriptor.next;
    }
    return false;
}

bool Virtqueue_t::readIndirect(Chain_t& chain, const Descriptor_t& where) const {
    const auto table = memory_->atGuest(where.address, where.length);
    if (!table || table->size() % DESCRIPTOR_SIZE != 0 || table->size() / DESCRIPTOR_SIZE > LARGEST_SIZE) {
        return false;
    }
    return readTable(chain, *table, 0, false);
}

bool Virtqueue_t::addBuffer(Chain_t& chain, const Descriptor_t& descriptor) const {
    const auto bytes = memory_->atGuest(descriptor.address, descriptor.length);
    const bool writable = (descriptor.flags & WRITE) != 0;
    if (!bytes || (!writable && !chain.writable.empty())) {
        return false;
    }
    if (writable) {
        chain.writable.push_back(*bytes);
    } else {
        chain.readable.push_back(*bytes);
    }
    return true;
}

void Virtqueue_t::push(const Chain_t& chain, std::uint32_t written) {
    std::uint8_t* const entry = &used_[RING_HEAD + pushed_ % layout_.size * USED_ENTRY];
    const std::uint32_t words[2] = {htole32(chain.head), htole32(written)};
    std::memcpy(entry, words, sizeof words);
    setSharedIndex(used_.data() + 2, ++pushed_);
}

void Virtqueue_t::askForNotification() {
    if (layout_.eventIndex) {
        setSharedIndex(&used_[RING_HEAD + layout_.size * USED_ENTRY], next_);
    }
}

bool Virtqueue_t::wantsInterrupt() {
    const std::uint16_t before = std::exchange(told_, pushed_);
    if (before == pushed_) {
        return false;
    }
    if (!layout_.eventIndex) {
        return (sharedIndex(available_.data()) & NO_INTERRUPT) == 0;
    }
    const std::uint16_t event = sharedIndex(&available_[RING_HEAD + layout_.size * 2]);
    return static_cast<std::uint16_t>(pushed_ - event - 1) < static_cast<std::uint16_t>(pushed_ - before);
}
