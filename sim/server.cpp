#include "server.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "stop_signal.h"

namespace {

constexpr int TICK_MS = 50;
constexpr std::chrono::seconds LONGEST_PAUSE{10}; // a suspended simulator does not make up for the time
constexpr std::size_t LONGEST_LINE = 4096;
constexpr std::size_t MOST_PEERS = 64;
constexpr std::size_t LARGEST_BACKLOG = 8 * 1024 * 1024; // a peer that asks and never reads

/** Carries out every whole line of `text` and removes it; the replies, one after another. */
std::string runLines(Commands_t& commands, std::string& text) {
    std::string replies;
    for (std::size_t end; (end = text.find('\n')) != std::string::npos && !commands.quitRequested();) {
        replies += commands.execute(std::string_view(text).substr(0, end));
        text.erase(0, end + 1);
    }
    return replies;
}

} // namespace

void Server_t::catchSignals() {
    stopSignalInstall();
    struct sigaction action {};
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGTTIN, &action, nullptr); // in the background the terminal just has nothing to say
}

void Server_t::run() {
    log_.open(STDOUT_FILENO);
    while (!stopSignalReceived() && !commands_.quitRequested()) {
        std::vector<pollfd> watched = line_.watched();
        const std::size_t own = watched.size();
        watched.push_back({terminalOpen_ ? STDIN_FILENO : -1, POLLIN, 0});
        watched.push_back({listener_ != nullptr && !acceptRests_ ? listener_->fd() : -1, POLLIN, 0});
        acceptRests_ = false;
        watched.push_back({stopSignalFd(), POLLIN, 0});
        for (const Peer_t& peer : peers_) {
            watched.push_back({peer.fd.get(), static_cast<short>(peer.out.empty() ? POLLIN : POLLIN | POLLOUT), 0});
        }
        const int ready = poll(watched.data(), watched.size(), TICK_MS);
        passTime();
        log_.flush();
        if (ready > 0) {
            serveReady(watched, own);
        }
    }
}

void Server_t::serveReady(std::span<const pollfd> watched, std::size_t own) {
    line_.serve(watched.first(own));
    printTransfers();
    if (watched[own].revents != 0) {
        serveTerminal();
    }
    std::size_t at = own + 3;
    for (Peer_t& peer : peers_) {
        servePeer(peer, watched[at++].revents);
    }
    peers_.remove_if([](const Peer_t& peer) { return peer.closing; });
    if (watched[own + 1].revents != 0) {
        acceptPeer();
    }
}

void Server_t::passTime() {
    const auto now = Clock_t::now();
    const std::chrono::duration<double> passed = std::min<Clock_t::duration>(now - last_, LONGEST_PAUSE);
    last_ = now;
    commands_.enclosure().advance(passed.count() * commands_.speed());
}

void Server_t::serveTerminal() {
    char bytes[1024];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) {
        terminalOpen_ = count < 0 && (errno == EINTR || errno == EAGAIN);
        return;
    }
    terminal_.append(bytes, static_cast<std::size_t>(count));
    std::fputs(runLines(commands_, terminal_).c_str(), stdout);
    std::fflush(stdout);
    if (terminal_.size() > LONGEST_LINE) {
        terminal_.clear();
    }
}

void Server_t::acceptPeer() {
    OwnedFd_t fd(accept4(listener_->fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (fd.get() < 0) {
        acceptRests_ = true;
        return;
    }
    if (peers_.size() >= MOST_PEERS) {
        // Whoever takes all places and says nothing keeps nobody out.
        peers_.erase(std::ranges::min_element(peers_, {}, &Peer_t::heard));
    }
    peers_.push_back({.fd = std::move(fd), .in = {}, .out = {}, .closing = false, .heard = Clock_t::now()});
}

void Server_t::servePeer(Peer_t& peer, short events) {
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
        char bytes[4096];
        const ssize_t count = recv(peer.fd.get(), bytes, sizeof bytes, 0);
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
            peer.closing = true;
            return;
        }
        if (count > 0) {
            peer.heard = Clock_t::now();
            peer.in.append(bytes, static_cast<std::size_t>(count));
            peer.out += runLines(commands_, peer.in);
        }
        if (peer.in.size() > LONGEST_LINE) {
            peer.out += "error: a command line must have at most " + std::to_string(LONGEST_LINE) + " characters\n";
            peer.in.clear();
            send(peer);
            peer.closing = true;
        }
    }
    send(peer);
}

void Server_t::send(Peer_t& peer) {
    while (!peer.out.empty()) {
        const ssize_t count = ::send(peer.fd.get(), peer.out.data(), peer.out.size(), MSG_NOSIGNAL);
        if (count < 0) {
            peer.closing |= (errno != EAGAIN && errno != EINTR) || peer.out.size() > LARGEST_BACKLOG;
            return;
        }
        peer.out.erase(0, static_cast<std::size_t>(count));
    }
}

void Server_t::printTransfers() {
    const auto& all = commands_.enclosure().bus().remembered();
    if (all.empty()) {
        return;
    }
    if (commands_.logging()) {
        const auto fresh =
            std::find_if(all.begin(), all.end(), [&](const Transfer_t& t) { return t.number > printed_; });
        std::for_each(fresh, all.end(), [this](const Transfer_t& t) { log_.write(describe(t)); });
    }
    printed_ = all.back().number;
}
