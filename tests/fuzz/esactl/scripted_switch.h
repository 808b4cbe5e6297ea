/** A message switch, and an adapter behind it, that answer as a fuzzer's input says; there is no socket. */
#pragma once

#include "fuzz_input.h"

/**
 * While one of these lives, every connection of the process leads to it. The input holds the greeting, then one answer
 * for each request: flags, a length of two bytes and the bytes that are sent. Behind the last one the switch closes.
 */
class ScriptedSwitch_t {
public:
    explicit ScriptedSwitch_t(fuzz::Input_t& input);
    ~ScriptedSwitch_t();
    ScriptedSwitch_t(const ScriptedSwitch_t&) = delete;
    ScriptedSwitch_t& operator=(const ScriptedSwitch_t&) = delete;

    /** A request has arrived: its answer, if there is one, can be read from now on. */
    void request(std::span<const std::uint8_t> message);
    /** What recv() gives: the next piece; 0 when the script has ended. */
    std::size_t read(std::span<std::uint8_t> space);

private:
    fuzz::Input_t& input_;
    std::vector<std::uint8_t> waiting_;
    std::size_t pieceLimit_;
};
