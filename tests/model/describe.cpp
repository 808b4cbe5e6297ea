/** The remembered state as text. */
#include "adapter.h"

#include <type_traits>

namespace model {

namespace {

constexpr char DIGITS[] = "0123456789abcdef";

/** "%x" of a field's own width: -1 in 16 bits is ffff. */
template <typename Number>
std::string shown(Number value) {
    std::string digits;
    auto rest = static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<Number>>(value));
    do {
        digits.insert(digits.begin(), DIGITS[rest & 0xF]);
    } while ((rest >>= 4) != 0);
    return ' ' + digits;
}

std::string shown(const std::string& text) {
    return ' ' + text;
}

/** A message's buffer is shown without the zeros at its end, of which it has mostly many. */
template <std::size_t N>
std::string shown(const std::array<std::uint8_t, N>& bytes) {
    std::size_t size = N;
    while (N > 256 && size > 0 && bytes[size - 1] == 0) {
        --size;
    }
    std::string text;
    text.reserve(3 * size);
    for (std::size_t i = 0; i < size; ++i) {
        text += {' ', DIGITS[bytes[i] >> 4], DIGITS[bytes[i] & 0xF]};
    }
    return text;
}

template <typename Value, std::size_t N>
std::string shown(const std::array<Value, N>& values) {
    std::string text;
    for (const Value& value : values) {
        text += shown(value);
    }
    return text;
}

} // namespace

std::vector<std::string> Changes_t::until(const State_t& now) {
    std::vector<std::string> lines;
    const auto tell = [&](const char* name, auto field) {
        if (!before_ || now.*field != (*before_).*field) {
            lines.push_back(std::string(name) + " =" + shown(now.*field));
        }
    };
#define FIELD(type, name) tell(#name, &State_t::name);
#include "state_fields.def"
#undef FIELD
    tell("socketPath", &State_t::socketPath);
    tell("traceModules", &State_t::traceModules);
    tell("vsc055GPD", &State_t::vsc055GPD);
    tell("vsc055DDP", &State_t::vsc055DDP);
    tell("vsc055FSC", &State_t::vsc055FSC);
    tell("vsc055PWMC", &State_t::vsc055PWMC);
    tell("selectTimeoutSec", &State_t::selectTimeoutSec);
    tell("selectTimeoutUsec", &State_t::selectTimeoutUsec);
    tell("pollTimeoutSec", &State_t::pollTimeoutSec);
    tell("pollTimeoutUsec", &State_t::pollTimeoutUsec);
    before_ = now;
    return lines;
}

} // namespace model
