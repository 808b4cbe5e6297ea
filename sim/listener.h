#pragma once

#include "sim/descriptor.h"

#include <string>

namespace encsim {

/// A UNIX stream socket that listens at a path, and removes it at the end.
class Listener {
public:
    /// A socket nobody answers at any more is replaced. Throws std::runtime_error, naming the option that gave the
    /// path, when the path is taken otherwise.
    explicit Listener(std::string path, const char* option = "--control");
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int fd() const { return fd_.get(); }

private:
    std::string path_;
    Descriptor fd_;
};

} // namespace encsim
