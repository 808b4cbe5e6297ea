/** The commands that change and show the world while the simulator runs. */
#pragma once

#include <string>
#include <string_view>

#include "enclosure.h"
#include "line.h"

class Commands_t {
public:
    Commands_t(Enclosure_t& enclosure, Silenceable_t& line) : enclosure_(enclosure), line_(line) {}

    /**
     * Carries out one command line. The reply is whole lines; the last is "ok", or "error: " and what would be right.
     * An empty line is answered "ok". A refused command has changed nothing.
     */
    std::string execute(std::string_view line);

    bool quitRequested() const { return quit_; }
    /** Each transfer is to be printed as it happens. */
    bool logging() const { return logging_; }
    void setLogging(bool logging) { logging_ = logging; }
    /** Simulated seconds a second. */
    double speed() const { return speed_; }
    void setSpeed(double speed) { speed_ = speed; }
    void requestQuit() { quit_ = true; }

    Enclosure_t& enclosure() { return enclosure_; }
    const Enclosure_t& enclosure() const { return enclosure_; }
    Silenceable_t& line() { return line_; }
    const Silenceable_t& line() const { return line_; }

private:
    Enclosure_t& enclosure_;
    Silenceable_t& line_;
    bool quit_ = false;
    bool logging_ = false;
    double speed_ = 1.0;
};
