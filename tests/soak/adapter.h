#pragma once
// The adapter's only peer: this end of its socket is the switch, and sees every message it sends.

#include "records.h"

#include <chrono>
#include <string>
#include <vector>

namespace soak {

/// A file descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void reset(int fd);
    int get() const { return fd_; }

private:
    int fd_;
};

/// Connects or binds a UNIX socket of `path`; throws std::runtime_error.
int connectTo(const std::string& path);
int listenAt(const std::string& path);

class AdapterSocket {
public:
    explicit AdapterSocket(const std::string& directory) : listener_(listenAt(directory + "/esadapter")) {}

    /// Waits for the adapter to connect; throws std::runtime_error when it does not in time.
    void accept(std::chrono::seconds timeout);

    /// Sends `bytes` and takes what the adapter sends meanwhile, as lines, until the reply with `handle` has come;
    /// throws std::runtime_error when the adapter goes away or stays silent for a minute.
    std::vector<std::string> exchange(Bytes bytes, std::uint32_t handle);

    /// What comes until nothing has come for `quiet`.
    std::vector<std::string> drain(std::chrono::milliseconds quiet);

private:
    bool receive(std::vector<std::string>& lines, std::uint32_t handle);

    Descriptor listener_;
    Descriptor peer_;
    std::vector<std::uint8_t> pending_;
};

} // namespace soak
