#include "messages.h"

#include <algorithm>

#include "octets.h"

namespace model {
namespace {

constexpr std::size_t HEADER = 64;
constexpr std::size_t PAGE = 72;
constexpr std::size_t FIRST_LIST = 80;
constexpr std::size_t LARGEST = 4064;

constexpr std::uint8_t STARTUP_PROTOCOL = 12;
constexpr std::uint8_t SES_PROTOCOL = 18;
constexpr std::uint8_t RECEIVE_DIAGNOSTIC = 28;
constexpr std::uint8_t SEND_DIAGNOSTIC = 29;
constexpr std::uint8_t VOLUME_MANAGER = 20;

void setLength(Bytes_t& message, std::size_t length) {
    octets::put(message, 10, 2, static_cast<std::uint32_t>(length));
}

Bytes_t header(std::size_t size, std::uint8_t protocol, std::uint8_t type, std::uint8_t requestor) {
    Bytes_t message(std::max(size, HEADER));
    message[8] = 14;
    message[9] = 1;
    setLength(message, size);
    message[12] = protocol;
    message[15] = type;
    message[16] = requestor;
    message[27] = 0x02; // the adapter's own bit
    return message;
}

void putWord(Bytes_t& message, std::size_t at, std::uint32_t value) {
    octets::put(message, at, 4, value);
}

std::uint8_t somebody(Random_t& random) {
    return random.pick<std::uint8_t>({15, 16, 18, 19, 20, 20, 23, 26, 27, 31, 32, 33, 63, 64, 255});
}

/** Words that name the sender's request, or are to be ignored. */
void fillHeader(Bytes_t& message, Random_t& random) {
    for (const std::size_t at : {0U, 4U, 40U, 44U, 48U, 52U, 56U, 60U}) {
        putWord(message, at, random.below(0x1000000) * 251U);
    }
    message[9] = random.pick<std::uint8_t>({1, 1, 0, 2});
    message[17] |= random.pick<std::uint8_t>({0, 0, 0, 0x3F, 0x80, 0xBF});
    message[18] = random.byte();
    message[19] = random.byte();
}

Bytes_t status(Random_t& random) {
    const auto usual = random.pick<std::uint8_t>({1, 2, 2, 2, 2, 0, 3, 13, 15, 16, 255});
    const std::uint8_t page = random.chance(10) ? random.byte() : usual;
    const unsigned boundary = random.pick<unsigned>({0, 1, 20, 63, 64, 67, 68, 69, 255, 256, 4000, 0xFFFF});
    const unsigned allocation = random.chance(10) ? random.below(0x10000) : boundary;
    Bytes_t message =
        receiveDiagnostic(page, allocation, random.pick<std::uint8_t>({0x80, 0x80, 0x80, 0xFF, 0, 0x01, 0x7F}));
    if (random.chance(5)) {
        message[HEADER] = random.pick<std::uint8_t>({0, 29, 27});
    }
    return message;
}

/** A record with the bits that mean something, or all of them. */
std::uint32_t controlRecord(Random_t& random) {
    const std::uint32_t select = random.chance(70) ? 0x80000000U : 0;
    if (random.chance(30)) {
        return select | (random.below(0x1000000) * 129U & 0x7FFFFFFF);
    }
    return select | random.pick<std::uint32_t>({0, 0, 0x02, 0x04, 0x04, 0x06, 0x80, 0x40, 0x20, 0x10, 0x08, 0xC0, 0xF2,
                                                0x20000000, 0x20000002, 0x01400000});
}

void appendWord(Bytes_t& bytes, std::uint32_t word) {
    bytes.resize(bytes.size() + 4);
    putWord(bytes, bytes.size() - 4, word);
}

unsigned near(Random_t& random, unsigned count) {
    if (random.chance(90)) {
        return count;
    }
    const unsigned more = count + random.below(3);
    return more > 0 && random.chance(50) ? more - 1 : more;
}

void appendLists(Bytes_t& message, Random_t& random, const Counts_t& counts) {
    for (const unsigned count : {counts.devices, counts.supplies, counts.fans, counts.sensors, counts.alarms}) {
        appendWord(message, random.pick<std::uint32_t>({0x80, 0x80, 0xA0, 0x20, 0, 0x7F, 0x80000000, 0xFFFFFFFF}));
        const std::uint32_t same = controlRecord(random);
        const bool alike = random.chance(30);
        for (unsigned i = near(random, count); i > 0; --i) {
            appendWord(message, alike ? same : controlRecord(random));
        }
    }
}

Bytes_t control(Random_t& random, std::uint8_t chassis) {
    Bytes_t message = header(FIRST_LIST, SES_PROTOCOL, SEND_DIAGNOSTIC, 23);
    message[HEADER] = SEND_DIAGNOSTIC;
    message[HEADER + 1] = random.pick<std::uint8_t>({0x10, 0x10, 0x08, 0x08, 0, 0xFF, 0xF7});
    message[PAGE] = random.chance(90) ? std::uint8_t{2} : random.pick<std::uint8_t>({0, 1, 3, 4, 255});
    appendLists(message, random, countsOf(chassis));
    const std::size_t parameters = random.chance(90) ? message.size() - PAGE : random.pick<std::size_t>({0, 1, 0x100});
    octets::put(message, HEADER + 4, 2, static_cast<std::uint32_t>(parameters));
    if (random.chance(10)) {
        message.resize(HEADER + random.below(static_cast<unsigned>(message.size() - HEADER)));
    } else if (random.chance(5)) {
        message.resize(LARGEST, random.byte());
    }
    setLength(message, message.size());
    return message;
}

/** Answers to what the adapter has asked of others, and to what it has not. */
Bytes_t response(Random_t& random) {
    const auto size = random.pick<std::size_t>({64, 64, 68, 72});
    Bytes_t message = header(size, STARTUP_PROTOCOL, 14, random.pick<std::uint8_t>({18, 18, 18, 33, 27, 17}));
    if (random.chance(20)) {
        message[12] = SES_PROTOCOL;
        message[15] = random.pick<std::uint8_t>({RECEIVE_DIAGNOSTIC, SEND_DIAGNOSTIC});
    }
    message[17] = random.pick<std::uint8_t>({0x40, 0x40, 0xFF, 0xC0, 0});
    putWord(message, 36, random.pick<std::uint32_t>({0, 1, 1, 2, 0x101, 0x10001, 0x1000001, 0xFFFFFFFF}));
    return message;
}

Bytes_t otherRequest(Random_t& random) {
    const auto size = random.pick<std::size_t>({64, 72, 100});
    const auto protocol = random.pick<std::uint8_t>({0, 1, 8, STARTUP_PROTOCOL, 13, 17, SES_PROTOCOL, 19, 255});
    const std::uint8_t type = random.byte();
    Bytes_t message = header(size, protocol, type, somebody(random));
    message[13] = random.pick<std::uint8_t>({0, 0, 0, 1});
    message[14] = random.pick<std::uint8_t>({0, 0, 0, 1, 0xFF});
    return message;
}

Bytes_t anyKind(Random_t& random, std::uint8_t chassis) {
    const unsigned kind = random.below(100);
    if (kind < 40) {
        return status(random);
    }
    if (kind < 75) {
        return control(random, chassis);
    }
    return kind < 87 ? response(random) : otherRequest(random);
}

/** Not for the adapter, or only by one of the four bitmap words. */
void misaddress(Bytes_t& message, Random_t& random) {
    message[8] = random.pick<std::uint8_t>({14, 14, 14, 7, 0, 255});
    for (const std::size_t at : {20U, 24U, 28U, 32U}) {
        putWord(message, at, random.pick<std::uint32_t>({0, 0, 2, 0x40000, 0xFFFFFFFD}));
    }
}

/** A length that is not the message's, or is no message's. */
void mislength(Bytes_t& message, Random_t& random) {
    const std::size_t length =
        random.pick<std::size_t>({0, 1, 11, 12, 13, 63, 64, 65, 71, 72, 73, 80, 4063, 4064, 4065, 4576, 4577, 0xFFFF});
    setLength(message, length);
    if (random.chance(80)) {
        message.resize(std::max(length, length == 0 ? HEADER : std::size_t{12}), random.byte());
    }
}

} // namespace

Counts_t countsOf(std::uint8_t chassis) {
    switch (chassis) {
    case 2:
        return {12, 2, 8, 2, 1};
    case 3:
        return {16, 3, 3, 3, 1};
    case 4:
        return {16, 3, 6, 4, 1};
    case 5:
    case 6:
        return {16, 2, 3, 3, 1};
    default:
        return {16, 3, 8, 4, 1};
    }
}

Bytes_t receiveDiagnostic(std::uint8_t pageCode, unsigned allocationLength, std::uint8_t flags) {
    Bytes_t message = header(PAGE, SES_PROTOCOL, RECEIVE_DIAGNOSTIC, 23);
    message[HEADER] = RECEIVE_DIAGNOSTIC;
    message[HEADER + 1] = flags;
    message[HEADER + 2] = pageCode;
    octets::put(message, HEADER + 4, 2, allocationLength);
    return message;
}

Bytes_t controlPage(const Counts_t& counts, std::uint32_t fill) {
    Bytes_t message = header(FIRST_LIST, SES_PROTOCOL, SEND_DIAGNOSTIC, 23);
    message[HEADER] = SEND_DIAGNOSTIC;
    message[HEADER + 1] = 0x08;
    message[PAGE] = 2;
    for (const unsigned count : {counts.devices, counts.supplies, counts.fans, counts.sensors, counts.alarms}) {
        appendWord(message, 0x80);
        for (unsigned i = 0; i < count; ++i) {
            appendWord(message, fill);
        }
    }
    message[HEADER + 5] = static_cast<std::uint8_t>(message.size() - PAGE);
    setLength(message, message.size());
    return message;
}

Bytes_t randomMessage(Random_t& random, std::uint8_t chassis) {
    Bytes_t message = anyKind(random, chassis);
    fillHeader(message, random);
    if (random.chance(75)) {
        message[16] = random.chance(15) ? VOLUME_MANAGER : message[16];
    } else {
        message[16] = somebody(random);
    }
    if (random.chance(7)) {
        misaddress(message, random);
    }
    if (random.chance(7)) {
        mislength(message, random);
    }
    while (random.chance(8)) {
        message[random.below(static_cast<unsigned>(message.size()))] = random.byte();
    }
    return message;
}

} // namespace model
