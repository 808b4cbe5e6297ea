#include "bridge.h"

#include <algorithm>
#include <iterator>

namespace {

/** What the first byte of a frame says about it. */
struct FrameKind_t {
    std::uint8_t first;
    bool read;
    bool numbered;
    /** Bytes before the data, or of the whole frame; a request's last three: device, register, length. */
    std::size_t head;
};

constexpr FrameKind_t KINDS[] = {
    {0x48, false, true, 2}, // greeting: the number
    {0x52, true, false, 4}, {0x57, false, false, 4}, {0x72, true, true, 5}, {0x77, false, true, 5},
};

constexpr std::uint8_t GREETING_ANSWER = 0x68;
constexpr std::uint8_t DONE = 0x41;
constexpr std::uint8_t NOT_ACKNOWLEDGED = 0x4E;
constexpr std::uint8_t NUMBERED_DONE = 0x61;
constexpr std::uint8_t NUMBERED_NOT_ACKNOWLEDGED = 0x6E;

constexpr std::size_t GREETING = 2;

const FrameKind_t* kindOf(const std::vector<std::uint8_t>& frame) {
    const auto* const kind =
        std::find_if(std::begin(KINDS), std::end(KINDS), [&](const FrameKind_t& one) { return one.first == frame[0]; });
    return kind == std::end(KINDS) ? nullptr : kind;
}

/** Whether what there is of the frame can become one. */
bool isPossible(const std::vector<std::uint8_t>& frame) {
    const FrameKind_t* const kind = kindOf(frame);
    if (kind == nullptr) {
        return false;
    }
    if (kind->numbered && frame.size() >= 2 && frame[1] < 0x80) {
        return false;
    }
    if (kind->head == GREETING) {
        return true;
    }
    const bool address = frame.size() < kind->head - 2 || frame[kind->head - 3] < 0x80;
    const bool length = frame.size() < kind->head || frame[kind->head - 1] != 0;
    return address && length;
}

/** Bytes of the whole frame, as far as what there is of it tells. */
std::size_t lengthOf(const std::vector<std::uint8_t>& frame) {
    const FrameKind_t& kind = *kindOf(frame);
    const bool data = kind.head != GREETING && !kind.read && frame.size() >= kind.head;
    return kind.head + (data ? frame[kind.head - 1] : 0);
}

} // namespace

std::vector<std::uint8_t> Bridge_t::feed(std::span<const std::uint8_t> bytes, Clock_t::time_point now) {
    if (now - last_ >= SILENCE) {
        request_.clear();
        junk_ = false;
    }
    last_ = now;
    std::vector<std::uint8_t> answer;
    for (const std::uint8_t byte : bytes) {
        take(byte, answer);
    }
    return answer;
}

void Bridge_t::setSilent(bool silent) {
    silent_ = silent;
    request_.clear();
}

void Bridge_t::take(std::uint8_t byte, std::vector<std::uint8_t>& answer) {
    if (junk_ || silent_) {
        return;
    }
    request_.push_back(byte);
    if (!isPossible(request_)) {
        junk_ = true;
        request_.clear();
        return;
    }
    if (request_.size() == lengthOf(request_)) {
        run(answer);
        request_.clear();
    }
}

void Bridge_t::run(std::vector<std::uint8_t>& answer) {
    const FrameKind_t& kind = *kindOf(request_);
    if (kind.head == GREETING) {
        answer.insert(answer.end(), {GREETING_ANSWER, request_[1]});
        return;
    }
    const std::uint8_t address = request_[kind.head - 3];
    const std::uint8_t reg = request_[kind.head - 2];
    std::vector<std::uint8_t> data;
    bool done = false;
    if (kind.read) {
        data.resize(request_[kind.head - 1]);
        done = bus_.read(address, reg, data);
    } else {
        done = bus_.write(address, reg, std::span<const std::uint8_t>(request_).subspan(kind.head));
    }
    if (kind.numbered) {
        answer.insert(answer.end(), {done ? NUMBERED_DONE : NUMBERED_NOT_ACKNOWLEDGED, request_[1]});
    } else {
        answer.push_back(done ? DONE : NOT_ACKNOWLEDGED);
    }
    if (done && kind.numbered) {
        answer.push_back(static_cast<std::uint8_t>(data.size()));
    }
    if (done) {
        answer.insert(answer.end(), data.begin(), data.end());
    }
}
