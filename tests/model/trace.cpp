/** The trace log's pieces, and the one way out of the adapter. */
#include <cstdio>

#include "adapter.h"
#include "outgoing.h"

namespace model {

void Adapter_t::trace(const char* function, const char* format, ...) {
    if (!tracing_) {
        return;
    }
    char text[1024]; // longer text is cut
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    world_.trace(function, text);
}

void Adapter_t::dump(const char* function, const std::string& label, std::span<const std::uint8_t> bytes) {
    if (!tracing_) {
        return;
    }
    std::string text = label;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char piece[16];
        if (i % 32 == 0) {
            std::snprintf(piece, sizeof piece, "\n0x%08X: ", static_cast<unsigned>(i));
            text += piece;
        } else if (i % 8 == 0) {
            text += ' ';
        }
        std::snprintf(piece, sizeof piece, "%02X", bytes[i]);
        text += piece;
    }
    world_.trace(function, text);
}

void Adapter_t::sendWorkSpace(std::size_t length, const char* function) {
    const long sent = world_.send(state.socketFdMSM, std::span(state.esaWorkSpace).first(length), 0);
    if (sent != static_cast<long>(length)) {
        esaFault(function, "Linux send function fails, sendSize = [" + std::to_string(length) + "] is wrong");
    }
}

void Adapter_t::sendToStartup(const char* function, std::uint32_t opcode, std::uint32_t use1, std::uint32_t use2) {
    putRequestHeader(state.esaWorkSpace, 64, opcode, 0x00040000);
    putWord(state.esaWorkSpace, 44, use1);
    putWord(state.esaWorkSpace, 48, use2);
    sendWorkSpace(64, function);
}

} // namespace model
