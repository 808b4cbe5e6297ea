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
#include <vector>

#include "world.h"

namespace model {

/** What another result a call gives: a number, or one counted from what was asked for ("asked-1"). */
struct Outcome {
    bool fromAsked = false;
    long value = -1;

    long result(long asked) const { return fromAsked ? asked + value : value; }
    bool operator==(const Outcome&) const = default;
};

/** Calls that can be made to fail. TRANSFER counts reads and writes of the bus together. */
enum class Call { SOCKET, CONNECT, OPEN, SELECT, RECEIVE, SEND, READ, WRITE, TRANSFER };

struct Step {
    enum Kind {
        PASS,     /**< `count` waits of the adapter come and go */
        PUT,      /**< `bytes` arrive on the socket */
        CLOSE,    /**< the peer closes its end; what has arrived can still be read */
        REGISTER, /**< reads of `reg` of the device at `address` give `value` from now on */
        FAIL,     /**< the call number `count` from now (0: the next) of `call` gives `outcome` */
        DEAD,     /**< every transfer with `address`, or with its `reg` alone, gives `outcome` */
        HEAL,     /**< nothing is dead any more, and no failure is waiting */
        FLAGS,    /**< the parameter block's flags become `value` */
    };
    Kind kind = PASS;
    unsigned count = 1;
    Bytes bytes;
    std::uint8_t address = 0;
    std::optional<unsigned> reg;
    std::uint32_t value = 0;
    Call call = Call::TRANSFER;
    Outcome outcome;

    bool operator==(const Step&) const = default;
};

/** How attaching the parameter block goes. */
enum class Attach { POSSIBLE, ABSENT, UNMAPPABLE, OTHER_VERSION };

inline constexpr std::uint32_t TRACING = 0x01000000;
inline constexpr std::uint32_t RCP_COMPLETE = 0x80;

struct Life {
    std::vector<std::string> arguments = {"/usr/sbin/esa", "1234"};
    Attach attach = Attach::POSSIBLE;
    std::uint8_t chassis = 5;
    std::uint32_t flags = TRACING;
    unsigned rcp = 0; /**< sleeps until RCP_COMPLETE is raised */
    int socketFd = 4;
    int deviceFd = 5;
    std::string directory = "/run/mmsg"; /**< the switch's; at most 128 characters */
    bool bugCheckEnds = false;           /**< whether the platform ends the process when it is asked to */
    /** Those in front of the first PASS are taken before the adapter starts. */
    std::vector<Step> steps;

    bool operator==(const Life&) const = default;
};

std::string toText(const Step& step);
std::string toText(const Life& life);
/** Reads the text form; `error` tells the line that is none, and the result is empty then. */
std::optional<Life> lifeFromText(const std::string& text, std::string& error);

/** Bytes as hex; a run of more than eight equal bytes is written "00*4000". */
std::string toHex(const Bytes& bytes);

Step pass(unsigned count = 1);
Step put(Bytes bytes);
Step setRegister(std::uint8_t address, unsigned reg, std::uint32_t value);
Step fail(Call call, unsigned after, Outcome outcome);

} // namespace model
