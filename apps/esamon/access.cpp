#include "access.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"

namespace {

constexpr std::size_t LONGEST_TOKEN_FILE = 65536;
/** Shorter ones can be guessed. */
constexpr std::size_t LEAST_TOKEN = 16;

/** The name or address of "name:port", "1.2.3.4" or "[::1]:port". */
std::string withoutPort(const std::string& host) {
    if (host.starts_with('[')) {
        const std::size_t end = host.find(']');
        return end == std::string::npos ? "" : host.substr(1, end - 1);
    }
    return host.substr(0, host.find(':'));
}

bool isAddress(const std::string& text) {
    in6_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 || inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

std::string readTokenFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        throw usageError("cannot read the token file '" + path + "': " + std::strerror(errno));
    }
    struct stat status {};
    std::string text(LONGEST_TOKEN_FILE, '\0');
    const bool isPlain = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    const ssize_t count = read(file, text.data(), text.size());
    close(file);
    if (!isPlain || count < 0) {
        throw usageError("the token file '" + path + "' is no file that can be read");
    }
    if ((status.st_mode & S_IRWXO) != 0) {
        throw usageError("the token file '" + path + "' is open to everybody; chmod o= it");
    }
    text.resize(static_cast<std::size_t>(count));
    return text;
}

/** Looks at every byte of both, whatever differs. */
bool isEqual(const std::string& given, const std::string& token) {
    unsigned difference = given.size() == token.size() ? 0 : 1;
    for (std::size_t i = 0; i < token.size(); ++i) {
        const char other = given.empty() ? '\0' : given[i % given.size()];
        difference |= static_cast<unsigned>(static_cast<unsigned char>(token[i]) ^ static_cast<unsigned char>(other));
    }
    return difference == 0;
}

} // namespace

bool isOwnHost(const std::string& host, const std::vector<std::string>& names) {
    const std::string name = withoutPort(host);
    return name == "localhost" || isAddress(name) || std::ranges::find(names, name) != names.end();
}

bool isSameOrigin(const std::string& origin, const std::string& fetchSite, const std::string& host) {
    const bool isOwn = origin.empty() || origin == "http://" + host || origin == "https://" + host;
    return isOwn && (fetchSite.empty() || fetchSite == "same-origin" || fetchSite == "none");
}

std::optional<std::string> tokenOwner(const std::string& file, const std::string& authorization) {
    constexpr std::string_view SCHEME = "Bearer ";
    const std::string given = authorization.starts_with(SCHEME) ? authorization.substr(SCHEME.size()) : "";
    std::istringstream lines(readTokenFile(file));
    std::optional<std::string> owner;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        std::string token;
        words >> name >> token;
        if (token.empty()) {
            token.swap(name);
            name = "somebody";
        }
        if (token.size() >= LEAST_TOKEN && !token.starts_with('#') && isEqual(given, token)) {
            owner = name;
        }
    }
    return owner;
}
