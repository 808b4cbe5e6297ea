/** Who gets a place at the switch: each socket has its own, and nobody keeps another user from one. */
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "letter.h"

/** The sockets. */
enum class Door_e : U8_t { ADAPTER, STARTUP, EVENTLOG, VOLMGR, PEER, ASK, LISTEN };

/** Where a connection sits: numbers are given out again, lowest first. */
using Place_t = U8_t;

/** Connections that share one of the sockets `startup`, `eventlog` and `volmgr` at most. */
inline constexpr unsigned MSM_K_SHARING = 32;
/** Ids, from 63 down, that are kept for the socket for questions when there is one. */
inline constexpr unsigned MSM_K_ASKING = 10;

/** Connections to the sockets for listening at most. */
inline constexpr unsigned MSM_K_LISTENING = 8;

/** What becomes of somebody who connects. */
struct Admission_t {
    std::optional<Place_t> place; /**< nothing: refused */
    U8_t endpoint = 0;            /**< id of the connection */
    int evicted = -1;             /**< connection that has lost its place for it, -1 for none */
    std::string refusal;          /**< why there is no place */
};

/**
 * The places of all sockets. While there are free ones anybody gets one, up to the limit a user. When a socket's are
 * all taken, the user with the most of them, and of that user's processes the one with the most, gives one to whoever
 * would still have fewer: a newcomer is refused only when all others hold no more than he would.
 */
class Places_t {
public:
    /** `perUser`: connections of one user at a time, 0 for no limit; the adapter's is not counted. */
    Places_t(bool asking, unsigned perUser);

    /** Gives the lowest free place of the door to a connection, known by its descriptor. */
    Admission_t admit(Door_e door, const Visitor_t& visitor, int connection);
    /** Frees a place; nothing when it is held by another connection by now. */
    void release(Place_t place, int connection);
    /** Connections that hold a place of the door. */
    std::vector<int> holders(Door_e door) const;

private:
    struct Holder_t {
        int connection = -1; /**< -1: free */
        Visitor_t visitor{};
        std::uint64_t number = 0; /**< order of admission */
    };
    struct Doorway_t {
        U8_t endpoint;   /**< of the first place */
        bool isNumbered; /**< each place has the next id, else all have the same */
        Place_t first;
        std::vector<Holder_t> holders;
    };

    static std::string whyFull(Door_e door, const Doorway_t& doorway);
    const Holder_t* toEvict(const Doorway_t& doorway, const Visitor_t& visitor) const;
    unsigned held(uid_t user) const;

    unsigned perUser_;
    std::vector<Doorway_t> doorways_; /**< by Door_e */
    std::uint64_t next_ = 0;
};
