#include "virtio_i2c.h"

#include <algorithm>

namespace {

constexpr std::size_t HEADER = 8; /* le16 address shifted left by one, le16 zero, le32 flags */
constexpr unsigned FAIL_NEXT = 1;
constexpr unsigned READ = 2;

constexpr std::uint8_t MESSAGE_OK = 0;
constexpr std::uint8_t MESSAGE_ERROR = 1;

/** Far more than any register of the chips takes; a request for more is refused. */
constexpr std::size_t LARGEST_MESSAGE = 4096;

struct Request_t {
    Chain_t chain;
    bool more = false;  /**< the next request belongs to the same transfer */
    bool valid = false; /**< a message for the bus */
    BusMessage_t message;
};

std::uint64_t sizeOf(const auto& buffers) {
    std::uint64_t size = 0;
    for (const auto& buffer : buffers) {
        size += buffer.size();
    }
    return size;
}

/** The readable bytes, however they are cut into buffers; empty when there are more than any request has. */
std::vector<std::uint8_t> gathered(const Chain_t& chain) {
    std::vector<std::uint8_t> all;
    if (sizeOf(chain.readable) <= HEADER + LARGEST_MESSAGE) {
        for (const auto& buffer : chain.readable) {
            all.insert(all.end(), buffer.begin(), buffer.end());
        }
    }
    return all;
}

unsigned number(std::span<const std::uint8_t> littleEndian) {
    unsigned value = 0;
    for (std::size_t i = littleEndian.size(); i-- > 0;) {
        value = value << 8 | littleEndian[i];
    }
    return value;
}

Request_t decode(Chain_t chain) {
    Request_t request{.chain = std::move(chain), .more = false, .valid = false, .message = {}};
    const std::uint64_t room = sizeOf(request.chain.writable);
    if (!request.chain.valid || room == 0 || room > LARGEST_MESSAGE + 1) {
        return request;
    }
    const std::vector<std::uint8_t> bytes = gathered(request.chain);
    if (bytes.size() < HEADER) {
        return request;
    }
    const unsigned address = number(std::span(bytes).first(2));
    const unsigned flags = number(std::span(bytes).subspan(4, 4));
    const bool read = (flags & READ) != 0;
    request.more = (flags & FAIL_NEXT) != 0;
    request.valid = address <= 0xFE && address % 2 == 0 && (read ? bytes.size() == HEADER : room == 1);
    request.message.address = static_cast<std::uint8_t>(address >> 1);
    request.message.read = read;
    request.message.data.assign(bytes.begin() + HEADER, bytes.end());
    if (read && request.valid) {
        request.message.data.resize(static_cast<std::size_t>(room - 1));
    }
    return request;
}

/** The status is the last of the writable bytes. */
void setStatus(const Chain_t& chain, std::uint8_t status) {
    const auto last = std::find_if(chain.writable.rbegin(), chain.writable.rend(),
                                   [](const auto& buffer) { return !buffer.empty(); });
    if (last != chain.writable.rend()) {
        last->back() = status;
    }
}

void setData(const Chain_t& chain, std::span<const std::uint8_t> bytes) {
    for (const std::span<std::uint8_t> buffer : chain.writable) {
        const std::size_t count = std::min(buffer.size(), bytes.size());
        std::copy_n(bytes.begin(), count, buffer.begin());
        bytes = bytes.subspan(count);
    }
}

/** Writes data and status; how many of the writable bytes hold what the device says, counted from the first. */
std::uint32_t answer(const Request_t& request) {
    const bool done = request.valid && request.message.acknowledged;
    if (done && request.message.read) {
        setData(request.chain, request.message.data);
    }
    setStatus(request.chain, done ? MESSAGE_OK : MESSAGE_ERROR);
    return done ? static_cast<std::uint32_t>(sizeOf(request.chain.writable)) : 0;
}

using Requests_t = std::vector<Request_t>;

/** Takes the requests of the next transfer; nothing when none waits. One that is cut off is taken only when `allThere`.
 */
Requests_t takeTransfer(Virtqueue_t& queue, bool allThere) {
    Requests_t requests;
    do {
        auto chain = queue.peek(static_cast<unsigned>(requests.size()));
        if (!chain && !allThere) {
            return {};
        }
        if (!chain) {
            break;
        }
        requests.push_back(decode(std::move(*chain)));
    } while (requests.back().more);
    queue.take(static_cast<unsigned>(requests.size()));
    return requests;
}

void takeTransfers(Virtqueue_t& queue, std::vector<Requests_t>& all, bool allThere) {
    for (Requests_t one = takeTransfer(queue, allThere); !one.empty(); one = takeTransfer(queue, allThere)) {
        all.push_back(std::move(one));
    }
}

void carryOut(Requests_t& requests, Bus_t& bus) {
    if (!std::all_of(requests.begin(), requests.end(), [](const Request_t& request) { return request.valid; })) {
        return;
    }
    std::vector<BusMessage_t> messages;
    for (const Request_t& request : requests) {
        messages.push_back(request.message);
    }
    (void)bus.transfer(messages); // each message tells of itself
    for (std::size_t i = 0; i < requests.size(); ++i) {
        requests[i].message = messages[i];
    }
}

} // namespace

bool serveRequests(Virtqueue_t& queue, Bus_t& bus) {
    /* Nothing is given back before the driver knows of what it shall tell next. It adds no message of its next
       transfer before this one is given back, so it tells of each transfer, and when the transfer is whole. */
    std::vector<Requests_t> transfers;
    takeTransfers(queue, transfers, true);
    queue.askForNotification();
    takeTransfers(queue, transfers, false);
    for (Requests_t& transfer : transfers) {
        carryOut(transfer, bus);
        for (const Request_t& request : transfer) {
            queue.push(request.chain, answer(request));
        }
    }
    return !transfers.empty();
}
