#include "event_log_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

Record_t::Record_t(U16_t id, U8_t source, U8_t type, U8_t category, U8_t version, const std::vector<U8_t>& body)
    : bytes(152 + body.size(), 0xEE) {
    bytes[144] = static_cast<U8_t>(body.size() >> 8);
    bytes[145] = static_cast<U8_t>(body.size());
    bytes[146] = source;
    bytes[147] = type;
    bytes[148] = category;
    bytes[149] = version;
    bytes[150] = static_cast<U8_t>(id >> 8);
    bytes[151] = static_cast<U8_t>(id);
    std::copy(body.begin(), body.end(), bytes.begin() + 152);
}

void EventLog::useDirectory(const std::string& name) {
    ASSERT_LE(name.size(), sizeof(params.logDirectory));
    std::memset(params.logDirectory, 0, sizeof(params.logDirectory));
    std::memcpy(params.logDirectory, name.data(), name.size());
}

std::string EventLog::standardErrorOf(const std::function<void()>& action) const {
    testing::internal::CaptureStderr();
    action();
    return withoutTime(testing::internal::GetCapturedStderr());
}

std::string EventLog::withoutTime(std::string text) const {
    const std::string member = "{\"time\":";
    for (std::size_t at = 0; (at = text.find(member, at)) != std::string::npos; ++at) {
        const std::size_t first = at + member.size();
        const std::size_t end = text.find_first_not_of("0123456789", first);
        const long long seconds = std::atoll(text.substr(first, end - first).c_str());
        EXPECT_GE(seconds, start);
        EXPECT_LE(seconds, time(nullptr));
        text.erase(first, end - first);
        text.insert(text.begin() + static_cast<std::ptrdiff_t>(first), 'T');
    }
    return text;
}
