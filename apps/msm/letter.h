/** A message on its way through the switch, with what the switch knows about it. */
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "mmsg.h"

/** Ids that connections to the `peer` sockets are given. */
inline constexpr U8_t MSM_K_FIRST_PEER = 34;
inline constexpr U8_t MSM_K_LAST_PEER = 63;

using MsmClock_t = std::chrono::steady_clock;

/** When the last bytes of a message were taken from its sender. */
struct Arrival_t {
    MsmClock_t::time_point steady;              /**< what ages are measured by: setting the clock changes none */
    std::chrono::system_clock::time_point wall; /**< what a record of the message would show */
};

/** Where a connection sits: numbers are given out again, lowest first. See Places_t. */
using Place_t = U8_t;

/** A message that waits. Its bytes are those that arrived; the rest never leaves the switch. */
struct Letter_t {
    std::vector<U8_t> bytes;
    U8_t sender;   /**< endpoint id of the connection it came from */
    Place_t place; /**< that connection's place: what is shared out evenly is shared out by places */
    Arrival_t arrival;
};

using LetterPtr_t = std::shared_ptr<const Letter_t>;

/** A message that has just been cut out of its stream; becomes a letter only when somebody has to wait for it. */
class Parcel_t {
public:
    Parcel_t(std::span<const U8_t> bytes, U8_t sender, Place_t place, const Arrival_t& arrival)
        : bytes_(bytes), sender_(sender), place_(place), arrival_(arrival) {}

    std::span<const U8_t> bytes() const { return bytes_; }
    U8_t sender() const { return sender_; }
    Place_t place() const { return place_; }
    const Arrival_t& arrival() const { return arrival_; }
    /** One copy, however many wait for it. */
    const LetterPtr_t& letter() const {
        if (!letter_) {
            letter_ = std::make_shared<const Letter_t>(
                Letter_t{std::vector<U8_t>(bytes_.begin(), bytes_.end()), sender_, place_, arrival_});
        }
        return letter_;
    }

private:
    std::span<const U8_t> bytes_;
    U8_t sender_;
    Place_t place_;
    Arrival_t arrival_;
    mutable LetterPtr_t letter_;
};
