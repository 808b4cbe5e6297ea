#include "records.h"

namespace soak {
namespace {

// Offsets in a message, and what the adapter writes there.
constexpr std::size_t kType = 8;
constexpr std::size_t kLength = 10;
constexpr std::size_t kOpcode = 12;
constexpr std::size_t kRequestor = 16;
constexpr std::size_t kContinuation = 17;
constexpr std::size_t kRecipients = 20;
constexpr std::size_t kReturnCode = 36;
constexpr std::size_t kHandle = 40;
constexpr std::size_t kUse2 = 48;
constexpr std::size_t kStatus = 64;
constexpr std::size_t kPage = 65;
constexpr std::size_t kEventType = 211;
constexpr std::size_t kEventId = 214;
constexpr std::size_t kEventData = 216;

std::string number(std::uint32_t value) {
    return std::to_string(value);
}

std::string word(Bytes message, const char* name, std::size_t offset) {
    return std::string(" ") + name + " " + number(be32(message, offset));
}

/// The data of an event: only what events of this id fill.
std::string eventData(Bytes message, std::uint32_t id) {
    const std::size_t data = kEventData;
    switch (id) {
    case 5:
        return word(message, "drives", data + 4) + word(message, "leds", data + 24);
    case 6:
        return word(message, "supplies", data + 8) + word(message, "status", data + 32);
    case 7:
        return word(message, "fans", data + 12) + word(message, "faults", data + 36);
    case 8:
        return word(message, "sensors", data + 16) + word(message, "band", data + 40) +
               word(message, "sensor", data + 44) + " celsius " +
               std::to_string(static_cast<std::int16_t>(be16(message, data + 48)));
    case 10:
        return word(message, "information", data + 56);
    default:
        return {};
    }
}

std::string event(Bytes message) {
    if (message.size() != 300) {
        return "event of length " + number(static_cast<std::uint32_t>(message.size()));
    }
    const std::uint32_t id = be16(message, kEventId);
    return "event " + number(id) + " type " + number(message[kEventType]) + " chassis " + number(message[kEventData]) +
           eventData(message, id);
}

/// Of a status page: the supplies' codes and the temperatures, which the simulated faults change.
std::string statusPage(Bytes message) {
    const std::size_t supplies = message.size() - 92 - 23 * 4; // what no other element's record takes
    std::size_t at = kPage + 8 + 4 + 16 * 4 + 4;
    std::string text = " supplies";
    for (std::size_t i = 0; i < supplies / 4; ++i, at += 4) {
        text += " " + number(message[at]);
    }
    at += 4 + 3 * 4 + 4;
    text += " temperatures";
    for (std::size_t i = 0; i < 3; ++i, at += 4) {
        text += " " + number(message[at + 2]);
    }
    return text;
}

std::string reply(Bytes message) {
    std::string text = "reply " + number(be32(message, kOpcode) & 0xFFFFFF) + " handle " +
                       number(be32(message, kHandle)) + " length " + number(be16(message, kLength));
    if (message.size() <= kPage || message[kStatus] != be32(message, kReturnCode)) {
        return text + " with two statuses";
    }
    text += " status " + number(message[kStatus]);
    if (message.size() == 68) { // no page: what follows the status is left over
        return text;
    }
    text += " page " + number(message[kPage]);
    return message[kPage] == 2 && message.size() >= 188 ? text + statusPage(message) : text;
}

} // namespace

std::uint32_t be16(Bytes bytes, std::size_t offset) {
    return static_cast<std::uint32_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

std::uint32_t be32(Bytes bytes, std::size_t offset) {
    return be16(bytes, offset) << 16 | be16(bytes, offset + 2);
}

std::uint32_t replyHandle(Bytes message) {
    return (message[kContinuation] & 0x40) != 0 ? be32(message, kHandle) : 0;
}

std::string describe(Bytes message) {
    if (message[kType] != 14 || message[kType + 1] != 1 || message[kRequestor] != 33) {
        return "message with a wrong header";
    }
    if ((message[kContinuation] & 0x40) != 0) {
        return reply(message);
    }
    const std::uint32_t opcode = be32(message, kOpcode);
    const std::uint32_t recipients = be32(message, kRecipients);
    if (opcode == 0x08000001 && recipients == 0x08000000) {
        return event(message);
    }
    if (message.size() == 64 && recipients == 0x00040000) {
        switch (opcode) {
        case 0x0C000001:
            return "started";
        case 0x0C00000E:
            return "led " + number(be32(message, kUse2));
        case 0x0C000010:
            return "email";
        case 0x0D000001:
            return "shutdown";
        default:
            break;
        }
    }
    return "unknown message, opcode " + number(opcode);
}

std::string kindOf(const std::string& line) {
    const std::size_t first = line.find(' ');
    return line.substr(0, first == std::string::npos ? first : line.find(' ', first + 1));
}

} // namespace soak
