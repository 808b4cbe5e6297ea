/** The serial line as a pseudo-terminal, linked where the adapter looks for its I2C device. */
#pragma once

#include <string>

#include "owned_fd.h"

class Pty_t {
public:
    /**
     * Opens a pseudo-terminal, sets its line raw and links `link` to it. A link that a simulator which has died left
     * there is replaced. Throws ToolError_t, saying what would be right, when the place is taken otherwise.
     */
    explicit Pty_t(std::string link);
    /** Removes the link, if it is still this one's. */
    ~Pty_t();
    Pty_t(const Pty_t&) = delete;
    Pty_t& operator=(const Pty_t&) = delete;

    /** The simulator's end; reads and writes do not block. */
    int fd() const { return master_.get(); }
    const std::string& device() const { return device_; }
    const std::string& link() const { return link_; }

private:
    void place() const;

    std::string link_;
    std::string device_;
    OwnedFd_t master_;
    OwnedFd_t slave_; /**< kept open, so that the adapter may come and go; its lock tells that the line is in use */
};
