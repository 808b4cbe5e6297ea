#include "unix_socket.h"

#include <cstring>
#include <stdexcept>

sockaddr_un socketAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        throw std::runtime_error("a socket's path must have 1 to " + std::to_string(sizeof address.sun_path - 1) +
                                 " characters: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}
