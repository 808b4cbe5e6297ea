#pragma once
// The serial line as a pseudo-terminal, linked where the adapter looks for its I2C device.

#include "sim/descriptor.h"

#include <string>

namespace encsim {

class Pty {
public:
    /// Opens a pseudo-terminal, sets its line raw and links `link` to it. A link that a simulator which has died left
    /// there is replaced. Throws std::runtime_error, saying what would be right, when the place is taken otherwise.
    explicit Pty(std::string link);
    /// Removes the link, if it is still this one's.
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    /// The simulator's end; reads and writes do not block.
    int fd() const { return master_.get(); }
    const std::string& device() const { return device_; }
    const std::string& link() const { return link_; }

private:
    void place() const;

    std::string link_;
    std::string device_;
    Descriptor master_;
    Descriptor slave_; // kept open, so that the adapter may come and go; its lock tells that the line is in use
};

} // namespace encsim
