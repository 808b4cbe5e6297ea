#include "router.h"

#include <algorithm>
#include <utility>

namespace {

bool isNamed(U8_t endpoint) {
    return std::any_of(MSM_K_NAMED_ENDPOINTS.begin(), MSM_K_NAMED_ENDPOINTS.end(),
                       [endpoint](const MsmNamedEndpoint_t& named) { return named.endpoint == endpoint; });
}

EndpointSet_t setOf(const BM_ELEMENT_t (&bitmap)[BM_K_ELEMENTS]) {
    const EndpointSet_t low = U32_t{bitmap[0]};
    const EndpointSet_t high = U32_t{bitmap[1]};
    return high << BM_K_BITS_PER_ELEMENT | low;
}

} // namespace

EndpointSet_t recipientsOf(const MMCH_t& header) {
    return setOf(header.recipient_loc_bm) | setOf(header.recipient_ob_bm);
}

Router_t::Router_t(std::size_t queueLimit) : queueLimit_(queueLimit) {}

void Router_t::attach(U8_t endpoint, int connection) {
    endpoints_[endpoint].connections.push_back(connection);
}

void Router_t::detach(U8_t endpoint, int connection) {
    std::erase(endpoints_[endpoint].connections, connection);
}

std::optional<U8_t> Router_t::lowestFreePeer() const {
    for (U8_t endpoint = MSM_K_FIRST_PEER; endpoint <= MSM_K_LAST_PEER; ++endpoint) {
        if (connectionCount(endpoint) == 0) {
            return endpoint;
        }
    }
    return std::nullopt;
}

const Routing_t& Router_t::route(std::span<const U8_t> message) {
    routing_.connections.clear();
    routing_.named = recipientsOf(wireAt<MMCH_t>(message.data()));
    routing_.queued = routing_.displaced = routing_.dropped = 0;
    for (EndpointSet_t rest = routing_.named; rest != 0; rest &= rest - 1) {
        const U8_t endpoint = firstEndpoint(rest);
        const std::vector<int>& connections = endpoints_[endpoint].connections;
        if (!connections.empty()) {
            routing_.connections.insert(routing_.connections.end(), connections.begin(), connections.end());
        } else if (isNamed(endpoint)) {
            keep(endpoint, message);
        } else {
            routing_.dropped |= endpointSet(endpoint);
        }
    }
    return routing_;
}

void Router_t::keep(U8_t endpoint, std::span<const U8_t> message) {
    Endpoint_t& here = endpoints_[endpoint];
    if (here.queue.size() == queueLimit_) {
        here.queue.pop_front();
        ++here.lost;
        routing_.displaced |= endpointSet(endpoint);
    }
    here.queue.emplace_back(message.begin(), message.end());
    routing_.queued |= endpointSet(endpoint);
}

std::deque<Router_t::Message_t> Router_t::takeQueue(U8_t endpoint) {
    return std::exchange(endpoints_[endpoint].queue, {});
}
