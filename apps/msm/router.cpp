#include "router.h"

#include <algorithm>
#include <utility>

namespace {

bool isNamed(U8_t endpoint) {
    return std::ranges::find(MSM_K_NAMED_ENDPOINTS, endpoint) != MSM_K_NAMED_ENDPOINTS.end();
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

bool isPerishable(U8_t endpoint, std::span<const U8_t> message) {
    return endpoint == MMSG_E_EPID_ES_ADAPTERMP ||
           wireAt<MMCH_t>(message.data()).opcode.request.protocol == MMSG_E_PROTOCOL_SHUTDOWN;
}

Router_t::Router_t(std::size_t queueLimit, MsmClock_t::duration age) : queueLimit_(queueLimit), age_(age) {}

void Router_t::attach(U8_t endpoint, int connection) {
    endpoints_[endpoint].connections.push_back(connection);
}

void Router_t::detach(U8_t endpoint, int connection) {
    std::erase(endpoints_[endpoint].connections, connection);
}

const Routing_t& Router_t::route(const Parcel_t& message) {
    routing_.connections.clear();
    routing_.named = recipientsOf(wireAt<MMCH_t>(message.bytes().data()));
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

void Router_t::keep(U8_t endpoint, const Parcel_t& message) {
    Endpoint_t& here = endpoints_[endpoint];
    here.queue.push(message.letter());
    if (here.queue.count() > queueLimit_) {
        (void)here.queue.takeOldest(here.queue.mostNumerous());
        ++here.lost;
        routing_.displaced |= endpointSet(endpoint);
    }
    routing_.queued |= endpointSet(endpoint);
}

std::vector<LetterPtr_t> Router_t::takeQueue(U8_t endpoint, MsmClock_t::time_point now) {
    Endpoint_t& here = endpoints_[endpoint];
    std::vector<LetterPtr_t> kept;
    while (!here.queue.empty()) {
        LetterPtr_t letter = here.queue.takeOldest();
        if (isPerishable(endpoint, letter->bytes) && now - letter->arrival.steady > age_) {
            ++here.expired;
        } else {
            kept.push_back(std::move(letter));
        }
    }
    return kept;
}
