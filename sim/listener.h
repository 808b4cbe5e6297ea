#pragma once

#include <string>

#include "owned_fd.h"

/** Throws ToolError_t when `path` cannot be that of a UNIX socket: too long for one, or empty. */
void checkSocketPath(const std::string& path);

/** A UNIX stream socket that listens at a path, and removes it at the end. */
class Listener_t {
public:
    /**
     * A socket nobody answers at any more is replaced. Throws ToolError_t, naming the option that gave the
     * path, when the path is taken otherwise.
     */
    explicit Listener_t(std::string path, const char* option = "--control");
    ~Listener_t();
    Listener_t(const Listener_t&) = delete;
    Listener_t& operator=(const Listener_t&) = delete;

    int fd() const { return fd_.get(); }

private:
    std::string path_;
    OwnedFd_t fd_;
};
