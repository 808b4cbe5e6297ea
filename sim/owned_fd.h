#pragma once

#include <unistd.h>
#include <utility>

/** Owns a file descriptor; -1 for none. */
class OwnedFd_t {
public:
    explicit OwnedFd_t(int fd = -1) : fd_(fd) {}
    ~OwnedFd_t() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    OwnedFd_t(OwnedFd_t&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    OwnedFd_t& operator=(OwnedFd_t&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    int get() const { return fd_; }

private:
    int fd_;
};
