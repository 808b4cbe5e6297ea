/** Replies to SES commands: framing and sense data. */
#include <algorithm>

#include "adapter.h"
#include "outgoing.h"

namespace model {

namespace {

constexpr std::size_t PAGE = 65;
constexpr std::size_t LARGEST_PAGE = 156; /**< with as many elements as there can be; zeros follow a shorter one */

/** Header and status byte of the reply to the command in `esaInMsg`; a recipient above 63 has no bit. */
void startReply(State_t& state, std::uint8_t statusCode) {
    const std::span<std::uint8_t> message = state.esaWorkSpace;
    const std::uint8_t asker = state.esaInMsg[16];
    clearHeader(message);
    std::copy_n(state.esaInMsg.begin() + 12, 4, message.begin() + 12);
    message[16] = 33;
    message[17] = 0x40;
    message[18] = asker;
    if (asker < 64) {
        putWord(message, asker < 32 ? 20 : 24, 1U << (asker % 32));
    }
    putWord(message, 36, statusCode);
    std::copy_n(state.esaInMsg.begin() + 40, 4, message.begin() + 40);
    message[64] = statusCode;
}

Bytes_t senseData(std::uint8_t senseKey, std::uint8_t asc, std::uint8_t ascq) {
    Bytes_t sense(24);
    sense[0] = 0xE0;
    sense[2] = static_cast<std::uint8_t>(senseKey << 4);
    sense[16] = asc;
    sense[17] = ascq;
    return sense;
}

} // namespace

void Adapter_t::esaSendStatus() {
    const bool pageCodeValid = (state.esaInMsg[65] & 0x80) != 0;
    esaSendStatus(0, pageCodeValid ? state.esaInMsg[66] : state.pageCodeInRecentSndDiagCmd, 0, 0, 0);
}

void Adapter_t::esaSendStatus(std::uint8_t statusCode, std::uint8_t pageCode, std::uint8_t senseKey, std::uint8_t asc,
                              std::uint8_t ascq) {
    const char* const function = "esaSendStatus";
    const std::uint32_t command = wordAt(state.esaInMsg, 12) & 0xFFFFFF;
    const std::uint32_t allocationLength = wordAt(state.esaInMsg, 68) >> 16;
    Bytes_t payload;
    std::size_t length = 0;
    if (command != 28 && command != 29) {
        trace(function, "Un-supported SES Command [%d].", static_cast<int>(command));
    } else if (statusCode == 2) {
        payload = senseData(senseKey, asc, ascq);
        length = 92;
    } else if (statusCode == 0 && command == 29) {
        length = 68;
    } else if (statusCode == 0 && pageCode > 2) {
        trace(function, "Un-supported SES Page [%d].", pageCode);
    } else if (statusCode == 0 && pageCode != 0) {
        payload = buildPage(pageCode, allocationLength);
        length = payload.empty() ? 0 : PAGE + payload.size() - 1; // pages go out one byte short
    }
    if (length == 0) {
        return;
    }
    startReply(state, statusCode);
    payload.resize(LARGEST_PAGE);
    std::ranges::copy(payload, state.esaWorkSpace.begin() + PAGE);
    putHalf(state.esaWorkSpace, 10, length);
    trace(function, "Send out a Diagnostic Page.");
    printMessage(state.esaWorkSpace);
    sendWorkSpace(length, "esaSndDiagPage()");
}

} // namespace model
