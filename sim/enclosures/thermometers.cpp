#include "enclosures/thermometers.h"

void Thermometers_t::attach(Bus_t& bus, World_t& world, std::span<const Thermometer_t> places) {
    for (const Thermometer_t& place : places) {
        chips_.push_back(std::make_shared<Lm75_t>());
        bus.attach(place.address, chips_.back());
        Sensor_t sensor;
        sensor.offset = place.offset;
        sensor.address = place.address;
        world.sensors.push_back(sensor);
    }
}

void Thermometers_t::measure(const World_t& world) {
    for (std::size_t i = 0; i < chips_.size(); ++i) {
        chips_[i]->setCelsius(world.sensors[i].celsius);
    }
}
