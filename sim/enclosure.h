/** One chassis: the things of its world wired to the pins of its chips. */
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bus.h"
#include "world.h"

class Enclosure_t {
public:
    explicit Enclosure_t(std::string chassis);
    virtual ~Enclosure_t() = default;
    Enclosure_t(const Enclosure_t&) = delete;
    Enclosure_t& operator=(const Enclosure_t&) = delete;

    const std::string& chassis() const { return chassis_; }
    World_t& world() { return world_; }
    const World_t& world() const { return world_; }
    Bus_t& bus() { return bus_; }
    const Bus_t& bus() const { return bus_; }

    /** Lets `seconds` of simulated time pass; nothing happens while frozen. */
    void advance(double seconds);

    bool frozen() const { return frozen_; }
    void setFrozen(bool frozen) { frozen_ = frozen; }

    /** To be called after a change to the world from outside: the chips see it at once. */
    void changed() { wire(); }

    /** Hardware that reacts to time or supplies by itself; called once per advance(). */
    virtual void live(double /*seconds*/) {}
    /** Puts the alarm controller into `state`, 0 to 7; only where `world().alarm.settable`. */
    virtual void setAlarm(unsigned /*state*/) {}

protected:
    /** Outputs of the chips to the world, then the world to the inputs of the chips. Runs after each transfer. */
    virtual void wire() = 0;
    /** To be called at the end of a chassis' constructor: power is on, everything has settled. */
    void powerOn();

private:
    std::string chassis_;
    World_t world_;
    Bus_t bus_;
    bool frozen_ = false;
};

/** The chassis names that makeEnclosure() knows. */
const std::vector<std::string>& chassisNames();

/** A powered-on enclosure; null for an unknown name. */
std::unique_ptr<Enclosure_t> makeEnclosure(std::string_view chassis);
