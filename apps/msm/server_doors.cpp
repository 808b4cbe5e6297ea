/** Who comes in, and who has left. */
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "server.h"
#include "words.h"

using namespace std::chrono_literals;

namespace {

/** Connections taken from one socket before others have their turn. */
constexpr unsigned ACCEPTS = 32;
constexpr MsmClock_t::duration NO_ROOM_PAUSE = 100ms;
/** In a storm: it costs the switch and its peers little time then, and a newcomer behind it is there in some 10 ms. */
constexpr MsmClock_t::duration STORM_PAUSE = 5ms;
/** Connections that have left with more than a few messages unswitched. */
constexpr std::size_t LEAVING = 16;
constexpr unsigned LAST_TURNS = 16;

/**
 * What the kernel holds for a receiver. For the adapter the least that there is: a message that it has taken up cannot
 * be overtaken any more, and a page may take it many milliseconds.
 */
constexpr int ADAPTER_BUFFER = 1;
constexpr int OTHER_BUFFER = 16384;

bool isOutOfRoom(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

int takeConnection(const Listener_t& listener) {
    return ::accept4(listener.descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

bool isSomebodyWaiting(const Listener_t& listener) {
    pollfd waiting{listener.descriptor, POLLIN, 0};
    const int error = errno;
    const bool isWaiting = ::poll(&waiting, 1, 0) == 1;
    errno = error;
    return isWaiting;
}

} // namespace

void Server_t::acceptAll() {
    const bool isAgain = now_ >= acceptAgain_;
    acceptAgain_ = isAgain ? MsmClock_t::time_point::max() : acceptAgain_;
    for (SocketDirectory_t* sockets : {&sockets_, &questions_}) {
        for (Listener_t& listener : sockets->listeners()) {
            if (listener.isPaused && !isAgain) {
                continue;
            }
            const MsmClock_t::duration pause = acceptFrom(listener);
            const bool isPaused = pause != MsmClock_t::duration::zero();
            if (isPaused) {
                acceptAgain_ = std::min(acceptAgain_, now_ + pause);
            }
            if (listener.isPaused != isPaused) {
                listener.isPaused = isPaused;
                (void)watch(listener.descriptor, EPOLL_CTL_MOD, isPaused ? U32_t{0} : U32_t{EPOLLIN});
            }
        }
    }
}

/** How long to take no more from the socket, 0 to go on. */
MsmClock_t::duration Server_t::acceptFrom(Listener_t& listener) {
    const std::uint64_t hastyBefore = hasty_;
    for (unsigned i = 0; i < ACCEPTS; ++i) {
        int descriptor = takeConnection(listener);
        if (descriptor < 0 && isOutOfRoom(errno)) {
            // The system says so even when nobody waits; the reserve is for somebody who does.
            if (!isSomebodyWaiting(listener)) {
                break;
            }
            if (!SocketDirectory_t::useSpare(listener) || (descriptor = takeConnection(listener)) < 0) {
                journal_.notice(Notice_e::SYSTEM, std::string("cannot take connections: ") + std::strerror(errno));
                return NO_ROOM_PAUSE;
            }
        }
        if (descriptor < 0) {
            break;
        }
        admit(descriptor, listener);
    }
    return hasty_ - hastyBefore > ACCEPTS / 2 ? STORM_PAUSE : MsmClock_t::duration::zero();
}

void Server_t::admit(int descriptor, const Listener_t& listener) {
    ucred peer{};
    socklen_t size = sizeof peer;
    (void)::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size);
    const Visitor_t visitor{peer.uid, peer.pid};
    if (isTooHasty(visitor)) {
        (void)::close(descriptor);
        return;
    }
    reap(listener.door);
    if (listener.door == Door_e::ADAPTER && !mayBeAdapter(visitor)) {
        refuse(descriptor, listener.door, "user " + std::to_string(visitor.user) + " is not the adapter's");
        return;
    }
    const Admission_t admission = places_.admit(listener.door, visitor, descriptor);
    if (!admission.place) {
        refuse(descriptor, listener.door, admission.refusal);
        return;
    }
    if (Connection_t* evicted = find(admission.evicted)) {
        journal_.notice(Notice_e::REFUSED,
                        endpointName(evicted->endpoint) + " closed: others have fewer connections and need the place");
        disconnect(*evicted, "disconnected");
    }
    if (!watch(descriptor, EPOLL_CTL_ADD, U32_t{EPOLLIN} | EPOLLRDHUP | EPOLLET)) {
        places_.release(*admission.place, descriptor);
        refuse(descriptor, listener.door, std::strerror(errno));
        return;
    }
    welcome(descriptor, listener.door, admission, visitor);
}

/** Whether the process has made too many connections; those are closed without further ado. */
bool Server_t::isTooHasty(const Visitor_t& visitor) {
    Bucket_t& bucket = arrivals_.of(visitor, now_);
    if (bucket.level(now_) >= 1) {
        bucket.takeOne(now_);
        return false;
    }
    if (isWorthNotice(++hasty_)) {
        journal_.notice(Notice_e::HASTY, "process " + std::to_string(visitor.process) + " of user " +
                                             std::to_string(visitor.user) + " connects too often: closed, " +
                                             std::to_string(hasty_) + " so far");
    }
    return true;
}

/** Its name is worth more than another: fan and alarm of a peer's request follow from it, and it is there only once. */
bool Server_t::mayBeAdapter(const Visitor_t& visitor) const {
    return visitor.user == 0 || visitor.user == ::geteuid() || visitor.user == sockets_.owner() ||
           visitor.user == options_.adapterUser;
}

void Server_t::refuse(int descriptor, Door_e door, const std::string& why) {
    (void)::close(descriptor);
    sockets_.renewSpares();
    questions_.renewSpares();
    const std::array<std::string, 7> names = {endpointName(MMSG_E_EPID_ES_ADAPTERMP),
                                              endpointName(MMSG_E_EPID_STARTUPMP),
                                              endpointName(MMSG_E_EPID_EVENTLOGMP),
                                              endpointName(MMSG_E_EPID_VOLMGRMP),
                                              "peer",
                                              "peer for questions",
                                              "listener"};
    journal_.notice(Notice_e::REFUSED, names[static_cast<std::size_t>(door)] + " refused: " + why);
}

/** Takes leave of connections whose peer has closed already: their places are free for whoever comes. */
void Server_t::reap(Door_e door) {
    std::vector<pollfd> holders;
    for (const int descriptor : places_.holders(door)) {
        holders.push_back({descriptor, POLLRDHUP, 0});
    }
    (void)::poll(holders.data(), holders.size(), 0);
    for (const pollfd& holder : holders) {
        Connection_t* connection = find(holder.fd);
        if (holder.revents == 0 || connection == nullptr) {
            continue;
        }
        connection->isReadable = connection->hasHungUp = true;
        for (unsigned i = 0; i < LAST_TURNS && connection != nullptr; ++i) {
            (void)turn(*connection);
            connection = find(holder.fd);
        }
        if (connection != nullptr) {
            leave(*connection);
        }
    }
}

/** Frees the place of a connection that has been closed, while what it has sent is still being switched. */
void Server_t::leave(Connection_t& connection) {
    if (leaving_ == LEAVING) {
        journal_.notice(Notice_e::LOST, endpointName(connection.endpoint) + " left: what it sent last is lost");
        disconnect(connection, "disconnected");
        return;
    }
    vacate(connection);
    connection.hasPlace = false;
    ++leaving_;
    if (connection.queue == Queue_e::NONE) {
        enqueue(connection, Queue_e::BUSY);
    }
}

void Server_t::vacate(const Connection_t& connection) {
    if (connection.door == Door_e::LISTEN) {
        (void)std::erase(listeners_, connection.descriptor);
    } else {
        router_.detach(connection.endpoint, connection.descriptor);
    }
    places_.release(connection.place, connection.descriptor);
    if (connection.descriptor == adapter_) {
        adapter_ = -1;
        tellPresence();
    }
}

void Server_t::welcome(int descriptor, Door_e door, const Admission_t& admission, const Visitor_t& visitor) {
    const auto index = static_cast<std::size_t>(descriptor);
    if (connections_.size() <= index) {
        connections_.resize(index + 1);
    }
    const bool isAdapter = door == Door_e::ADAPTER;
    const int buffer = isAdapter ? ADAPTER_BUFFER : OTHER_BUFFER;
    (void)::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
    // Room for a whole queue: what was kept while nobody was there must not get lost at the moment of connection.
    const std::size_t limit =
        std::max<std::size_t>(MSM_K_OUTPUT_LIMIT, std::size_t{options_.queueLimit} * MMSG_K_MAX_SIZE);
    // What an adapter has told must not come behind what its successor tells.
    const std::uint64_t row = isAdapter ? 0 : ++arrived_;
    connections_[index] = std::make_unique<Connection_t>(descriptor, door, admission, Origin_t{row, visitor},
                                                         Mailbox_t(limit, isAdapter ? &adapterPace_ : nullptr));
    Connection_t& connection = *connections_[index];
    connection.taken = now_;
    adapter_ = isAdapter ? descriptor : adapter_;
    if (door == Door_e::LISTEN) {
        journal_.trace("listener connected");
        beginToListen(connection);
        return;
    }
    router_.attach(connection.endpoint, descriptor);
    journal_.trace(endpointName(connection.endpoint) + " connected");
    if (isAdapter) {
        tellPresence();
    }
    if (connection.endpoint >= MMSG_K_FIRST_PEER) {
        greet(connection);
    }
    handOver(connection);
}

void Server_t::greet(Connection_t& peer) {
    MMCH_t greeting = ownMessage();
    greeting.dest_ep = peer.endpoint;
    mmsgAddRecipient(greeting.recipient_loc_bm, peer.endpoint);
    (void)sendNow(peer, std::span(reinterpret_cast<const U8_t*>(&greeting), sizeof greeting));
}

/** Gives a connection what was kept while nobody was there. */
void Server_t::handOver(Connection_t& connection) {
    const std::uint64_t before = router_.expired(connection.endpoint);
    for (const LetterPtr_t& letter : router_.takeQueue(connection.endpoint, now_)) {
        wait(connection, letter);
    }
    if (const std::uint64_t expired = router_.expired(connection.endpoint) - before; expired != 0) {
        journal_.notice(Notice_e::EXPIRED, endpointName(connection.endpoint) + " came too late for " +
                                               std::to_string(expired) + " messages older than " +
                                               std::to_string(options_.keepSeconds) + " s: dropped");
    }
    pump(connection);
}
