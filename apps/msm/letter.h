/** A message on its way through the switch, with what the switch knows about it. */
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <memory>
#include <span>
#include <sys/types.h>
#include <vector>

#include "mmsg.h"

using MsmClock_t = std::chrono::steady_clock;

/** When the last bytes of a message were taken from its sender. */
struct Arrival_t {
    MsmClock_t::time_point steady;              /**< what ages are measured by: setting the clock changes none */
    std::chrono::system_clock::time_point wall; /**< what a record of the message would show */
};

/** Process at the other end of a connection. */
struct Visitor_t {
    uid_t user;
    pid_t process;
    auto operator<=>(const Visitor_t&) const = default;
};

/** Whom a message came from; what is shared out evenly is shared out by these. */
struct Origin_t {
    std::uint64_t
        connection; /**< number that no other connection has had; 0 for each of the adapter's, which are one row */
    Visitor_t visitor;
};

/** A message that waits. Its bytes are those that arrived; the rest never leaves the switch. */
struct Letter_t {
    std::vector<U8_t> bytes;
    U8_t sender; /**< endpoint id of the connection it came from */
    Origin_t origin;
    Arrival_t arrival;
};

using LetterPtr_t = std::shared_ptr<const Letter_t>;

/** A message that has just been cut out of its stream; becomes a letter only when somebody has to wait for it. */
class Parcel_t {
public:
    Parcel_t(std::span<const U8_t> bytes, U8_t sender, const Origin_t& origin, const Arrival_t& arrival)
        : bytes_(bytes), sender_(sender), origin_(origin), arrival_(arrival) {}

    std::span<const U8_t> bytes() const { return bytes_; }
    U8_t sender() const { return sender_; }
    const Origin_t& origin() const { return origin_; }
    const Arrival_t& arrival() const { return arrival_; }
    /** One copy, however many wait for it. */
    const LetterPtr_t& letter() const {
        if (!letter_) {
            letter_ = std::make_shared<const Letter_t>(
                Letter_t{std::vector<U8_t>(bytes_.begin(), bytes_.end()), sender_, origin_, arrival_});
        }
        return letter_;
    }

private:
    std::span<const U8_t> bytes_;
    U8_t sender_;
    Origin_t origin_;
    Arrival_t arrival_;
    mutable LetterPtr_t letter_;
};

/** A message of the switch's own: a header, of which the rest is zero. */
inline MMCH_t ownMessage() {
    MMCH_t message;
    wireClear(message);
    message.message_type = MSG_E_TYPE_MMSG;
    message.mmch_version = MMCH_K_VERSION;
    message.mmsg_length = MMSG_K_HEADER_SIZE;
    message.requestor = MMSG_E_EPID_MSMMP;
    return message;
}
