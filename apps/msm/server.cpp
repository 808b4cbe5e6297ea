#include "server.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "stop_signal.h"
#include "words.h"

using namespace std::chrono_literals;

namespace {

constexpr U32_t GONE_EVENTS = EPOLLRDHUP | EPOLLHUP | EPOLLERR;
/** Turns in a row before the switch looks for connections that have something new. */
constexpr auto BUSY_SHARE = 500us;
/** How soon a sender that was held back is looked at again. */
constexpr auto HELD_INTERVAL = 20ms;
constexpr auto LOG_INTERVAL = 50ms;
/** Connections that one process may make; more are closed at once, which costs less than a place that is left again. */
constexpr double ARRIVALS_A_SECOND = 100;
constexpr double ARRIVALS_AT_ONCE = 400;
constexpr rlim_t DESCRIPTORS = 1024;

void raiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < DESCRIPTORS) {
        limit.rlim_cur = std::min(limit.rlim_max, DESCRIPTORS);
        (void)::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

Server_t::Server_t(const MsmOptions_t& options)
    : options_(options), journal_(options.log, options.quiet),
      router_(options.queueLimit, std::chrono::seconds(options.keepSeconds)),
      places_(!options.askDirectory.empty(), options.perUser), adapterPace_(options.rate),
      arrivals_(ARRIVALS_A_SECOND, ARRIVALS_AT_ONCE),
      run_(static_cast<std::uint32_t>(std::chrono::system_clock::now().time_since_epoch() / 1ms)) {}

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
    raiseDescriptorLimit();
    epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
    // Not at the wait alone: a switch that is never idle would not look at signals that are held back till then.
    stopSignalInstall();
    journal_.open();
    if (!watch(stopSignalFd(), EPOLL_CTL_ADD, EPOLLIN)) {
        return std::string("cannot wait for signals: ") + std::strerror(errno);
    }
    std::string error = sockets_.open(options_.directory);
    if (error.empty() && !options_.askDirectory.empty()) {
        error = questions_.openForQuestions(options_.askDirectory);
    }
    if (!error.empty()) {
        return error;
    }
    if (!listen(sockets_) || !listen(questions_)) {
        return std::string("cannot wait for connections: ") + std::strerror(errno);
    }
    journal_.ready("ready: listening in " + options_.directory +
                   (options_.askDirectory.empty() ? "" : ", for questions in " + options_.askDirectory));
    return {};
}

bool Server_t::listen(SocketDirectory_t& sockets) {
    return std::ranges::all_of(sockets.listeners(), [this](const Listener_t& listener) {
        return watch(listener.descriptor, EPOLL_CTL_ADD, EPOLLIN);
    });
}

std::string Server_t::run() {
    std::array<epoll_event, 512> events;
    while (!stopSignalReceived()) {
        const int count = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), timeout());
        if (count < 0 && errno != EINTR) {
            return std::string("cannot wait for messages: ") + std::strerror(errno);
        }
        now_ = MsmClock_t::now();
        const std::span<const epoll_event> ready(events.data(), static_cast<std::size_t>(std::max(count, 0)));
        bool isAcceptDue = now_ >= acceptAgain_;
        for (const epoll_event& event : ready) {
            if (Connection_t* connection = find(event.data.fd)) {
                note(*connection, event.events);
            } else {
                isAcceptDue = true;
            }
        }
        // Before the turns, so that a message reaches those who had connected before it was sent.
        if (isAcceptDue) {
            acceptAll();
        }
        release();
        serveTurns();
        if (Connection_t* there = adapter(); there != nullptr && !there->waitsToWrite) {
            pump(*there);
        }
        journal_.flush();
    }
    return {};
}

/** Milliseconds until something is due, -1 when nothing is. */
int Server_t::timeout() {
    if (!fresh_.empty() || !busy_.empty()) {
        return 0;
    }
    const MsmClock_t::time_point never = MsmClock_t::time_point::max();
    const MsmClock_t::time_point now = MsmClock_t::now();
    MsmClock_t::time_point due = acceptAgain_;
    if (const Connection_t* there = adapter(); there != nullptr && !there->mail.empty() && !there->waitsToWrite) {
        due = std::min(due, there->mail.ready(now));
    }
    if (!held_.empty()) {
        due = std::min(due, now + HELD_INTERVAL);
    }
    if (journal_.isWaiting()) {
        due = std::min(due, now + LOG_INTERVAL);
    }
    if (due == never) {
        return -1;
    }
    return due <= now ? 0 : static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(due - now).count());
}

void Server_t::note(Connection_t& connection, U32_t events) {
    if ((events & EPOLLOUT) != 0 && connection.waitsToWrite) {
        pump(connection);
    }
    if ((events & (EPOLLIN | GONE_EVENTS)) != 0) {
        connection.isReadable = true;
        connection.hasHungUp = connection.hasHungUp || (events & GONE_EVENTS) != 0;
        if (connection.queue == Queue_e::NONE) {
            enqueue(connection, Queue_e::FRESH);
        }
    }
}

void Server_t::enqueue(Connection_t& connection, Queue_e queue) {
    connection.queue = queue;
    if (queue == Queue_e::FRESH) {
        fresh_.push_back(connection.descriptor);
    } else if (queue == Queue_e::BUSY) {
        busy_.push_back(connection.descriptor);
    } else if (queue == Queue_e::HELD) {
        held_.push_back(connection.descriptor);
    }
}

void Server_t::serveTurns() {
    while (!fresh_.empty()) {
        takeTurn(fresh_);
    }
    while (!busy_.empty() && MsmClock_t::now() - now_ < BUSY_SHARE) {
        takeTurn(busy_);
    }
}

void Server_t::takeTurn(std::deque<int>& queue) {
    const int descriptor = queue.front();
    queue.pop_front();
    Connection_t& connection = *find(descriptor);
    connection.queue = Queue_e::NONE;
    if (const Queue_e next = turn(connection); next != Queue_e::NONE) {
        enqueue(connection, next);
    }
}

/** Lets go on who was held back and need not be any more. */
void Server_t::release() {
    for (std::size_t left = held_.size(); left != 0; --left) {
        Connection_t& connection = *find(held_.front());
        held_.pop_front();
        std::span<const U8_t> message;
        const bool isWhole = connection.in.front(message) == Frame_e::MESSAGE;
        enqueue(connection, isWhole && mustWait(connection, message) ? Queue_e::HELD : Queue_e::BUSY);
    }
}

/** One message, and one recv at most; where the connection waits for its next turn. NONE as well when it has gone. */
Server_t::Queue_e Server_t::turn(Connection_t& connection) {
    std::span<const U8_t> message;
    Frame_e found = connection.in.front(message);
    if (found == Frame_e::INCOMPLETE && connection.isReadable) {
        if (!receive(connection)) {
            return Queue_e::NONE;
        }
        found = connection.in.front(message);
    }
    if (found == Frame_e::NONSENSE) {
        journal_.notice(Notice_e::NONSENSE, endpointName(connection.endpoint) + " closed: announces a message of " +
                                                std::to_string(connection.in.announcedLength()) +
                                                " bytes, 64 to 4064 are possible");
        disconnect(connection, "disconnected");
        return Queue_e::NONE;
    }
    if (found == Frame_e::MESSAGE) {
        if (mustWait(connection, message)) {
            return Queue_e::HELD;
        }
        (void)connection.in.next(message);
        switchMessage(connection, message);
        found = connection.in.front(message);
    }
    return found == Frame_e::INCOMPLETE && !connection.isReadable ? Queue_e::NONE : Queue_e::BUSY;
}

/** False when the connection was at its end, and is gone. */
bool Server_t::receive(Connection_t& connection) {
    const std::span<U8_t> space = connection.in.space();
    const ssize_t count = ::recv(connection.descriptor, space.data(), space.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        connection.isReadable = errno == EINTR;
        return true;
    }
    if (count <= 0) {
        const std::size_t rest = connection.in.pending();
        disconnect(connection, rest == 0 ? "disconnected"
                                         : "disconnected inside a message, " + std::to_string(rest) + " bytes lost");
        return false;
    }
    // Less than there was room for means that the kernel has no more, but the end has still to be fetched.
    connection.isReadable = connection.hasHungUp || static_cast<std::size_t>(count) == space.size();
    connection.in.filled(static_cast<std::size_t>(count));
    connection.arrival = {now_, std::chrono::system_clock::now()};
    return true;
}

/** The connection is gone afterwards. */
void Server_t::disconnect(Connection_t& connection, const std::string& why) {
    journal_.trace(endpointName(connection.endpoint) + " " + why);
    const int descriptor = connection.descriptor;
    if (connection.hasPlace) {
        vacate(connection);
    } else {
        --leaving_;
    }
    for (std::deque<int>* queue : {&fresh_, &busy_, &held_}) {
        (void)std::erase(*queue, descriptor);
    }
    (void)::close(descriptor);
    connections_[static_cast<std::size_t>(descriptor)].reset();
    sockets_.renewSpares();
    questions_.renewSpares();
}

Server_t::Connection_t* Server_t::find(int descriptor) {
    const auto place = static_cast<std::size_t>(descriptor);
    return place < connections_.size() ? connections_[place].get() : nullptr;
}

/** The adapter's connection, null while there is none. */
Server_t::Connection_t* Server_t::adapter() {
    return adapter_ < 0 ? nullptr : find(adapter_);
}

bool Server_t::watch(int descriptor, int operation, U32_t events) const {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    return ::epoll_ctl(epoll_, operation, descriptor, &event) == 0;
}
