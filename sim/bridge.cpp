#include "sim/bridge.h"

namespace encsim {
namespace {

constexpr std::uint8_t kRead = 0x52;
constexpr std::uint8_t kWrite = 0x57;
constexpr std::uint8_t kDone = 0x41;
constexpr std::uint8_t kNotAcknowledged = 0x4E;

constexpr std::size_t kHead = 4; // operation, device, register, length

bool headIsValid(const std::vector<std::uint8_t>& head) {
    const bool operation = head[0] == kRead || head[0] == kWrite;
    const bool address = head.size() < 2 || head[1] < 0x80;
    const bool length = head.size() < kHead || head[3] != 0;
    return operation && address && length;
}

} // namespace

std::vector<std::uint8_t> Bridge::feed(std::span<const std::uint8_t> bytes, Clock::time_point now) {
    if (now - last_ >= kSilence) {
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

void Bridge::setSilent(bool silent) {
    silent_ = silent;
    request_.clear();
}

void Bridge::take(std::uint8_t byte, std::vector<std::uint8_t>& answer) {
    if (junk_ || silent_) {
        return;
    }
    request_.push_back(byte);
    if (request_.size() <= kHead && !headIsValid(request_)) {
        junk_ = true;
        request_.clear();
        return;
    }
    const std::size_t data = request_.size() >= kHead && request_[0] == kWrite ? request_[3] : 0;
    if (request_.size() == kHead + data) {
        run(answer);
        request_.clear();
    }
}

void Bridge::run(std::vector<std::uint8_t>& answer) {
    const std::uint8_t address = request_[1];
    const std::uint8_t reg = request_[2];
    std::vector<std::uint8_t> data;
    bool done = false;
    if (request_[0] == kRead) {
        data.resize(request_[3]);
        done = bus_.read(address, reg, data);
    } else {
        done = bus_.write(address, reg, std::span<const std::uint8_t>(request_).subspan(kHead));
    }
    answer.push_back(done ? kDone : kNotAcknowledged);
    if (done) {
        answer.insert(answer.end(), data.begin(), data.end());
    }
}

} // namespace encsim
