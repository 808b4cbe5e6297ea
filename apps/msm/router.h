/** Who is connected to the switch, who a message is for, and what is kept for endpoints that are not here yet. */
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "backlog.h"
#include "mmsg.h"

/** Ids that a recipient bitmap has a bit for. */
inline constexpr unsigned MSM_K_ENDPOINTS = MMSG_K_LAST_PEER + 1U;
/** The endpoints with a socket of their own, which has their name: the only ones that messages are kept for. */
inline constexpr std::array<U8_t, 4> MSM_K_NAMED_ENDPOINTS = {MMSG_E_EPID_ES_ADAPTERMP, MMSG_E_EPID_STARTUPMP,
                                                              MMSG_E_EPID_EVENTLOGMP, MMSG_E_EPID_VOLMGRMP};

/** A set of endpoint ids: endpoint e is bit e. */
using EndpointSet_t = std::uint64_t;

constexpr EndpointSet_t endpointSet(U8_t endpoint) {
    return EndpointSet_t{1} << endpoint;
}
/** The least id of a set that is not empty. */
constexpr U8_t firstEndpoint(EndpointSet_t set) {
    return static_cast<U8_t>(std::countr_zero(set));
}

/** Endpoints that either recipient bitmap of `header` names. */
EndpointSet_t recipientsOf(const MMCH_t& header);

/** What becomes of one message. */
struct Routing_t {
    std::vector<int> connections; /**< connections that get a copy now, one per connection and message */
    EndpointSet_t named;          /**< every endpoint that the message names */
    EndpointSet_t queued;         /**< nobody connected: kept */
    EndpointSet_t displaced;      /**< kept, but a full queue lost its oldest message for it */
    EndpointSet_t dropped;        /**< nobody connected and nobody expected */
};

/**
 * Whether a message for the endpoint does harm when it comes late: what the adapter is asked to do, and a request to
 * shut down, which its sender repeats while it holds. Reports lose nothing by waiting.
 */
bool isPerishable(U8_t endpoint, std::span<const U8_t> message);

/** The endpoint table. Connections are known by a number of the caller's (a descriptor). */
class Router_t {
public:
    /**
     * Keeps at most `queueLimit` (1 or more) messages per named endpoint that nobody is connected to, perishable ones
     * for at most `age`.
     */
    explicit Router_t(std::size_t queueLimit, MsmClock_t::duration age = MsmClock_t::duration::max());

    /** Adds a connection to an endpoint (0 to 63); an endpoint may have several. */
    void attach(U8_t endpoint, int connection);
    /** Takes the connection off the endpoint; messages are kept for a named endpoint from its last one on. */
    void detach(U8_t endpoint, int connection);
    std::size_t connectionCount(U8_t endpoint) const { return endpoints_[endpoint].connections.size(); }

    /**
     * Decides where a whole message (its length checked: at least a header) goes, and keeps it for the named endpoints
     * that nobody is connected to. A full queue loses the oldest message of whoever has the most in it. The result is
     * valid until the next call.
     */
    const Routing_t& route(const Parcel_t& message);

    /** Hands over what was kept for an endpoint, oldest first, without what is too old; the queue is empty afterwards.
     */
    std::vector<LetterPtr_t> takeQueue(U8_t endpoint, MsmClock_t::time_point now);
    /** Messages that the endpoint's full queue has lost so far. */
    std::uint64_t lostFromQueue(U8_t endpoint) const { return endpoints_[endpoint].lost; }
    /** Messages that have been kept for the endpoint for too long so far. */
    std::uint64_t expired(U8_t endpoint) const { return endpoints_[endpoint].expired; }

private:
    struct Endpoint_t {
        std::vector<int> connections;
        Backlog_t queue;
        std::uint64_t lost = 0;
        std::uint64_t expired = 0;
    };

    void keep(U8_t endpoint, const Parcel_t& message);

    std::size_t queueLimit_;
    MsmClock_t::duration age_;
    std::array<Endpoint_t, MSM_K_ENDPOINTS> endpoints_;
    Routing_t routing_{};
};
