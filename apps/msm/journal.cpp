#include "journal.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <ctime>
#include <string>
#include <unistd.h>

namespace {

constexpr double NOTICES_AT_ONCE = 20;

/** "12:34:56.789", local time. */
std::string timeOfDay() {
    timespec now{};
    (void)::clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    (void)::localtime_r(&now.tv_sec, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%H:%M:%S", &parts);
    (void)std::snprintf(text.data() + length, text.size() - length, ".%03ld", static_cast<long>(now.tv_nsec / 1000000));
    return text.data();
}

} // namespace

bool isWorthNotice(std::uint64_t count) {
    return std::has_single_bit(count);
}

void Journal_t::open() {
    writer_.open(STDOUT_FILENO);
}

void Journal_t::trace(std::string_view line) {
    if (log_) {
        print(line);
    }
}

void Journal_t::ready(std::string_view line) {
    if (!quiet_) {
        print(line);
    }
}

void Journal_t::notice(Notice_e kind, std::string_view line) {
    if (quiet_ && !log_) {
        return;
    }
    Limit_t& limit = limits_[static_cast<std::size_t>(kind)];
    const MsmClock_t::time_point now = MsmClock_t::now();
    const std::chrono::duration<double> passed = now - limit.at;
    limit.level = std::min(NOTICES_AT_ONCE, limit.level + passed.count());
    limit.at = now;
    if (limit.level < 1) {
        ++limit.hidden;
        return;
    }
    limit.level -= 1;
    std::string text(line);
    if (limit.hidden != 0) {
        text += " (and " + std::to_string(limit.hidden) + " of this kind before, not shown)";
        limit.hidden = 0;
    }
    print(text);
}

void Journal_t::print(std::string_view line) {
    writer_.write(log_ ? timeOfDay().append(" ").append(line) : std::string(line));
}
