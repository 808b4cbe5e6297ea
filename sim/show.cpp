#include "sim/show.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace encsim {
namespace {

using nlohmann::json;

constexpr int kVersion = 1;

std::string format(const char* text, ...) __attribute__((format(printf, 1, 2)));

std::string format(const char* text, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, text);
    std::vsnprintf(line, sizeof line, text, arguments);
    va_end(arguments);
    return line;
}

double tenths(double value) {
    return std::round(value * 10.0) / 10.0;
}

const char* sensorState(const Control& control, const Sensor& sensor) {
    if (control.enclosure().bus().silent(sensor.address)) {
        return "gone";
    }
    return sensor.set ? "set" : "ok";
}

json fansJson(const World& world) {
    json all = json::array();
    for (const Fan& fan : world.fans) {
        all.push_back({{"index", all.size()},
                       {"state", nameOf(fan.state)},
                       {"rpm", std::lround(fan.rpm)},
                       {"dutyPercent", tenths(fan.duty * 100.0)}});
    }
    return all;
}

json drivesJson(const World& world) {
    json all = json::array();
    for (const Drive& drive : world.drives) {
        const json led = drive.led ? json(*drive.led) : json(nullptr);
        all.push_back({{"index", all.size()}, {"present", drive.present}, {"led", led}});
    }
    return all;
}

json suppliesJson(const World& world) {
    json all = json::array();
    for (const Supply& supply : world.supplies) {
        all.push_back({{"index", all.size()}, {"state", nameOf(supply.state)}, {"alarm", supply.alarm}});
    }
    return all;
}

json sensorsJson(const Control& control) {
    json all = json::array();
    for (const Sensor& sensor : control.enclosure().world().sensors) {
        all.push_back({{"index", all.size()},
                       {"address", hexByte(sensor.address)},
                       {"celsius", tenths(sensor.celsius)},
                       {"state", sensorState(control, sensor)}});
    }
    return all;
}

json boardsJson(const World& world) {
    json all = json::array();
    for (const Board& board : world.boards) {
        json volts;
        for (std::size_t rail = 0; rail < kRailNames.size(); ++rail) {
            volts[kRailNames[rail]] = board.set[rail].value_or(board.volts[rail]);
        }
        all.push_back({{"index", all.size()}, {"address", hexByte(board.address)}, {"volts", volts}});
    }
    return all;
}

json ledsJson(const World& world) {
    json all = json::object();
    for (const auto& [name, on] : world.leds) {
        all[name] = on;
    }
    return all;
}

json busJson(const Control& control) {
    const Bus& bus = control.enclosure().bus();
    json silent = json::array();
    for (const std::uint8_t address : bus.addresses()) {
        if (bus.silent(address)) {
            silent.push_back(hexByte(address));
        }
    }
    return {{"line", control.line().silent() ? "silent" : "ok"},
            {"silent", silent},
            {"failNext", bus.failuresLeft()},
            {"failSkip", bus.skipLeft()}};
}

json transfersJson(const TransferCounts& counts) {
    return {{"total", counts.total}, {"reads", counts.reads}, {"writes", counts.writes}, {"failed", counts.failed}};
}

} // namespace

const char* nameOf(FanState state) {
    switch (state) {
    case FanState::Ok:
        return "ok";
    case FanState::Stalled:
        return "stalled";
    case FanState::Worn:
        return "worn";
    case FanState::Removed:
        break;
    }
    return "removed";
}

const char* nameOf(SupplyState state) {
    switch (state) {
    case SupplyState::Ok:
        return "ok";
    case SupplyState::Failed:
        return "failed";
    case SupplyState::Pulled:
        break;
    }
    return "pulled";
}

const char* alarmName(unsigned state) {
    constexpr const char* kNames[] = {"IDLE", "FAULT", "REMIND", "MUTE", "CRITICAL"};
    return state < std::size(kNames) ? kNames[state] : "INVALID";
}

std::string hexByte(unsigned value) {
    return format("0x%02x", value);
}

std::string showJson(const Control& control) {
    const Enclosure& enclosure = control.enclosure();
    const World& world = enclosure.world();
    const json document = {
        {"version", kVersion},
        {"chassis", enclosure.chassis()},
        {"frozen", enclosure.frozen()},
        {"speed", control.speed()},
        {"seconds", tenths(world.seconds)},
        {"heatWatts", world.heatWatts},
        {"ambientCelsius", world.ambient},
        {"airCelsius", tenths(world.air)},
        {"drives", drivesJson(world)},
        {"supplies", suppliesJson(world)},
        {"fans", fansJson(world)},
        {"sensors", sensorsJson(control)},
        {"boards", boardsJson(world)},
        {"alarm",
         {{"state", alarmName(world.alarm.state)}, {"number", world.alarm.state}, {"sounding", world.alarm.sounding}}},
        {"leds", ledsJson(world)},
        {"bus", busJson(control)},
        {"transfers", transfersJson(enclosure.bus().counts())},
    };
    return document.dump() + "\n";
}

std::string showText(const Control& control) {
    const Enclosure& enclosure = control.enclosure();
    const World& world = enclosure.world();
    std::string text = format("chassis %s, %s, speed %g, %.1f s since power-on\n", enclosure.chassis().c_str(),
                              enclosure.frozen() ? "frozen" : "running", control.speed(), world.seconds);
    text += format("heat %g W, ambient %.1f C, air %.1f C\n", world.heatWatts, world.ambient, world.air);
    for (std::size_t i = 0; i < world.fans.size(); ++i) {
        const Fan& fan = world.fans[i];
        text += format("fan %zu: %s, %.0f rpm at %.0f%% duty\n", i, nameOf(fan.state), fan.rpm, fan.duty * 100.0);
    }
    for (std::size_t i = 0; i < world.sensors.size(); ++i) {
        const Sensor& sensor = world.sensors[i];
        text += format("sensor %zu at 0x%02x: %s, %.1f C\n", i, unsigned{sensor.address}, sensorState(control, sensor),
                       sensor.celsius);
    }
    for (std::size_t i = 0; i < world.supplies.size(); ++i) {
        const Supply& supply = world.supplies[i];
        text += format("supply %zu: %s%s\n", i, nameOf(supply.state), supply.alarm ? ", beeping" : "");
    }
    for (std::size_t i = 0; i < world.boards.size(); ++i) {
        const Board& board = world.boards[i];
        text += format("voltages %zu at 0x%02x:", i, unsigned{board.address});
        for (std::size_t rail = 0; rail < kRailNames.size(); ++rail) {
            text += format(" %s %.2f", kRailNames[rail], board.set[rail].value_or(board.volts[rail]));
        }
        text += "\n";
    }
    text += "drives: ";
    for (const Drive& drive : world.drives) {
        text += !drive.present ? '-' : drive.led.value_or(false) ? '*' : 'o';
    }
    text += "  (o present, * fault LED on, - empty)\n";
    text += format("alarm: %s, %s\n", alarmName(world.alarm.state), world.alarm.sounding ? "sounding" : "silent");
    for (const auto& [name, on] : world.leds) {
        text += format("led %s: %s\n", name.c_str(), on ? "on" : "off");
    }
    const TransferCounts& counts = enclosure.bus().counts();
    text += format("transfers: %llu, %llu failed\n", static_cast<unsigned long long>(counts.total),
                   static_cast<unsigned long long>(counts.failed));
    return text;
}

} // namespace encsim
