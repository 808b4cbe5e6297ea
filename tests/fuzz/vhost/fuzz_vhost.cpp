/**
 * The simulator as a virtual machine's I2C bus: a driver's rings and requests, or an emulator's messages. Promises:
 * nothing outside the guest's memory is touched, no more requests are given back than the ring has places, and the
 * device answers a well-formed message whatever came before it.
 */
#include <cstring>
#include <sys/eventfd.h>
#include <sys/mman.h>

#include "enclosure.h"
#include "fuzz_input.h"
#include "vhost_device.h"

using fuzz::Input_t;
using fuzz::require;

namespace {

constexpr std::uint64_t GUEST = 0x10000;
constexpr std::uint64_t USER = 0x7f0000000000;
constexpr std::size_t MEMORY = 0x1000;

/** The rest of the input is what the driver has written: rings at the beginning, and buffers wherever it says. */
void driveQueue(Input_t& input, Bus_t& bus) {
    const unsigned flags = input.byte();
    Virtqueue_t::Layout_t layout;
    layout.size = 1U << (flags & 7);
    layout.indirect = (flags & 8) != 0;
    layout.eventIndex = (flags & 16) != 0;
    layout.next = static_cast<std::uint16_t>((flags & 32) != 0 ? 0xFFFE : 0);
    layout.descriptors = USER;
    layout.available = USER + layout.size * 16;
    layout.used = layout.available + 8 + layout.size * 2;
    std::vector<std::uint8_t> bytes = input.all();
    bytes.resize(bytes.size() + bytes.size() % 2);
    GuestMemory_t memory;
    memory.add({.guest = GUEST, .user = USER, .bytes = bytes});
    auto queue = Virtqueue_t::make(memory, layout);
    if (!queue) {
        return;
    }
    for (int kick = 0; kick < 3; ++kick) {
        const std::uint16_t before = queue->next();
        const bool served = serveRequests(*queue, bus);
        const auto taken = static_cast<std::uint16_t>(queue->next() - before);
        require(taken <= 2 * layout.size && served == (taken != 0));
        (void)queue->wantsInterrupt();
    }
}

/** Messages with a request each, a payload, and files: the guest's memory, or the end of a pipe of events. */
void driveDevice(Input_t& input, Bus_t& bus) {
    const OwnedFd_t memory(memfd_create("guest", MFD_CLOEXEC));
    require(ftruncate(memory.get(), MEMORY) == 0);
    {
        const std::vector<std::uint8_t> content = input.bytes(input.word() % MEMORY);
        require(pwrite(memory.get(), content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));
    }
    VhostDevice_t device(bus);
    while (!input.empty()) {
        VhostMessage_t message;
        message.request = input.byte();
        const unsigned kind = input.byte();
        message.flags = kind & 0x0F;
        for (unsigned i = 0; i < (kind >> 4 & 3); ++i) {
            message.files.emplace_back((kind & 0x40) != 0 ? dup(memory.get()) : eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        }
        message.payload = input.bytes(input.byte());
        if (!device.handle(std::move(message))) {
            break;
        }
        device.serve();
    }
    VhostMessage_t question;
    question.request = 1;
    const auto reply = device.handle(std::move(question));
    require(reply && reply->size() == 20);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input_t input(data, size);
    const auto enclosure = makeEnclosure("vsc055");
    if ((input.byte() & 1) == 0) {
        driveQueue(input, enclosure->bus());
    } else {
        driveDevice(input, enclosure->bus());
    }
    return 0;
}
