#include "vhost_device.h"

#include <algorithm>
#include <cstring>
#include <sys/mman.h>
#include <sys/stat.h>

namespace {

constexpr std::uint32_t VERSION = 1;
constexpr std::uint32_t IS_REPLY = 1U << 2;
constexpr std::uint32_t WANTS_REPLY = 1U << 3;

constexpr std::uint64_t ZERO_LENGTH_REQUESTS = 1ULL << 0;
constexpr std::uint64_t INDIRECT_DESCRIPTORS = 1ULL << 28;
constexpr std::uint64_t EVENT_INDEX = 1ULL << 29;
constexpr std::uint64_t PROTOCOL_FEATURES = 1ULL << 30;
constexpr std::uint64_t VERSION_1 = 1ULL << 32;
constexpr std::uint64_t OFFERED =
    ZERO_LENGTH_REQUESTS | INDIRECT_DESCRIPTORS | EVENT_INDEX | PROTOCOL_FEATURES | VERSION_1;

constexpr std::uint64_t REPLY_ACKNOWLEDGE = 1ULL << 3; /* of the protocol's own features */

constexpr std::uint64_t VRING_MASK = 0xFF;
constexpr std::uint64_t NO_FILE = 1U << 8;

constexpr std::size_t TABLE_HEAD = 8;    /* 32-bit number of regions, 32 bits unused */
constexpr std::size_t TABLE_REGION = 32; /* 64 bits each: guest address, size, emulator's address, offset in the file */
constexpr std::size_t ANY_SIZE = SIZE_MAX;

std::uint32_t word(const VhostMessage_t& message, std::size_t at) {
    std::uint32_t value;
    std::memcpy(&value, &message.payload[at], sizeof value);
    return value;
}
std::uint64_t longWord(const VhostMessage_t& message, std::size_t at) {
    std::uint64_t value;
    std::memcpy(&value, &message.payload[at], sizeof value);
    return value;
}

template <typename Number>
void append(std::vector<std::uint8_t>& bytes, Number value) {
    const std::size_t at = bytes.size();
    bytes.resize(at + sizeof value);
    std::memcpy(&bytes[at], &value, sizeof value);
}

void setNumber(VhostMessage_t& message, std::uint64_t value) {
    message.payload.clear();
    append(message.payload, value);
}

std::vector<std::uint8_t> packed(const VhostMessage_t& message) {
    std::vector<std::uint8_t> bytes;
    append(bytes, message.request);
    append(bytes, VERSION | IS_REPLY);
    append(bytes, static_cast<std::uint32_t>(message.payload.size()));
    bytes.insert(bytes.end(), message.payload.begin(), message.payload.end());
    return bytes;
}

/** The file that comes with a message about the one queue; none where the message says so. */
bool takeFile(VhostMessage_t& message, OwnedFd_t& file) {
    const std::uint64_t which = longWord(message, 0);
    const bool expected = (which & NO_FILE) == 0;
    if ((which & VRING_MASK) != 0 || message.files.size() != (expected ? 1 : 0)) {
        return false;
    }
    file = expected ? std::move(message.files[0]) : OwnedFd_t();
    return true;
}

} // namespace

SharedMapping_t::SharedMapping_t(const OwnedFd_t& file, std::uint64_t offset, std::uint64_t size) {
    struct stat there {};
    if (fstat(file.get(), &there) != 0 || there.st_size < 0) {
        return;
    }
    const auto whole = static_cast<std::uint64_t>(there.st_size);
    if (size == 0 || offset > whole || whole - offset < size || offset + size > SIZE_MAX) {
        return;
    }
    // From the beginning: the offset need not be one that a mapping can begin at.
    const auto length = static_cast<std::size_t>(offset + size);
    void* const base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (base == MAP_FAILED) {
        return;
    }
    base_ = base;
    length_ = length;
    bytes_ = {static_cast<std::uint8_t*>(base) + offset, static_cast<std::size_t>(size)};
}

SharedMapping_t::SharedMapping_t(SharedMapping_t&& other) noexcept
    : base_(std::exchange(other.base_, nullptr)), length_(other.length_), bytes_(other.bytes_) {}

SharedMapping_t::~SharedMapping_t() {
    if (base_ != nullptr) {
        munmap(base_, length_);
    }
}

struct VhostDevice_t::Rule_t {
    std::uint32_t request;
    std::size_t payload;
    bool replies;
    bool (VhostDevice_t::*run)(VhostMessage_t& message); /* the reply's payload takes the message's place */
};

constexpr VhostDevice_t::Rule_t VhostDevice_t::RULES[] = {
    {1, 0, true, &VhostDevice_t::getFeatures},
    {2, 8, false, &VhostDevice_t::setFeatures},
    {3, 0, false, &VhostDevice_t::accept}, /* SET_OWNER */
    {4, 0, false, &VhostDevice_t::accept}, /* RESET_OWNER, which means nothing any more */
    {5, ANY_SIZE, false, &VhostDevice_t::setMemory},
    {8, 8, false, &VhostDevice_t::setSize},
    {9, 40, false, &VhostDevice_t::setAddresses},
    {10, 8, false, &VhostDevice_t::setBase},
    {11, 8, true, &VhostDevice_t::getBase},
    {12, 8, false, &VhostDevice_t::setKick},
    {13, 8, false, &VhostDevice_t::setCall},
    {14, 8, false, &VhostDevice_t::accept}, /* SET_VRING_ERR: nothing is ever told there */
    {15, 0, true, &VhostDevice_t::getProtocolFeatures},
    {16, 8, false, &VhostDevice_t::setProtocolFeatures},
    {17, 0, true, &VhostDevice_t::getQueueCount},
    {18, 8, false, &VhostDevice_t::setEnabled},
};

std::optional<std::vector<std::uint8_t>> VhostDevice_t::handle(VhostMessage_t message) {
    const auto* const rule = std::find_if(std::begin(RULES), std::end(RULES),
                                          [&](const Rule_t& one) { return one.request == message.request; });
    const bool known = rule != std::end(RULES);
    const bool asked = acknowledges_ && (message.flags & WANTS_REPLY) != 0;
    if (known && rule->payload != ANY_SIZE && message.payload.size() != rule->payload) {
        return std::nullopt;
    }
    const bool done = known && (this->*rule->run)(message);
    if (known && rule->replies) {
        return done ? std::optional(packed(message)) : std::nullopt;
    }
    if (asked) {
        setNumber(message, done ? 0 : 1);
        return packed(message);
    }
    return done || !known ? std::optional(std::vector<std::uint8_t>()) : std::nullopt;
}

bool VhostDevice_t::accept(VhostMessage_t& /*message*/) {
    return true;
}

bool VhostDevice_t::getFeatures(VhostMessage_t& message) {
    setNumber(message, OFFERED);
    return true;
}

bool VhostDevice_t::setFeatures(VhostMessage_t& message) {
    const std::uint64_t features = longWord(message, 0);
    stop();
    layout_.indirect = (features & INDIRECT_DESCRIPTORS) != 0;
    layout_.eventIndex = (features & EVENT_INDEX) != 0;
    // Without the protocol's own features nobody enables a queue: it is enabled from the beginning.
    enabled_ = (features & PROTOCOL_FEATURES) == 0;
    startWhenReady();
    return (features & ~OFFERED) == 0 && (features & VERSION_1) != 0;
}

bool VhostDevice_t::getProtocolFeatures(VhostMessage_t& message) {
    setNumber(message, REPLY_ACKNOWLEDGE);
    return true;
}

bool VhostDevice_t::setProtocolFeatures(VhostMessage_t& message) {
    acknowledges_ = (longWord(message, 0) & REPLY_ACKNOWLEDGE) != 0;
    return (longWord(message, 0) & ~REPLY_ACKNOWLEDGE) == 0;
}

bool VhostDevice_t::getQueueCount(VhostMessage_t& message) {
    setNumber(message, 1);
    return true;
}

bool VhostDevice_t::setMemory(VhostMessage_t& message) {
    stop();
    memory_.clear();
    mappings_.clear();
    const std::size_t count = message.files.size();
    if (message.payload.size() < TABLE_HEAD || word(message, 0) != count ||
        message.payload.size() < TABLE_HEAD + count * TABLE_REGION) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = TABLE_HEAD + i * TABLE_REGION;
        SharedMapping_t mapping(message.files[i], longWord(message, at + 24), longWord(message, at + 8));
        if (mapping.bytes().empty()) {
            return false;
        }
        memory_.add({.guest = longWord(message, at), .user = longWord(message, at + 16), .bytes = mapping.bytes()});
        mappings_.push_back(std::move(mapping));
    }
    startWhenReady();
    return true;
}

bool VhostDevice_t::setSize(VhostMessage_t& message) {
    stop();
    layout_.size = word(message, 4);
    return word(message, 0) == 0;
}

bool VhostDevice_t::setAddresses(VhostMessage_t& message) {
    stop();
    layout_.descriptors = longWord(message, 8);
    layout_.used = longWord(message, 16);
    layout_.available = longWord(message, 24);
    hasAddresses_ = true;
    startWhenReady();
    return word(message, 0) == 0;
}

bool VhostDevice_t::setBase(VhostMessage_t& message) {
    stop();
    layout_.next = static_cast<std::uint16_t>(word(message, 4));
    return word(message, 0) == 0;
}

bool VhostDevice_t::getBase(VhostMessage_t& message) {
    if (word(message, 0) != 0) {
        return false;
    }
    stop();
    kickSet_ = false;
    message.payload.clear();
    append(message.payload, std::uint32_t{0});
    append(message.payload, std::uint32_t{layout_.next});
    return true;
}

bool VhostDevice_t::setKick(VhostMessage_t& message) {
    kickSet_ = takeFile(message, kick_);
    startWhenReady();
    return kickSet_;
}

bool VhostDevice_t::setCall(VhostMessage_t& message) {
    return takeFile(message, call_);
}

bool VhostDevice_t::setEnabled(VhostMessage_t& message) {
    enabled_ = word(message, 4) != 0;
    if (!enabled_) {
        stop();
    }
    startWhenReady();
    return word(message, 0) == 0;
}

void VhostDevice_t::stop() {
    if (queue_) {
        layout_.next = queue_->next();
        queue_.reset();
    }
}

void VhostDevice_t::startWhenReady() {
    if (!queue_ && enabled_ && kickSet_ && hasAddresses_) {
        queue_ = Virtqueue_t::make(memory_, layout_);
        // A machine that lost its device while it waited for an answer does not tell again.
        serve();
    }
}

void VhostDevice_t::setSilent(bool silent) {
    silent_ = silent;
    serve();
}

void VhostDevice_t::serve() {
    if (queue_ && !silent_ && serveRequests(*queue_, bus_) && queue_->wantsInterrupt() && call_.get() >= 0) {
        const std::uint64_t one = 1;
        (void)!write(call_.get(), &one, sizeof one); // an emulator that is gone shows at its socket
    }
}
