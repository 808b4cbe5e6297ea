/**
 * One sender's byte stream through the message switch: cut into messages, routed, put into words for the log and sent
 * on to receivers that take what they like. An input is a few bytes of settings, then the stream.
 */
#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/socket.h>

#include "connection.h"
#include "decode.h"
#include "fuzz_input.h"
#include "router.h"

namespace {

using Bytes_t = std::vector<std::uint8_t>;
using fuzz::require;

/** A receiver's end: how much it takes at a time repeats in a pattern of the input's. */
class Receiver_t {
public:
    explicit Receiver_t(fuzz::Input_t& input) {
        std::ranges::generate(pattern_, [&] { return input.byte(); });
    }

    ssize_t take(std::span<const std::uint8_t> bytes) {
        const std::uint8_t step = pattern_[calls_++ % pattern_.size()];
        if (gone || step == 0xFF) {
            gone = true;
            errno = EPIPE;
            return -1;
        }
        if (step < ERRORS.size() && !willing) {
            // No signal comes for ever: after one the socket is full.
            errno = errno == EINTR ? EAGAIN : ERRORS[step];
            return -1;
        }
        const std::size_t count = willing ? bytes.size() : std::min<std::size_t>(bytes.size(), step * 24U);
        taken.insert(taken.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        return static_cast<ssize_t>(count);
    }

    OutStream_t out{2 * 4064};
    bool willing = false; /**< takes everything from now on */
    bool gone = false;
    Bytes_t taken;
    Bytes_t promised; /**< the messages that were sent or kept, one behind the other */

private:
    static constexpr std::array<int, 3> ERRORS{EAGAIN, ENOBUFS, EINTR};
    std::array<std::uint8_t, 4> pattern_{};
    std::size_t calls_ = 0;
};

// What the router knows as connections 0, 1 and 2: the adapter, and two that stand for one peer.
constexpr std::array<std::uint8_t, 3> ENDPOINTS{33, 34, 34};

std::vector<Receiver_t>* receivers = nullptr;

/** The stream cut by the rule alone: a length from 64 to 4064, big-endian, at offset 10. */
struct Cut_t {
    std::vector<Bytes_t> messages;
    bool nonsense = false;
};

Cut_t cut(const Bytes_t& stream) {
    Cut_t result;
    for (std::size_t at = 0; stream.size() - at >= 12;) {
        const std::size_t length = std::size_t{stream[at + 10]} * 256 + stream[at + 11];
        result.nonsense = length < 64 || length > 4064;
        if (result.nonsense || stream.size() - at < length) {
            break;
        }
        const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(at);
        result.messages.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(length));
        at += length;
    }
    return result;
}

void deliver(const Routing_t& routing, const Bytes_t& message) {
    for (const int connection : routing.connections) {
        Receiver_t& receiver = (*receivers)[static_cast<std::size_t>(connection)];
        const Send_e result = receiver.out.send(connection, message);
        require((result == Send_e::GONE) == receiver.gone || result == Send_e::BUFFERED || result == Send_e::DROPPED);
        if (result == Send_e::SENT || result == Send_e::BUFFERED) {
            receiver.promised.insert(receiver.promised.end(), message.begin(), message.end());
        }
        require((result == Send_e::SENT || result == Send_e::GONE) == (receiver.out.waiting() == 0));
        require(receiver.out.waiting() <= 2 * 4064);
    }
}

/** Every named endpoint has its message delivered, kept or dropped, and only one of them. */
void requireRouting(const Routing_t& routing, const Router_t& router) {
    require((routing.queued & routing.dropped) == 0);
    require((routing.displaced & ~routing.queued) == 0);
    std::size_t copies = 0;
    for (std::uint8_t endpoint = 0; endpoint < 64; ++endpoint) {
        const std::uint64_t bit = std::uint64_t{1} << endpoint;
        const bool here = router.connectionCount(endpoint) != 0;
        require(((routing.queued | routing.dropped) & bit) == (here ? 0 : routing.named & bit));
        copies += (routing.named & bit) != 0 ? router.connectionCount(endpoint) : 0;
    }
    require(routing.connections.size() == copies);
}

void switchMessage(Router_t& router, std::uint8_t sender, std::span<const std::uint8_t> framed,
                   const Bytes_t& expected) {
    const Bytes_t message(framed.begin(), framed.end()); // exactly its size: no read beyond it goes unseen
    require(message == expected);
    const Routing_t& routing = router.route(Parcel_t(message, sender, {sender, {}}, {}));
    requireRouting(routing, router);
    const std::string line = describeMessage(message, sender, routing);
    require(std::ranges::all_of(line, [](char c) { return c >= 0x20 && c < 0x7F; }));
    require(line.ends_with(describeContent(message)));
    deliver(routing, message);
}

/** Cuts and switches what has arrived; false when the stream can be followed no further. */
bool switchAll(InStream_t& in, Router_t& router, std::uint8_t sender, const Cut_t& expected, std::size_t& index) {
    for (;;) {
        std::span<const std::uint8_t> message;
        switch (in.next(message)) {
        case Frame_e::MESSAGE:
            require(index < expected.messages.size());
            switchMessage(router, sender, message, expected.messages[index]);
            ++index;
            break;
        case Frame_e::INCOMPLETE:
            return true;
        case Frame_e::NONSENSE:
            require(expected.nonsense && index == expected.messages.size());
            require(in.announcedLength() < 64 || in.announcedLength() > 4064);
            return false;
        }
    }
}

void feed(InStream_t& in, Router_t& router, std::uint8_t sender, const Bytes_t& stream, std::size_t pieceSize) {
    const Cut_t expected = cut(stream);
    std::size_t index = 0;
    bool good = true;
    for (std::size_t at = 0; good && at < stream.size();) {
        const std::span<std::uint8_t> space = in.space();
        require(space.size() >= 4064);
        const std::size_t count = std::min({space.size(), pieceSize, stream.size() - at});
        std::copy_n(stream.begin() + static_cast<std::ptrdiff_t>(at), count, space.begin());
        in.filled(count);
        at += count;
        good = switchAll(in, router, sender, expected, index);
        for (std::size_t i = 0; i < receivers->size(); ++i) {
            (void)(*receivers)[i].out.flush(static_cast<int>(i));
        }
    }
    require(index == expected.messages.size() && good != expected.nonsense);
}

/** Whoever is still there gets, in the end, what was promised: whole messages in their order. */
void finish() {
    for (std::size_t i = 0; i < receivers->size(); ++i) {
        Receiver_t& receiver = (*receivers)[i];
        receiver.willing = true;
        const Send_e result = receiver.out.flush(static_cast<int>(i));
        require(receiver.out.waiting() == 0 && (result == Send_e::SENT || result == Send_e::GONE));
        require(receiver.gone || receiver.taken == receiver.promised);
    }
}

} // namespace

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
ssize_t __wrap_send(int socket, const void* bytes, size_t count, int flags);
// NOLINTEND(bugprone-reserved-identifier)
}

ssize_t __wrap_send(int socket, const void* bytes, size_t count, int flags) {
    require((flags & MSG_DONTWAIT) != 0 && (flags & MSG_NOSIGNAL) != 0);
    return (*receivers)[static_cast<std::size_t>(socket)].take({static_cast<const std::uint8_t*>(bytes), count});
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input_t input(data, size);
    const std::size_t pieceSize = 1U + input.byte() * 8U;
    const std::uint8_t sender = input.byte() % 64;
    const std::uint8_t present = input.byte();
    Router_t router(1U + present / 32U);
    std::vector<Receiver_t> all;
    for (std::size_t i = 0; i < ENDPOINTS.size(); ++i) {
        all.emplace_back(input);
        if ((present >> i & 1) != 0) {
            router.attach(ENDPOINTS[i], static_cast<int>(i));
        }
    }
    receivers = &all;
    InStream_t in;
    feed(in, router, sender, input.all(), pieceSize);
    finish();
    for (const std::uint8_t endpoint : std::to_array<std::uint8_t>({18, 20, 27, 33})) {
        require(router.takeQueue(endpoint, {}).size() <= 1U + present / 32U && router.takeQueue(endpoint, {}).empty());
    }
    receivers = nullptr;
    return 0;
}
