#include "sim/server.h"

#include "sim/unix_socket.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>

namespace encsim {
namespace {

constexpr timespec kTick{.tv_sec = 0, .tv_nsec = 50'000'000};
constexpr std::chrono::seconds kLongestPause{10}; // a suspended simulator does not make up for the time
constexpr std::size_t kLongestLine = 4096;
constexpr std::size_t kLargestBacklog = 8 * 1024 * 1024; // a peer that asks and never reads

volatile std::sig_atomic_t stopping = 0;

extern "C" void stop(int) {
    stopping = 1;
}

/// Removes a socket that a simulator which has died left behind; a file of another kind stays.
void clearStale(const sockaddr_un& address) {
    struct stat there {};
    if (lstat(address.sun_path, &there) != 0 || !S_ISSOCK(there.st_mode)) {
        return;
    }
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(probe.get(), generic(address), sizeof address) == 0) {
        throw std::runtime_error(std::string("another process serves ") + address.sun_path +
                                 "; stop it or give another --control");
    }
    if (errno == ECONNREFUSED) {
        unlink(address.sun_path);
    }
}

/// Carries out every whole line of `text` and removes it; the replies, one after another.
std::string runLines(Control& control, std::string& text) {
    std::string replies;
    for (std::size_t end; (end = text.find('\n')) != std::string::npos && !control.quitRequested();) {
        replies += control.execute(std::string_view(text).substr(0, end));
        text.erase(0, end + 1);
    }
    return replies;
}

} // namespace

Listener::Listener(std::string path) : path_(std::move(path)) {
    const sockaddr_un address = socketAddress(path_);
    clearStale(address);
    fd_ = Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (fd_.get() < 0 || bind(fd_.get(), generic(address), sizeof address) != 0 || listen(fd_.get(), 8) != 0) {
        throw std::runtime_error("cannot listen at " + path_ + ": " + std::strerror(errno) +
                                 "; give another --control");
    }
}

Listener::~Listener() {
    unlink(path_.c_str());
}

void Server::catchSignals() {
    struct sigaction action {};
    action.sa_handler = stop;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGTTIN, &action, nullptr); // in the background the terminal just has nothing to say

    // Delivered only inside ppoll(), so that none is missed between the test and the wait.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

void Server::run() {
    sigset_t none;
    sigemptyset(&none);
    while (stopping == 0 && !control_.quitRequested()) {
        std::vector<pollfd> watched = {{line_.fd(), POLLIN, 0},
                                       {terminalOpen_ ? STDIN_FILENO : -1, POLLIN, 0},
                                       {listener_ != nullptr ? listener_->fd() : -1, POLLIN, 0}};
        for (const Peer& peer : peers_) {
            watched.push_back({peer.fd.get(), static_cast<short>(peer.out.empty() ? POLLIN : POLLIN | POLLOUT), 0});
        }
        const int ready = ppoll(watched.data(), watched.size(), &kTick, &none);
        passTime();
        if (ready <= 0) {
            continue;
        }
        if (watched[0].revents != 0) {
            serveLine();
        }
        if (watched[1].revents != 0) {
            serveTerminal();
        }
        std::size_t at = 3;
        for (Peer& peer : peers_) {
            servePeer(peer, watched[at++].revents);
        }
        peers_.remove_if([](const Peer& peer) { return peer.closing; });
        if (watched[2].revents != 0) {
            acceptPeer();
        }
    }
}

void Server::passTime() {
    const auto now = Bridge::Clock::now();
    const std::chrono::duration<double> passed = std::min<Bridge::Clock::duration>(now - last_, kLongestPause);
    last_ = now;
    control_.enclosure().advance(passed.count() * control_.speed());
}

void Server::serveLine() {
    std::uint8_t bytes[4096];
    const ssize_t count = read(line_.fd(), bytes, sizeof bytes);
    if (count <= 0) {
        return;
    }
    const auto answer =
        control_.bridge().feed(std::span(bytes).first(static_cast<std::size_t>(count)), Bridge::Clock::now());
    // A line nobody reads from loses what does not fit, as a serial line does.
    (void)!write(line_.fd(), answer.data(), answer.size());
    printTransfers();
}

void Server::serveTerminal() {
    char bytes[1024];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) {
        terminalOpen_ = count < 0 && (errno == EINTR || errno == EAGAIN);
        return;
    }
    terminal_.append(bytes, static_cast<std::size_t>(count));
    std::fputs(runLines(control_, terminal_).c_str(), stdout);
    std::fflush(stdout);
    if (terminal_.size() > kLongestLine) {
        terminal_.clear();
    }
}

void Server::acceptPeer() {
    Descriptor fd(accept4(listener_->fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (fd.get() >= 0) {
        peers_.push_back({.fd = std::move(fd), .in = {}, .out = {}, .closing = false});
    }
}

void Server::servePeer(Peer& peer, short events) {
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
        char bytes[4096];
        const ssize_t count = recv(peer.fd.get(), bytes, sizeof bytes, 0);
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
            peer.closing = true;
            return;
        }
        if (count > 0) {
            peer.in.append(bytes, static_cast<std::size_t>(count));
            peer.out += runLines(control_, peer.in);
        }
        if (peer.in.size() > kLongestLine) {
            peer.out += "error: a command line must have at most " + std::to_string(kLongestLine) + " characters\n";
            peer.in.clear();
            send(peer);
            peer.closing = true;
        }
    }
    send(peer);
}

void Server::send(Peer& peer) {
    while (!peer.out.empty()) {
        const ssize_t count = ::send(peer.fd.get(), peer.out.data(), peer.out.size(), MSG_NOSIGNAL);
        if (count < 0) {
            peer.closing |= (errno != EAGAIN && errno != EINTR) || peer.out.size() > kLargestBacklog;
            return;
        }
        peer.out.erase(0, static_cast<std::size_t>(count));
    }
}

void Server::printTransfers() {
    const auto& all = control_.enclosure().bus().remembered();
    if (all.empty()) {
        return;
    }
    if (control_.logging()) {
        const auto fresh = std::find_if(all.begin(), all.end(), [&](const Transfer& t) { return t.number > printed_; });
        std::for_each(fresh, all.end(), [](const Transfer& t) { std::puts(describe(t).c_str()); });
        std::fflush(stdout);
    }
    printed_ = all.back().number;
}

} // namespace encsim
