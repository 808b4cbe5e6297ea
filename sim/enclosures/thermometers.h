/** The LM75s that a chassis measures its temperatures with. */
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "bus.h"
#include "chips/lm75.h"
#include "world.h"

/** Where one of them sits. */
struct Thermometer_t {
    std::uint8_t address;
    double offset; /**< degrees Celsius above the mean of the chassis */
};

class Thermometers_t {
public:
    /** Gives the world a sensor for each of `places`, and the bus its chip. */
    void attach(Bus_t& bus, World_t& world, std::span<const Thermometer_t> places);

    /** Lets the chips feel the temperatures of the world's sensors. */
    void measure(const World_t& world);

private:
    std::vector<std::shared_ptr<Lm75_t>> chips_;
};
