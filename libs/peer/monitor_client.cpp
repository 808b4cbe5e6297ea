#include "monitor_client.h"

#include <charconv>
#include <cstdio>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "errors.h"
#include "places.h"
#include "unix_stream.h"

std::string monitorSocket() {
    return fromEnvironment("ESA_MONITOR_SOCKET", PLACES_K_MONITOR);
}

std::optional<MonitorReply_t> askMonitor(const std::string& socket, const std::string& path, double seconds) {
    const UnixSocket_t connection =
        unixConnect(socket, std::chrono::milliseconds(static_cast<long long>(seconds * 1000)));
    if (connection.failed != UnixStep_e::NONE) {
        return std::nullopt;
    }
    const auto whole = static_cast<time_t>(seconds);
    const timeval limit{whole, static_cast<suseconds_t>((seconds - static_cast<double>(whole)) * 1e6)};
    (void)setsockopt(connection.descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const std::string request = "GET " + path + " HTTP/1.0\r\nHost: localhost\r\n\r\n";
    bool isGood =
        sendWhole(connection.descriptor, std::span(reinterpret_cast<const U8_t*>(request.data()), request.size()));
    std::string reply;
    ssize_t count = 1;
    while (isGood && count > 0) {
        char bytes[16384];
        count = recv(connection.descriptor, bytes, sizeof bytes, 0);
        isGood = count >= 0;
        reply.append(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    close(connection.descriptor);
    const std::size_t end = reply.find("\r\n\r\n");
    unsigned status = 0;
    constexpr std::size_t STATUS_AT = 9; // behind "HTTP/1.0 "
    const bool isReply =
        isGood && end != std::string::npos && reply.starts_with("HTTP/1.") && reply.size() > STATUS_AT + 3;
    if (!isReply || std::from_chars(reply.data() + STATUS_AT, reply.data() + STATUS_AT + 3, status).ec != std::errc()) {
        throw noAnswerError("the monitor at '" + socket + "' does not answer");
    }
    return MonitorReply_t{status, reply.substr(end + 4)};
}

std::string queryValue(const std::string& text) {
    std::string safe;
    for (const char c : text) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                             c == '_' || c == '.' || c == '~';
        char coded[8];
        std::snprintf(coded, sizeof coded, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        safe += isPlain ? std::string(1, c) : coded;
    }
    return safe;
}
