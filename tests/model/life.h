/**
 * A life: what the adapter is started with and what the world does to it afterwards, in plain values. Two worlds made
 * from one life behave alike to the last bit.
 *
 * Its text form has one setting or step a line, settings first; blank lines and what follows "#" mean nothing.
 * Numbers of registers, addresses, flags and message bytes are hexadecimal, all others decimal.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "world.h"

namespace model {

/** What another result a call gives: a number, or one counted from what was asked for ("asked-1"). */
struct Outcome_t {
    bool fromAsked = false;
    long value = -1;

    long result(long asked) const { return fromAsked ? asked + value : value; }
    bool operator==(const Outcome_t&) const = default;
};

/** Calls that can be made to fail. TRANSFER counts reads and writes of the bus together. */
enum class Call_e { SOCKET, CONNECT, OPEN, SELECT, RECEIVE, SEND, READ, WRITE, TRANSFER };

struct Step_t {
    enum Kind_e {
        PASS,     /**< `count` waits of the adapter come and go */
        PUT,      /**< `bytes` arrive on the socket */
        CLOSE,    /**< the peer closes its end; what has arrived can still be read */
        REGISTER, /**< reads of `reg` of the device at `address` give `value` from now on */
        FAIL,     /**< the call number `count` from now (0: the next) of `call` gives `outcome` */
        DEAD,     /**< every transfer with `address`, or with its `reg` alone, gives `outcome` */
        HEAL,     /**< nothing is dead any more, and no failure is waiting */
        FLAGS,    /**< the parameter block's flags become `value` */
    };
    Kind_e kind = PASS;
    unsigned count = 1;
    Bytes_t bytes = {};
    std::uint8_t address = 0;
    std::optional<unsigned> reg = {};
    std::uint32_t value = 0;
    Call_e call = Call_e::TRANSFER;
    Outcome_t outcome = {};

    bool operator==(const Step_t&) const = default;
};

/** How attaching the parameter block goes. */
enum class Attach_e { POSSIBLE, ABSENT, UNMAPPABLE, OTHER_VERSION };

inline constexpr std::uint32_t TRACING = 0x01000000;
inline constexpr std::uint32_t RCP_COMPLETE = 0x80;

struct Life_t {
    std::vector<std::string> arguments = {"/usr/sbin/esa", "1234"};
    Attach_e attach = Attach_e::POSSIBLE;
    std::uint8_t chassis = 5;
    std::uint32_t flags = TRACING;
    unsigned rcp = 0; /**< sleeps until RCP_COMPLETE is raised */
    int socketFd = 4;
    int deviceFd = 5;
    std::string directory = "/run/mmsg"; /**< the switch's; at most 128 characters */
    bool bugCheckEnds = false;           /**< whether the platform ends the process when it is asked to */
    /** Those in front of the first PASS are taken before the adapter starts. */
    std::vector<Step_t> steps;

    bool operator==(const Life_t&) const = default;
};

std::string toText(const Step_t& step);
std::string toText(const Life_t& life);
/** Reads the text form; `error` tells the line that is none, and the result is empty then. */
std::optional<Life_t> lifeFromText(const std::string& text, std::string& error);

/** The life that a file tells. */
std::optional<Life_t> lifeFromFile(const std::string& path, std::string& error);

/** Bytes as hex; a run of more than eight equal bytes is written "00*4000". */
std::string toHex(const Bytes_t& bytes);

inline Step_t pass(unsigned count = 1) {
    return {.count = count};
}
inline Step_t put(Bytes_t bytes) {
    return {.kind = Step_t::PUT, .bytes = std::move(bytes)};
}
inline Step_t setRegister(std::uint8_t address, unsigned reg, std::uint32_t value) {
    return {.kind = Step_t::REGISTER, .address = address, .reg = reg, .value = value};
}
inline Step_t fail(Call_e call, unsigned after, Outcome_t outcome) {
    return {.kind = Step_t::FAIL, .count = after, .call = call, .outcome = outcome};
}
inline Step_t dead(std::uint8_t address, std::optional<unsigned> reg, Outcome_t outcome) {
    return {.kind = Step_t::DEAD, .address = address, .reg = reg, .outcome = outcome};
}

/** That number, or one counted from what was asked for. */
constexpr Outcome_t result(long value) {
    return {false, value};
}
constexpr Outcome_t asked(long more) {
    return {true, more};
}

} // namespace model
