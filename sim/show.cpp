#include "show.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

constexpr int VERSION = 1;

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

const char* sensorState(const Commands_t& commands, const Sensor_t& sensor) {
    if (commands.enclosure().bus().silent(sensor.address)) {
        return "gone";
    }
    return sensor.set ? "set" : "ok";
}

json fansJson(const World_t& world) {
    json all = json::array();
    for (const Fan_t& fan : world.fans) {
        all.push_back({{"index", all.size()},
                       {"state", nameOf(fan.state)},
                       {"rpm", std::lround(fan.rpm)},
                       {"dutyPercent", tenths(fan.duty * 100.0)}});
    }
    return all;
}

json drivesJson(const World_t& world) {
    json all = json::array();
    for (const Drive_t& drive : world.drives) {
        const json led = drive.led ? json(*drive.led) : json(nullptr);
        all.push_back({{"index", all.size()}, {"present", drive.present}, {"led", led}});
    }
    return all;
}

json suppliesJson(const World_t& world) {
    json all = json::array();
    for (const Supply_t& supply : world.supplies) {
        all.push_back({{"index", all.size()}, {"state", nameOf(supply.state)}, {"alarm", supply.alarm}});
    }
    return all;
}

json sensorsJson(const Commands_t& commands) {
    json all = json::array();
    for (const Sensor_t& sensor : commands.enclosure().world().sensors) {
        all.push_back({{"index", all.size()},
                       {"address", hexByte(sensor.address)},
                       {"celsius", tenths(sensor.celsius)},
                       {"state", sensorState(commands, sensor)}});
    }
    return all;
}

json boardsJson(const World_t& world) {
    json all = json::array();
    for (const Board_t& board : world.boards) {
        json volts;
        for (std::size_t rail = 0; rail < RAIL_NAMES.size(); ++rail) {
            volts[RAIL_NAMES[rail]] = board.set[rail].value_or(board.volts[rail]);
        }
        all.push_back({{"index", all.size()}, {"address", hexByte(board.address)}, {"volts", volts}});
    }
    return all;
}

json ledsJson(const World_t& world) {
    json all = json::object();
    for (const auto& [name, on] : world.leds) {
        all[name] = on;
    }
    return all;
}

json busJson(const Commands_t& commands) {
    const Bus_t& bus = commands.enclosure().bus();
    json silent = json::array();
    for (const std::uint8_t address : bus.addresses()) {
        if (bus.silent(address)) {
            silent.push_back(hexByte(address));
        }
    }
    return {{"line", commands.line().silent() ? "silent" : "ok"},
            {"silent", silent},
            {"failNext", bus.failuresLeft()},
            {"failSkip", bus.skipLeft()}};
}

json transfersJson(const TransferCounts_t& counts) {
    return {{"total", counts.total}, {"reads", counts.reads}, {"writes", counts.writes}, {"failed", counts.failed}};
}

} // namespace

const char* nameOf(FanState_e state) {
    switch (state) {
    case FanState_e::OK:
        return "ok";
    case FanState_e::STALLED:
        return "stalled";
    case FanState_e::WORN:
        return "worn";
    case FanState_e::REMOVED:
        break;
    }
    return "removed";
}

const char* nameOf(SupplyState_e state) {
    switch (state) {
    case SupplyState_e::OK:
        return "ok";
    case SupplyState_e::FAILED:
        return "failed";
    case SupplyState_e::PULLED:
        break;
    }
    return "pulled";
}

const char* alarmName(unsigned state) {
    constexpr const char* NAMES[] = {"IDLE", "FAULT", "REMIND", "MUTE", "CRITICAL"};
    return state < std::size(NAMES) ? NAMES[state] : "INVALID";
}

std::string hexByte(unsigned value) {
    return format("0x%02x", value);
}

std::string showJson(const Commands_t& commands) {
    const Enclosure_t& enclosure = commands.enclosure();
    const World_t& world = enclosure.world();
    const json document = {
        {"version", VERSION},
        {"chassis", enclosure.chassis()},
        {"frozen", enclosure.frozen()},
        {"speed", commands.speed()},
        {"seconds", tenths(world.seconds)},
        {"heatWatts", world.heatWatts},
        {"ambientCelsius", world.ambient},
        {"airCelsius", tenths(world.air)},
        {"drives", drivesJson(world)},
        {"supplies", suppliesJson(world)},
        {"fans", fansJson(world)},
        {"sensors", sensorsJson(commands)},
        {"boards", boardsJson(world)},
        {"alarm",
         {{"state", alarmName(world.alarm.state)}, {"number", world.alarm.state}, {"sounding", world.alarm.sounding}}},
        {"leds", ledsJson(world)},
        {"bus", busJson(commands)},
        {"transfers", transfersJson(enclosure.bus().counts())},
    };
    return document.dump() + "\n";
}

std::string showText(const Commands_t& commands) {
    const Enclosure_t& enclosure = commands.enclosure();
    const World_t& world = enclosure.world();
    std::string text = format("chassis %s, %s, speed %g, %.1f s since power-on\n", enclosure.chassis().c_str(),
                              enclosure.frozen() ? "frozen" : "running", commands.speed(), world.seconds);
    text += format("heat %g W, ambient %.1f C, air %.1f C\n", world.heatWatts, world.ambient, world.air);
    for (std::size_t i = 0; i < world.fans.size(); ++i) {
        const Fan_t& fan = world.fans[i];
        text += format("fan %zu: %s, %.0f rpm at %.0f%% duty\n", i, nameOf(fan.state), fan.rpm, fan.duty * 100.0);
    }
    for (std::size_t i = 0; i < world.sensors.size(); ++i) {
        const Sensor_t& sensor = world.sensors[i];
        text += format("sensor %zu at 0x%02x: %s, %.1f C\n", i, unsigned{sensor.address}, sensorState(commands, sensor),
                       sensor.celsius);
    }
    for (std::size_t i = 0; i < world.supplies.size(); ++i) {
        const Supply_t& supply = world.supplies[i];
        text += format("supply %zu: %s%s\n", i, nameOf(supply.state), supply.alarm ? ", beeping" : "");
    }
    for (std::size_t i = 0; i < world.boards.size(); ++i) {
        const Board_t& board = world.boards[i];
        text += format("voltages %zu at 0x%02x:", i, unsigned{board.address});
        for (std::size_t rail = 0; rail < RAIL_NAMES.size(); ++rail) {
            text += format(" %s %.2f", RAIL_NAMES[rail], board.set[rail].value_or(board.volts[rail]));
        }
        text += "\n";
    }
    text += "drives: ";
    for (const Drive_t& drive : world.drives) {
        text += !drive.present ? '-' : drive.led.value_or(false) ? '*' : 'o';
    }
    text += "  (o present, * fault LED on, - empty)\n";
    text += format("alarm: %s, %s\n", alarmName(world.alarm.state), world.alarm.sounding ? "sounding" : "silent");
    for (const auto& [name, on] : world.leds) {
        text += format("led %s: %s\n", name.c_str(), on ? "on" : "off");
    }
    const TransferCounts_t& counts = enclosure.bus().counts();
    text += format("transfers: %llu, %llu failed\n", static_cast<unsigned long long>(counts.total),
                   static_cast<unsigned long long>(counts.failed));
    return text;
}
