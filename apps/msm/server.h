/** The switch itself: connections in, messages routed, one thread, never waiting for a single peer. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "connection.h"
#include "journal.h"
#include "mailbox.h"
#include "places.h"
#include "router.h"
#include "sockets.h"

struct MsmOptions_t {
    std::string directory;
    std::string askDirectory;         /**< sockets that may only ask; empty for none */
    unsigned queueLimit = 256;        /**< messages kept per absent endpoint */
    unsigned keepSeconds = 60;        /**< how long perishable ones are kept, see isPerishable() */
    unsigned rate = 25;               /**< messages a second from one sender to the adapter, 0 for any number */
    unsigned perUser = 0;             /**< connections of one user at a time, 0 for any number */
    std::optional<uid_t> adapterUser; /**< may be the adapter beside root, our own user and the directory's */
    bool log = false;                 /**< a line per message and connection on standard output */
    bool quiet = false;               /**< no "ready" line and no notices */
};

/** Bytes that wait for a slow connection at most; a full queue of greatest messages always fits, see Server_t. */
inline constexpr std::size_t MSM_K_OUTPUT_LIMIT = std::size_t{1024} * 1024;

/**
 * A connection that reads too slowly loses messages, whole ones, but never the connection: the adapter connects once in
 * its life and does not read while it waits for the platform, and a process held in a debugger should find its
 * connection again. What it lost is counted in notices.
 *
 * Connections are served in turn, one message each, those that had nothing to send in the round before first. What a
 * receiver does not take at once waits in its mailbox, where senders take turns as well.
 */
class Server_t {
public:
    explicit Server_t(const MsmOptions_t& options);
    Server_t(const Server_t&) = delete;
    Server_t& operator=(const Server_t&) = delete;
    ~Server_t();

    /** Starts listening; a line on what is wrong, or an empty text. The signals of stop_signal.h end run() from here
     * on. */
    std::string open();

    /** Switches messages until such a signal; a line on what is wrong when the system fails it, else empty. */
    std::string run();

private:
    /** Where a connection is between two turns. */
    enum class Queue_e : U8_t {
        NONE,  /**< nothing to be done for it */
        FRESH, /**< something has come */
        BUSY,  /**< there is more than it has had turns for */
        HELD,  /**< its next message is for the adapter, who has enough of its messages for now */
    };
    struct Connection_t {
        Connection_t(int socket, Door_e through, const Admission_t& admission, const Origin_t& from,
                     const Mailbox_t& mailbox)
            : descriptor(socket), endpoint(admission.endpoint), door(through), place(*admission.place), origin(from),
              mail(mailbox) {}

        int descriptor;
        U8_t endpoint;
        Door_e door;
        Place_t place;
        Origin_t origin;
        Mailbox_t mail;
        OutStream_t out{MMSG_K_MAX_SIZE +
                        MMSG_K_HEADER_SIZE}; /**< the rest of a message that the kernel has taken a part of */
        InStream_t in;
        Arrival_t arrival{};     /**< of the bytes in `in` */
        bool hasPlace = true;    /**< false: it has left, and what it sent before is still being switched */
        bool isReadable = false; /**< bytes may be waiting in the kernel */
        bool hasHungUp = false;  /**< the end is among them */
        bool waitsToWrite = false;
        Queue_e queue = Queue_e::NONE;
        std::uint64_t lost = 0;         /**< messages for it that found the mailbox full or grew old there */
        std::uint64_t foreign = 0;      /**< messages of its own that were refused */
        MsmClock_t::time_point taken{}; /**< when it last took a message */
    };

    bool listen(SocketDirectory_t& sockets);
    int timeout();
    void note(Connection_t& connection, U32_t events);
    void serveTurns();
    void takeTurn(std::deque<int>& queue);
    void enqueue(Connection_t& connection, Queue_e queue);
    void release();
    Queue_e turn(Connection_t& connection);
    bool receive(Connection_t& connection);
    void disconnect(Connection_t& connection, const std::string& why);
    Connection_t* find(int descriptor);
    Connection_t* adapter();
    bool watch(int descriptor, int operation, U32_t events) const;

    // server_doors.cpp
    void acceptAll();
    MsmClock_t::duration acceptFrom(Listener_t& listener);
    void admit(int descriptor, const Listener_t& listener);
    bool mayBeAdapter(const Visitor_t& visitor) const;
    void refuse(int descriptor, Door_e door, const std::string& why);
    void reap(Door_e door);
    void leave(Connection_t& connection);
    void vacate(const Connection_t& connection);
    bool isTooHasty(const Visitor_t& visitor);
    void welcome(int descriptor, Door_e door, const Admission_t& admission, const Visitor_t& visitor);
    void greet(Connection_t& peer);
    void handOver(Connection_t& connection);

    // server_delivery.cpp
    bool mustWait(const Connection_t& sender, std::span<const U8_t> message);
    void tellListeners(const Parcel_t& message);
    LetterPtr_t presence() const;
    void tellPresence();
    void beginToListen(Connection_t& listener);
    void switchMessage(Connection_t& sender, std::span<const U8_t> message);
    bool isRefused(Connection_t& sender, std::span<const U8_t> message);
    void reportLosses(const Routing_t& routing);
    void reportLoss(Connection_t& receiver, std::size_t count);
    void deliver(Connection_t& receiver, const Parcel_t& message);
    void wait(Connection_t& receiver, const LetterPtr_t& letter);
    void pump(Connection_t& receiver);
    bool sendNext(Connection_t& receiver);
    MsmClock_t::duration staleAge() const;
    bool sendNow(Connection_t& receiver, std::span<const U8_t> message);
    static bool takesMore(const Connection_t& receiver);
    void waitToWrite(Connection_t& connection, bool wanted);

    MsmOptions_t options_;
    Journal_t journal_;
    Router_t router_;
    Places_t places_;
    Pace_t adapterPace_;
    Buckets_t arrivals_; /**< how often a process may connect */
    SocketDirectory_t sockets_;
    SocketDirectory_t questions_;
    std::vector<std::unique_ptr<Connection_t>> connections_; /**< by descriptor */
    std::vector<int> listeners_;                             /**< descriptors */
    std::deque<LetterPtr_t> news_;                           /**< the latest that listeners were told */
    std::uint32_t told_ = 0;                                 /**< how many they were told */
    std::uint32_t run_; /**< number that no other run of a switch on this machine is likely to have */
    std::deque<int> fresh_;
    std::deque<int> busy_;
    std::deque<int> held_;
    std::uint64_t arrived_ = 0;     /**< connections so far */
    std::uint64_t hasty_ = 0;       /**< connections that came too quickly after each other */
    std::size_t leaving_ = 0;       /**< connections without a place */
    std::uint64_t unaddressed_ = 0; /**< messages that were for nobody */
    int adapter_ = -1;              /**< the adapter's descriptor, -1 while there is none */
    MsmClock_t::time_point acceptAgain_ = MsmClock_t::time_point::max(); /**< never, while no socket pauses */
    MsmClock_t::time_point now_{};
    int epoll_ = -1;
};
