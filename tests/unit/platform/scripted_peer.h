/** The far end of a serial I2C bridge that plays a script, on a pseudo-terminal. */
#pragma once

#include <cstddef>
#include <thread>
#include <vector>

#include "bytes.h"

/** A piece of a reply, sent `afterMs` milliseconds after what came before it. */
struct Piece {
    int afterMs;
    Bytes bytes;
};

/** Waits for a request of `requestLength` bytes, then sends the pieces; hangs up after the last when asked to. */
struct Turn {
    std::size_t requestLength;
    std::vector<Piece> reply;
    bool hangUp = false;
};

/** Plays its turns in a thread of its own. */
class ScriptedPeer {
public:
    explicit ScriptedPeer(std::vector<Turn> turns);
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    /** The end of the line that the library transfers over. */
    [[nodiscard]] int line() const { return line_; }

    /** Sends `bytes` out of turn and returns when they wait at the library's end. */
    void sendNow(const Bytes& bytes) const;

    /** Everything the library has sent. Ends the script: to be called when no transfer is to come. */
    Bytes received();

private:
    void play(const std::vector<Turn>& turns);
    bool takeRequest(std::size_t length);
    bool takeByte(int timeoutMs);

    int far_ = -1;
    int line_ = -1;
    Bytes received_;
    std::thread player_;
};
