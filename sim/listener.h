#pragma once

#include <string>

#include "owned_fd.h"

/** A UNIX stream socket that listens at a path, and removes it at the end. */
class Listener_t {
public:
    /**
     * A socket nobody answers at any more is replaced. Throws std::runtime_error, naming the option that gave the
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
