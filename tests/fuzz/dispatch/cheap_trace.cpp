#include "cheap_trace.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "trace.h"

bool cheaptrace::linesAreFormatted = false;

namespace {

/** Formats already looked at, by their addresses; a place holds the latest one that belongs there. */
struct Known_t {
    const char* format;
    bool takesText;
};
std::array<Known_t, 4096> known;

bool takesText(const char* format) {
    Known_t& place = known[reinterpret_cast<std::uintptr_t>(format) % known.size()];
    if (place.format != format) {
        bool found = false;
        for (const char* at = std::strchr(format, '%'); at != nullptr; at = std::strchr(at, '%')) {
            at += 1 + std::strspn(at + 1, "-+ #0123456789.*");
            found = found || *at == 's';
            at += *at != '\0' ? 1 : 0;
        }
        place = {format, found};
    }
    return place.takesText;
}

} // namespace

// The names are those that the compiler gives the tracer's functions.
void realInfo(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* format,
              ...) __asm__("__real__Z11TRACE__infoPKcS0_jS0_z");
void wrappedInfo(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* format,
                 ...) __asm__("__wrap__Z11TRACE__infoPKcS0_jS0_z");
void realDump(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* label, const void* buffer,
              U32_t length) __asm__("__real__Z11TRACE__dumpPKcS0_jS0_PKvj");
void wrappedDump(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* label, const void* buffer,
                 U32_t length) __asm__("__wrap__Z11TRACE__dumpPKcS0_jS0_PKvj");

void wrappedInfo(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* format, ...) {
    if (!cheaptrace::linesAreFormatted && !takesText(format)) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    char text[1024];
    (void)std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (cheaptrace::linesAreFormatted) {
        realInfo(file, function, line, "%s", text);
    }
}

void wrappedDump(const CHAR_t* file, const CHAR_t* function, U32_t line, const CHAR_t* label, const void* buffer,
                 U32_t length) {
    if (cheaptrace::linesAreFormatted) {
        realDump(file, function, line, label, buffer, length);
        return;
    }
    std::vector<std::uint8_t> copy(length);
    std::memcpy(copy.data(), buffer, length);
}
