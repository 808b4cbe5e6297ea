#pragma once

#include <string>
#include <sys/socket.h>
#include <sys/un.h>

/** The address of the UNIX socket at `path`; throws std::runtime_error when the path is too long for one, or empty. */
sockaddr_un socketAddress(const std::string& path);

inline const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}
