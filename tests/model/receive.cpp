/** One pass of the main loop: the wait, and a message cut out of the byte stream. */
#include <algorithm>

#include "adapter.h"
#include "octets.h"

namespace model {

namespace {

constexpr std::size_t HEADER_SIZE = 64;
constexpr std::size_t LENGTH_FIELD_END = 12; /**< a peek of so many bytes saw the length field */
constexpr std::size_t LARGEST_MESSAGE = 4064;
constexpr std::size_t REMEMBERED = 73; /**< bytes of the buffer that a shorter message leaves as they were */
constexpr std::size_t DRAIN = 512;     /**< bytes of a message too long that go at a time */
constexpr int PEEK_AND_WAIT_ALL = 0x102;
constexpr std::uint64_t PAUSE = 1000; /**< microseconds */
constexpr std::uint64_t PAUSE_WHEN_CLOSED = 100'000;

void copyToFront(std::span<std::uint8_t> buffer, const Bytes_t& data) {
    std::copy_n(data.begin(), std::min(data.size(), buffer.size()), buffer.begin());
}

} // namespace

void Adapter_t::mainLoopPass() {
    const SelectResult_t answer = world_.select(state.socketFdMSM, state.selectTimeoutSec, state.selectTimeoutUsec);
    if (answer.result == -1) {
        esaFault("main()", "Linux select function fails");
    }
    if (answer.result != -1 && answer.readable && state.socketFdMSM >= 0) {
        receiveMessage();
        esaProcMmsgMsg();
    }
    esaProcessPollTimeout();
}

Bytes_t Adapter_t::peekHeader() {
    Bytes_t header(HEADER_SIZE, 0);
    // Each peek sees the front of the queue again, so that only the latest counts.
    std::size_t seen = 0;
    for (;;) {
        const ReceiveResult_t answer = world_.receive(state.socketFdMSM, HEADER_SIZE, PEEK_AND_WAIT_ALL);
        if (answer.result < 0) {
            dump("main", "tmpMMCH  =", std::span(header).first(seen));
            esaFault("main()",
                     "Linux recv function fails, MSG_PEEK readSize = [" + std::to_string(answer.result) + "] is wrong");
        } else {
            copyToFront(header, answer.data);
            seen = static_cast<std::size_t>(answer.result);
            if (seen == HEADER_SIZE || (seen >= LENGTH_FIELD_END && octets::number(header, 10, 2) <= seen)) {
                return header;
            }
        }
        world_.sleep(answer.result == 0 ? PAUSE_WHEN_CLOSED : PAUSE);
    }
}

void Adapter_t::receiveMessage() {
    const Bytes_t header = peekHeader();
    const std::size_t announced = octets::number(header, 10, 2);
    // What is judged, and shown when the rest fails, is this message, even when less than a header is taken.
    copyToFront(state.esaInMsg, header);
    // A message of no length at all would stay in front of the queue for ever: its header goes.
    const std::size_t wanted = announced == 0 ? HEADER_SIZE : announced;
    const std::size_t kept = std::min(wanted, LARGEST_MESSAGE);

    std::size_t total = 0;
    while (total < wanted) {
        const bool drain = total >= kept;
        const std::size_t ask = drain ? std::min(wanted - total, DRAIN) : kept - total;
        const ReceiveResult_t answer = world_.receive(state.socketFdMSM, ask, 0);
        if (answer.result < 0) {
            dump("main", "esaMMSG =", std::span(state.esaInMsg).first(std::min(total, kept)));
            esaFault("main()", "Linux recv function fails, mmsg_length readSize = [" + std::to_string(answer.result) +
                                   "] is wrong");
        } else if (announced != 0 && !drain) {
            copyToFront(state.esaInMsg, answer.data);
        }
        if (answer.result <= 0) {
            world_.sleep(answer.result == 0 ? PAUSE_WHEN_CLOSED : PAUSE);
        } else {
            total += static_cast<std::size_t>(answer.result);
        }
    }
    std::ranges::fill(std::span(state.esaInMsg).subspan(std::clamp(announced, REMEMBERED, LARGEST_MESSAGE)),
                      std::uint8_t{0});
}

} // namespace model
