#include "fake_switch.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

#include "cli.h"
#include "stop_signal.h"

using testsupport::Stream_t;

namespace {

[[maybe_unused]] const bool isLinked = testsupport::linkProgram("esactl", esactlMain);

} // namespace

std::vector<std::string> esactlCommand(const std::string& words) {
    std::istringstream stream(words);
    return testsupport::programCommand("esactl", {std::istream_iterator<std::string>(stream), {}});
}

Said_t esactl(const std::vector<std::string>& words) {
    const testsupport::RunResult_t result = testsupport::runHere("esactl", words);
    stopSignalForget();
    return {result.ending.exitCode, result.out, result.err};
}

Said_t esactl(const std::string& words) {
    std::istringstream stream(words);
    return esactl(std::vector<std::string>(std::istream_iterator<std::string>(stream), {}));
}

void expectItEndsOn(int signal, testsupport::Process_t& process) {
    process.kill(signal);
    const auto ending = process.wait(PATIENCE);
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->exitCode, 0);
}

Bytes_t responseTo(const Bytes_t& request, U8_t status, const Bytes_t& payload) {
    Bytes_t body{status};
    body.insert(body.end(), payload.begin(), payload.end());
    Bytes_t message = testsupport::message({.requestor = 33}, body);
    std::copy(request.begin() + 12, request.begin() + 16, message.begin() + 12);
    message[17] = 0x40;
    message[18] = request[16];
    message[39] = status;
    std::copy(request.begin() + 40, request.begin() + 44, message.begin() + 40);
    return message;
}

FakeSwitch_t::FakeSwitch_t() : greeting(testsupport::message({.requestor = 16})) {
    greeting[18] = 34;
    for (const char* name : {"peer", "eventlog", "startup"}) {
        listeners_[testsupport::listenAt(folder_.path(name))] = name;
    }
    thread_ = std::thread([this] { run(); });
}

FakeSwitch_t::~FakeSwitch_t() {
    stop_ = true;
    thread_.join();
    for (const auto& [fd, name] : listeners_) {
        close(fd);
    }
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

Said_t FakeSwitch_t::esactl(std::vector<std::string> words) const {
    words.insert(words.begin(), {"--directory", directory()});
    return ::esactl(words);
}

std::vector<JsonValue_t> FakeSwitch_t::jsonLines(const std::string& words) const {
    return JsonValue_t::parseLines(esactl(words).out);
}

void FakeSwitch_t::run() {
    while (!stop_) {
        std::vector<pollfd> fds;
        for (const auto& [fd, name] : listeners_) {
            fds.push_back({fd, POLLIN, 0});
        }
        for (const Stream_t& connection : connections_) {
            fds.push_back({connection.fd(), POLLIN, 0});
        }
        (void)poll(fds.data(), static_cast<nfds_t>(fds.size()), 10);
        std::erase_if(fds, [](const pollfd& one) { return one.revents == 0; });
        for (const pollfd& ready : fds) {
            if (listeners_.contains(ready.fd)) {
                accept(ready.fd);
            } else {
                std::erase_if(connections_, [&](const Stream_t& one) { return one.fd() == ready.fd && !take(one); });
            }
        }
    }
}

void FakeSwitch_t::accept(int listener) {
    Stream_t connection(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    const std::string& name = listeners_[listener];
    if (name == "peer") {
        (void)connection.send(greeting);
    }
    for (const Bytes_t& message : queued[name]) {
        (void)connection.send(message);
    }
    if (!hangUp) {
        connections_.push_back(std::move(connection));
    }
}

bool FakeSwitch_t::take(const Stream_t& connection) {
    const std::optional<Bytes_t> request = connection.receive();
    if (!request) {
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        received_.push_back(*request);
    }
    if (script) {
        for (const Bytes_t& message : script(*request)) {
            (void)connection.send(message);
        }
    }
    return true;
}
