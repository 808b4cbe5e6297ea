/**
 * Lives of the adapter, with the reference model as the judge: whatever the input makes of a life, both do and remember
 * the same. An input is the chassis and three bytes of circumstances; then steps, each a byte for its kind and what
 * that kind needs.
 */
#include <cstdio>

#include "comparison.h"
#include "fuzz_input.h"
#include "messages.h"
#include "real_adapter.h"

namespace {

using namespace model;

constexpr std::size_t MOST_STEPS = 64;
constexpr unsigned MOST_PASSES = 12;

constexpr Call_e CALLS[] = {Call_e::TRANSFER, Call_e::READ,   Call_e::WRITE,   Call_e::SELECT, Call_e::RECEIVE,
                            Call_e::SEND,     Call_e::SOCKET, Call_e::CONNECT, Call_e::OPEN};

/** Results at and beside the ones that mean something. */
Outcome_t outcome(std::uint8_t byte) {
    constexpr long VALUES[] = {-1, 0, 1, -2, 2, 255, -256, 64};
    return {(byte & 0x08) != 0, VALUES[byte & 0x07]};
}

/** Devices of all chassis, and one that none has. */
std::uint8_t address(std::uint8_t byte) {
    constexpr std::uint8_t DEVICES[] = {0x41, 0x63, 0x4A, 0x4B, 0x4C, 0x4D, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x30, 0x10};
    return DEVICES[byte % std::size(DEVICES)];
}

std::uint32_t wideWord(fuzz::Input_t& input) {
    const std::uint32_t high = input.word();
    return high << 16 | input.word();
}

Bytes_t statusRequest(fuzz::Input_t& input) {
    const std::uint8_t page = input.byte();
    const unsigned allocation = input.word();
    return receiveDiagnostic(page, allocation, input.byte());
}

/** A message whose header is right where it is dull: type, version, length and the adapter's bit. */
Bytes_t wellFormed(fuzz::Input_t& input, std::uint8_t chassis) {
    const std::uint8_t shape = input.byte();
    Bytes_t message = (shape & 0x01) != 0 ? controlPage(countsOf(chassis), wideWord(input)) : statusRequest(input);
    message[16] = (shape & 0x02) != 0 ? input.byte() : message[16];
    message[17] = (shape & 0x04) != 0 ? input.byte() : message[17];
    for (auto changes = static_cast<unsigned>(shape >> 5); changes > 0; --changes) {
        const std::size_t at = input.word() % message.size();
        message[at] = input.byte();
    }
    return message;
}

Step_t step(fuzz::Input_t& input, std::uint8_t chassis) {
    Step_t next;
    switch (input.byte() % 9) {
    case 0:
        return pass(1 + input.byte() % MOST_PASSES);
    case 1:
        return put(wellFormed(input, chassis));
    case 2:
        return put(input.bytes(input.byte()));
    case 3: {
        const std::uint8_t device = address(input.byte());
        const unsigned reg = input.byte();
        return setRegister(device, device == ALARM_CONTROLLER_CHIP && reg == 0xFF ? ALARM_CONTROLLER : reg,
                           input.byte());
    }
    case 4: {
        const Call_e call = CALLS[input.byte() % std::size(CALLS)];
        const unsigned after = input.byte();
        return fail(call, after, outcome(input.byte()));
    }
    case 5:
        next.kind = Step_t::DEAD;
        next.address = address(input.byte());
        next.outcome = outcome(input.byte());
        if ((input.byte() & 1) != 0) {
            next.reg = input.byte();
        }
        return next;
    case 6:
        next.kind = Step_t::HEAL;
        return next;
    case 7:
        next.kind = Step_t::CLOSE;
        return next;
    default: {
        const std::size_t size = input.word() % 5000;
        return put(Bytes_t(size, input.byte()));
    }
    }
}

Life_t lifeFrom(fuzz::Input_t& input) {
    Life_t life;
    life.chassis = input.byte() % 8;
    const std::uint8_t circumstances = input.byte();
    life.flags = (circumstances & 0x01) != 0 ? TRACING : 0;
    life.bugCheckEnds = (circumstances & 0x02) != 0;
    life.attach = (circumstances & 0x1C) == 0x1C ? Attach_e::ABSENT : Attach_e::POSSIBLE;
    life.rcp = input.byte() % 20;
    life.directory.assign(input.byte() % 129, 'd');
    while (!input.empty() && life.steps.size() < MOST_STEPS) {
        life.steps.push_back(step(input, life.chassis));
    }
    return life;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input_t input(data, size);
    const Life_t life = lifeFrom(input);
    if (const auto different = compare(life, liveModel, liveReal)) {
        (void)std::fprintf(stderr, "%s%s", toText(life).c_str(), different->c_str());
        fuzz::require(false);
    }
    return 0;
}
