#include "server.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "decode.h"
#include "names.h"

namespace {

constexpr U32_t GONE_EVENTS = EPOLLRDHUP | EPOLLHUP | EPOLLERR;

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int) {
    stopRequested = 1;
}

/** Notices of a loss that goes on come at 1, 2, 4, 8 ... messages: a flood must not become a flood of lines. */
bool isWorthNotice(std::uint64_t count) {
    return std::has_single_bit(count);
}

/** "12:34:56.789", local time. */
std::string timeOfDay() {
    timespec now{};
    (void)::clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    (void)::localtime_r(&now.tv_sec, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%H:%M:%S", &parts);
    (void)std::snprintf(text.data() + length, text.size() - length, ".%03ld", static_cast<long>(now.tv_nsec / 1000000));
    return text.data();
}

} // namespace

Server_t::Server_t(const MsmOptions_t& options) : options_(options), router_(options.queueLimit) {}

Server_t::~Server_t() {
    for (const auto& connection : connections_) {
        if (connection) {
            (void)::close(connection->descriptor);
        }
    }
    if (epoll_ >= 0) {
        (void)::close(epoll_);
    }
}

std::string Server_t::open() {
    sigset_t stopSignals;
    (void)sigemptyset(&stopSignals);
    struct sigaction action {};
    action.sa_handler = requestStop;
    for (const int signal : {SIGINT, SIGTERM}) {
        (void)sigaddset(&stopSignals, signal);
        (void)::sigaction(signal, &action, nullptr);
    }
    // Delivered only inside the wait, so that none can slip in between the look at the flag and the wait.
    (void)::sigprocmask(SIG_BLOCK, &stopSignals, &waitMask_);
    (void)sigdelset(&waitMask_, SIGINT);
    (void)sigdelset(&waitMask_, SIGTERM);

    epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
    if (std::string error = sockets_.open(options_.directory); !error.empty()) {
        return error;
    }
    for (const Listener_t& listener : sockets_.listeners()) {
        if (!watch(listener.descriptor, EPOLL_CTL_ADD, EPOLLIN)) {
            return std::string("cannot wait for connections: ") + std::strerror(errno);
        }
    }
    if (!options_.quiet) {
        print("ready: listening in " + options_.directory);
    }
    return {};
}

std::string Server_t::run() {
    std::array<epoll_event, MSM_K_CONNECTIONS * 2> events;
    while (stopRequested == 0) {
        const int count = ::epoll_pwait(epoll_, events.data(), static_cast<int>(events.size()), -1, &waitMask_);
        if (count < 0 && errno != EINTR) {
            return std::string("cannot wait for messages: ") + std::strerror(errno);
        }
        const std::span<const epoll_event> ready(events.data(), static_cast<std::size_t>(std::max(count, 0)));
        // First, so that a message reaches those who had connected before it was sent.
        for (const epoll_event& event : ready) {
            if (const Listener_t* listener = findListener(event.data.fd)) {
                acceptFrom(*listener);
            }
        }
        for (const epoll_event& event : ready) {
            if (Connection_t* connection = find(event.data.fd)) {
                serve(*connection, event.events);
            }
        }
    }
    return {};
}

void Server_t::acceptFrom(const Listener_t& listener) {
    for (;;) {
        const int descriptor = ::accept4(listener.descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor < 0) {
            return;
        }
        admit(descriptor, listener);
    }
}

/** Takes leave of connections whose peer has closed already: their places are free for whoever comes. */
void Server_t::reap(const Listener_t& listener) {
    std::vector<pollfd> places;
    for (const auto& connection : connections_) {
        if (connection && std::min(connection->endpoint, MSM_K_FIRST_PEER) == listener.endpoint) {
            places.push_back({connection->descriptor, POLLRDHUP, 0});
        }
    }
    (void)::poll(places.data(), places.size(), 0);
    for (const pollfd& place : places) {
        if (place.revents != 0) {
            receive(*find(place.fd), true);
        }
    }
}

void Server_t::admit(int descriptor, const Listener_t& listener) {
    reap(listener);
    const bool isPeer = listener.endpoint == MSM_K_FIRST_PEER;
    const std::optional<U8_t> endpoint = isPeer ? router_.lowestFreePeer() : std::optional<U8_t>(listener.endpoint);
    std::string refusal;
    if (!endpoint) {
        refusal = "peer refused: ids 34 to 63 are all taken";
    } else if (*endpoint == MMSG_E_EPID_ES_ADAPTERMP && router_.connectionCount(*endpoint) != 0) {
        refusal = endpointName(*endpoint) + " refused: another adapter is connected";
    } else if (connectionCount_ == MSM_K_CONNECTIONS || !watch(descriptor, EPOLL_CTL_ADD, EPOLLIN | EPOLLRDHUP)) {
        refusal = endpointName(*endpoint) + " refused: too many connections";
    }
    if (!refusal.empty()) {
        (void)::close(descriptor);
        notice(refusal);
        return;
    }
    welcome(descriptor, *endpoint);
}

void Server_t::welcome(int descriptor, U8_t endpoint) {
    const auto place = static_cast<std::size_t>(descriptor);
    if (connections_.size() <= place) {
        connections_.resize(place + 1);
    }
    // Room for a whole queue: what was kept while nobody was there must not get lost at the moment of connection.
    const std::size_t limit = std::max(MSM_K_OUTPUT_LIMIT, options_.queueLimit * MMSG_K_MAX_SIZE);
    connections_[place].reset(new Connection_t{descriptor, endpoint, {}, OutStream_t(limit)});
    ++connectionCount_;
    router_.attach(endpoint, descriptor);
    trace(endpointName(endpoint) + " connected");
    Connection_t& connection = *connections_[place];
    if (endpoint >= MSM_K_FIRST_PEER) {
        greet(connection);
    }
    for (const Router_t::Message_t& message : router_.takeQueue(endpoint)) {
        deliver(connection, message);
    }
}

void Server_t::greet(Connection_t& peer) {
    MMCH_t greeting;
    wireClear(greeting);
    greeting.message_type = MSG_E_TYPE_MMSG;
    greeting.mmch_version = MMCH_K_VERSION;
    greeting.mmsg_length = MMSG_K_HEADER_SIZE;
    greeting.requestor = MMSG_E_EPID_MSMMP;
    greeting.dest_ep = peer.endpoint;
    mmsgAddRecipient(greeting.recipient_loc_bm, peer.endpoint);
    deliver(peer, std::span(reinterpret_cast<const U8_t*>(&greeting), sizeof greeting));
}

void Server_t::serve(Connection_t& connection, U32_t events) {
    if ((events & EPOLLOUT) != 0 && connection.out.flush(connection.descriptor) != Send_e::BUFFERED) {
        (void)watch(connection.descriptor, EPOLL_CTL_MOD, EPOLLIN | EPOLLRDHUP);
    }
    if ((events & (EPOLLIN | GONE_EVENTS)) != 0) {
        receive(connection, (events & GONE_EVENTS) != 0);
    }
}

/** One recv a turn keeps the peers even; from a peer that has gone everything is taken at once. */
void Server_t::receive(Connection_t& connection, bool toTheEnd) {
    do {
        const std::span<U8_t> space = connection.in.space();
        const ssize_t count = ::recv(connection.descriptor, space.data(), space.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        }
        if (count <= 0) {
            const std::size_t rest = connection.in.pending();
            disconnect(connection, rest == 0
                                       ? "disconnected"
                                       : "disconnected inside a message, " + std::to_string(rest) + " bytes lost");
            return;
        }
        connection.in.filled(static_cast<std::size_t>(count));
        if (!switchMessages(connection)) {
            return;
        }
    } while (toTheEnd);
}

/** False when the sender had to be dropped. */
bool Server_t::switchMessages(Connection_t& sender) {
    for (;;) {
        std::span<const U8_t> message;
        switch (sender.in.next(message)) {
        case Frame_e::MESSAGE:
            switchMessage(sender, message);
            break;
        case Frame_e::INCOMPLETE:
            return true;
        case Frame_e::NONSENSE:
            const std::string line = endpointName(sender.endpoint) + " closed: announces a message of " +
                                     std::to_string(sender.in.announcedLength()) + " bytes, 64 to 4064 are possible";
            notice(line);
            disconnect(sender, "disconnected");
            return false;
        }
    }
}

void Server_t::switchMessage(const Connection_t& sender, std::span<const U8_t> message) {
    const Routing_t& routing = router_.route(message);
    if (options_.log) {
        print(describeMessage(message, sender.endpoint, routing));
    }
    for (const int descriptor : routing.connections) {
        deliver(*connections_[static_cast<std::size_t>(descriptor)], message);
    }
    reportLosses(routing);
}

void Server_t::reportLosses(const Routing_t& routing) {
    if (routing.named == 0 && isWorthNotice(++unaddressed_)) {
        notice("message for nobody dropped, " + std::to_string(unaddressed_) + " so far");
    }
    for (EndpointSet_t rest = routing.displaced; rest != 0; rest &= rest - 1) {
        const U8_t endpoint = firstEndpoint(rest);
        const std::uint64_t lost = router_.lostFromQueue(endpoint);
        if (isWorthNotice(lost)) {
            notice("queue of " + endpointName(endpoint) + " full: oldest message dropped, " + std::to_string(lost) +
                   " so far");
        }
    }
}

void Server_t::deliver(Connection_t& receiver, std::span<const U8_t> message) {
    const bool wasWaiting = receiver.out.waiting() != 0;
    switch (receiver.out.send(receiver.descriptor, message)) {
    case Send_e::BUFFERED:
        if (!wasWaiting) {
            (void)watch(receiver.descriptor, EPOLL_CTL_MOD, EPOLLIN | EPOLLRDHUP | EPOLLOUT);
        }
        break;
    case Send_e::DROPPED:
        if (isWorthNotice(++receiver.lost)) {
            notice(endpointName(receiver.endpoint) + " reads too slowly: message dropped, " +
                   std::to_string(receiver.lost) + " so far");
        }
        break;
    case Send_e::SENT:
    case Send_e::GONE: // its end of stream follows and takes it off the table
        break;
    }
}

/** The connection is gone afterwards. */
void Server_t::disconnect(Connection_t& connection, const std::string& why) {
    trace(endpointName(connection.endpoint) + " " + why);
    router_.detach(connection.endpoint, connection.descriptor);
    (void)::close(connection.descriptor);
    --connectionCount_;
    connections_[static_cast<std::size_t>(connection.descriptor)].reset();
}

Server_t::Connection_t* Server_t::find(int descriptor) {
    const auto place = static_cast<std::size_t>(descriptor);
    return place < connections_.size() ? connections_[place].get() : nullptr;
}

const Listener_t* Server_t::findListener(int descriptor) const {
    const std::vector<Listener_t>& all = sockets_.listeners();
    const auto found = std::find_if(
        all.begin(), all.end(), [descriptor](const Listener_t& listener) { return listener.descriptor == descriptor; });
    return found == all.end() ? nullptr : &*found;
}

bool Server_t::watch(int descriptor, int operation, U32_t events) const {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    return ::epoll_ctl(epoll_, operation, descriptor, &event) == 0;
}

void Server_t::print(std::string_view line) const {
    const std::string text = options_.log ? timeOfDay().append(" ").append(line) : std::string(line);
    (void)std::printf("%s\n", text.c_str());
    (void)std::fflush(stdout);
}

void Server_t::trace(std::string_view line) const {
    if (options_.log) {
        print(line);
    }
}

void Server_t::notice(std::string_view line) const {
    if (!options_.quiet || options_.log) {
        print(line);
    }
}
