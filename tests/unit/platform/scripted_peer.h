/** The far end of a serial I2C bridge that plays a script, on a pseudo-terminal. */
#pragma once

#include <cstddef>
#include <thread>
#include <vector>

#include "basetypes.h"
#include "bytes.h"

using testsupport::Bytes_t;

/** A piece of a reply, sent `afterMs` milliseconds after what came before it. */
struct Piece_t {
    int afterMs;
    Bytes_t bytes;
};

/** Waits for a request of `requestLength` bytes, then sends the pieces; hangs up after the last when asked to. */
struct Turn_t {
    std::size_t requestLength;
    std::vector<Piece_t> reply;
    bool hangUp = false;
};

/** Plays its turns in a thread of its own. */
class ScriptedPeer_t {
public:
    explicit ScriptedPeer_t(std::vector<Turn_t> turns);
    ~ScriptedPeer_t();
    ScriptedPeer_t(const ScriptedPeer_t&) = delete;
    ScriptedPeer_t& operator=(const ScriptedPeer_t&) = delete;

    /** The end of the line that the library transfers over. */
    [[nodiscard]] int line() const { return line_; }

    /** Sends `bytes` out of turn and returns when they wait at the library's end. */
    void sendNow(const Bytes_t& bytes) const;

    /** Everything the library has sent. Ends the script: to be called when no transfer is to come. */
    Bytes_t received();

private:
    void play(const std::vector<Turn_t>& turns);
    bool takeRequest(std::size_t length);
    bool takeByte(int timeoutMs);

    int far_ = -1;
    int line_ = -1;
    Bytes_t received_;
    std::thread player_;
};
