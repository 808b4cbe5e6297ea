#include "places.h"

#include <algorithm>
#include <map>

#include "mmsg.h"

namespace {

constexpr unsigned PEERS = MMSG_K_LAST_PEER - MMSG_K_FIRST_PEER + 1U;

/** The greatest of the counts; `counts` is not empty. */
template <typename Key>
std::pair<Key, unsigned> greatest(const std::map<Key, unsigned>& counts) {
    return *std::ranges::max_element(counts, {}, [](const auto& entry) { return entry.second; });
}

} // namespace

Places_t::Places_t(bool asking, unsigned perUser) : perUser_(perUser) {
    const unsigned asks = asking ? MSM_K_ASKING : 0;
    const auto firstAsk = static_cast<U8_t>(MMSG_K_LAST_PEER + 1U - asks);
    struct Row_t {
        U8_t endpoint;
        bool isNumbered;
        unsigned places;
    };
    const std::array<Row_t, 7> rows = {{
        {MMSG_E_EPID_ES_ADAPTERMP, false, 1},
        {MMSG_E_EPID_STARTUPMP, false, MSM_K_SHARING},
        {MMSG_E_EPID_EVENTLOGMP, false, MSM_K_SHARING},
        {MMSG_E_EPID_VOLMGRMP, false, MSM_K_SHARING},
        {MMSG_K_FIRST_PEER, true, PEERS - asks},
        {firstAsk, true, asks},
        {MMSG_E_EPID_MSMMP, false, MSM_K_LISTENING},
    }};
    unsigned first = 0;
    for (const Row_t& row : rows) {
        doorways_.push_back(
            {row.endpoint, row.isNumbered, static_cast<Place_t>(first), std::vector<Holder_t>(row.places)});
        first += row.places;
    }
}

std::string Places_t::whyFull(Door_e door, const Doorway_t& doorway) {
    if (doorway.isNumbered) {
        const std::size_t last = doorway.endpoint + doorway.holders.size() - 1;
        return "ids " + std::to_string(doorway.endpoint) + " to " + std::to_string(last) + " are all taken";
    }
    return door == Door_e::ADAPTER ? "another adapter is connected" : "too many connections";
}

Admission_t Places_t::admit(Door_e door, const Visitor_t& visitor, int connection) {
    Doorway_t& doorway = doorways_[static_cast<std::size_t>(door)];
    Admission_t admission;
    if (perUser_ != 0 && door != Door_e::ADAPTER && held(visitor.user) >= perUser_) {
        admission.refusal = "user " + std::to_string(visitor.user) + " has " + std::to_string(perUser_) +
                            " connections, the limit for a user";
        return admission;
    }
    auto holder = std::ranges::find(doorway.holders, -1, &Holder_t::connection);
    if (holder == doorway.holders.end()) {
        const Holder_t* evicted = door == Door_e::ADAPTER ? nullptr : toEvict(doorway, visitor);
        if (evicted == nullptr) {
            admission.refusal = whyFull(door, doorway);
            return admission;
        }
        admission.evicted = evicted->connection;
        holder = doorway.holders.begin() + (evicted - doorway.holders.data());
    }
    const auto index = static_cast<unsigned>(holder - doorway.holders.begin());
    *holder = {connection, visitor, next_++};
    admission.place = static_cast<Place_t>(doorway.first + index);
    admission.endpoint = static_cast<U8_t>(doorway.endpoint + (doorway.isNumbered ? index : 0));
    return admission;
}

void Places_t::release(Place_t place, int connection) {
    for (Doorway_t& doorway : doorways_) {
        if (place >= doorway.first && place < doorway.first + doorway.holders.size()) {
            Holder_t& holder = doorway.holders[static_cast<std::size_t>(place - doorway.first)];
            if (holder.connection == connection) {
                holder = {};
            }
        }
    }
}

std::vector<int> Places_t::holders(Door_e door) const {
    std::vector<int> connections;
    for (const Holder_t& holder : doorways_[static_cast<std::size_t>(door)].holders) {
        if (holder.connection >= 0) {
            connections.push_back(holder.connection);
        }
    }
    return connections;
}

/** The newest connection of the one who has too many; null when nobody has two more than the visitor. */
const Places_t::Holder_t* Places_t::toEvict(const Doorway_t& doorway, const Visitor_t& visitor) const {
    std::map<uid_t, unsigned> users;
    for (const Holder_t& holder : doorway.holders) {
        ++users[holder.visitor.user];
    }
    const auto [user, most] = greatest(users);
    const unsigned own = users.contains(visitor.user) ? users[visitor.user] : 0;
    const bool isOther = user != visitor.user && most >= own + 2;
    const uid_t from = isOther ? user : visitor.user;

    std::map<pid_t, unsigned> processes;
    for (const Holder_t& holder : doorway.holders) {
        if (holder.visitor.user == from) {
            ++processes[holder.visitor.process];
        }
    }
    if (processes.empty()) {
        return nullptr;
    }
    const auto [process, crowd] = greatest(processes);
    const unsigned ownCrowd = processes.contains(visitor.process) ? processes[visitor.process] : 0;
    if (!isOther && crowd < ownCrowd + 2) {
        return nullptr;
    }
    const Holder_t* newest = nullptr;
    for (const Holder_t& holder : doorway.holders) {
        const bool counts = holder.visitor.user == from && holder.visitor.process == process;
        if (counts && (newest == nullptr || holder.number > newest->number)) {
            newest = &holder;
        }
    }
    return newest;
}

unsigned Places_t::held(uid_t user) const {
    unsigned count = 0;
    for (std::size_t door = static_cast<std::size_t>(Door_e::STARTUP); door < doorways_.size(); ++door) {
        count += static_cast<unsigned>(std::ranges::count_if(doorways_[door].holders, [user](const Holder_t& holder) {
            return holder.connection >= 0 && holder.visitor.user == user;
        }));
    }
    return count;
}
