#include "fake_switch.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

void sendAll(int fd, const Bytes_t& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(n);
    }
}

bool receiveAll(int fd, U8_t* bytes, std::size_t size) {
    return size == 0 || recv(fd, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

int listenAt(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(fd, 8) != 0) {
        std::abort();
    }
    return fd;
}

std::string newDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "esactl-test-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        std::abort();
    }
    return path;
}

} // namespace

Bytes_t responseTo(const Bytes_t& request, U8_t status, const Bytes_t& payload) {
    Bytes_t message(65, 0);
    message[8] = 14;
    message[9] = 1;
    std::copy(request.begin() + 12, request.begin() + 16, message.begin() + 12);
    message[16] = 33;
    message[17] = 0x40;
    message[18] = request[16];
    message[39] = status;
    std::copy(request.begin() + 40, request.begin() + 44, message.begin() + 40);
    message[64] = status;
    message.insert(message.end(), payload.begin(), payload.end());
    message[10] = static_cast<U8_t>(message.size() / 256);
    message[11] = static_cast<U8_t>(message.size() % 256);
    return message;
}

FakeSwitch_t::FakeSwitch_t() : greeting(64, 0), directory_(newDirectory()) {
    greeting[8] = 14;
    greeting[9] = 1;
    greeting[11] = 64;
    greeting[16] = 16;
    greeting[18] = 34;
    for (const char* name : {"peer", "eventlog", "startup"}) {
        listeners_[listenAt(directory_ + "/" + name)] = name;
    }
    thread_ = std::thread([this] { run(); });
}

FakeSwitch_t::~FakeSwitch_t() {
    stop_ = true;
    thread_.join();
    for (int connection : connections_) {
        close(connection);
    }
    for (const auto& [fd, name] : listeners_) {
        close(fd);
    }
    std::filesystem::remove_all(directory_);
}

void FakeSwitch_t::serve(const Bytes_t& configuration, const Bytes_t& status) {
    script = [configuration, status](const Bytes_t& request) -> std::vector<Bytes_t> {
        if (request[15] == 29) {
            return {responseTo(request, 0, Bytes_t(3, 0))};
        }
        return {responseTo(request, 0, request[66] == 1 ? configuration : status)};
    };
}

std::vector<Bytes_t> FakeSwitch_t::requests(U8_t type) {
    const std::lock_guard lock(mutex_);
    std::vector<Bytes_t> found;
    std::copy_if(received_.begin(), received_.end(), std::back_inserter(found),
                 [type](const Bytes_t& request) { return request[15] == type; });
    return found;
}

testsupport::RunResult FakeSwitch_t::esactl(std::vector<std::string> args) {
    args.insert(args.begin(), {"--directory", directory_});
    return testsupport::run(testsupport::programCommand("esactl", args));
}

void FakeSwitch_t::run() {
    while (!stop_) {
        std::vector<pollfd> fds;
        for (const auto& [fd, name] : listeners_) {
            fds.push_back({fd, POLLIN, 0});
        }
        for (int connection : connections_) {
            fds.push_back({connection, POLLIN, 0});
        }
        (void)poll(fds.data(), static_cast<nfds_t>(fds.size()), 10);
        for (const pollfd& ready : fds) {
            if (ready.revents == 0) {
                continue;
            }
            const auto listener = listeners_.find(ready.fd);
            if (listener == listeners_.end()) {
                if (!take(ready.fd)) {
                    close(ready.fd);
                    std::erase(connections_, ready.fd);
                }
                continue;
            }
            const int connection = accept4(ready.fd, nullptr, nullptr, SOCK_CLOEXEC);
            if (listener->second == "peer") {
                sendAll(connection, greeting);
            }
            for (const Bytes_t& message : queued[listener->second]) {
                sendAll(connection, message);
            }
            if (hangUp) {
                close(connection);
            } else {
                connections_.push_back(connection);
            }
        }
    }
}

bool FakeSwitch_t::take(int connection) {
    Bytes_t request(64);
    if (!receiveAll(connection, request.data(), 64)) {
        return false;
    }
    request.resize(request[10] * 256U + request[11]);
    if (request.size() < 64 || !receiveAll(connection, request.data() + 64, request.size() - 64)) {
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        received_.push_back(request);
    }
    if (script) {
        for (const Bytes_t& message : script(request)) {
            sendAll(connection, message);
        }
    }
    return true;
}
