#include "scripted_switch.h"

#include <sys/socket.h>

namespace {

using Bytes_t = std::vector<std::uint8_t>;

constexpr std::uint8_t WELL_FORMED = 0x01;
constexpr std::size_t HEADER = 64;

ScriptedSwitch_t* current = nullptr;

void put16(Bytes_t& message, std::size_t offset, std::size_t value) {
    message[offset] = static_cast<std::uint8_t>(value >> 8);
    message[offset + 1] = static_cast<std::uint8_t>(value);
}

Bytes_t greeting(std::uint8_t endpoint) {
    Bytes_t message(HEADER);
    message[8] = 14;
    message[9] = 1;
    put16(message, 10, HEADER);
    message[16] = 16;
    message[18] = endpoint;
    return message;
}

/** `payload` as the adapter's reply to `request`: opcode and handle are those of the request. */
Bytes_t reply(std::span<const std::uint8_t> request, const Bytes_t& payload) {
    Bytes_t message(HEADER);
    std::copy_n(request.begin() + 12, 4, message.begin() + 12);
    std::copy_n(request.begin() + 40, 4, message.begin() + 40);
    put16(message, 10, HEADER + payload.size());
    message[16] = 33;
    message[17] = 0x40;
    message.insert(message.end(), payload.begin(), payload.end());
    return message;
}

} // namespace

ScriptedSwitch_t::ScriptedSwitch_t(fuzz::Input_t& input) : input_(input), pieceLimit_(1U + input.byte() * 16U) {
    const std::uint8_t flags = input_.byte();
    waiting_ = (flags & WELL_FORMED) != 0 ? greeting(input_.byte()) : input_.bytes(input_.word());
    current = this;
}

ScriptedSwitch_t::~ScriptedSwitch_t() {
    current = nullptr;
}

void ScriptedSwitch_t::request(std::span<const std::uint8_t> message) {
    fuzz::require(message.size() >= HEADER && message.size() <= 4064);
    fuzz::require(std::size_t{message[10]} * 256 + message[11] == message.size());
    const std::uint8_t flags = input_.byte();
    const Bytes_t bytes = input_.bytes(input_.word());
    const Bytes_t answer = (flags & WELL_FORMED) != 0 ? reply(message, bytes) : bytes;
    waiting_.insert(waiting_.end(), answer.begin(), answer.end());
}

std::size_t ScriptedSwitch_t::read(std::span<std::uint8_t> space) {
    const std::size_t count = std::min({space.size(), waiting_.size(), pieceLimit_});
    std::copy_n(waiting_.begin(), count, space.begin());
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(count));
    return count;
}

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names that the linker's --wrap gives
int __wrap_connect(int socket, const sockaddr* address, socklen_t size);
ssize_t __wrap_send(int socket, const void* bytes, size_t count, int flags);
ssize_t __wrap_recv(int socket, void* bytes, size_t count, int flags);
// NOLINTEND(bugprone-reserved-identifier)
}

int __wrap_connect(int /*socket*/, const sockaddr* /*address*/, socklen_t /*size*/) {
    return 0;
}

ssize_t __wrap_send(int /*socket*/, const void* bytes, size_t count, int /*flags*/) {
    current->request({static_cast<const std::uint8_t*>(bytes), count});
    return static_cast<ssize_t>(count);
}

ssize_t __wrap_recv(int /*socket*/, void* bytes, size_t count, int /*flags*/) {
    return static_cast<ssize_t>(current->read({static_cast<std::uint8_t*>(bytes), count}));
}
