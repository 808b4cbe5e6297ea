#include "show.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "json.h"

namespace {

constexpr int DOCUMENT_VERSION = 1;

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

Json_t fansJson(const World_t& world) {
    Json_t all = Json_t::array();
    for (std::size_t i = 0; i < world.fans.size(); ++i) {
        const Fan_t& fan = world.fans[i];
        all.add(Json_t::object({{"dutyPercent", tenths(fan.duty * 100.0)},
                                {"index", i},
                                {"rpm", std::lround(fan.rpm)},
                                {"state", nameOf(fan.state)}}));
    }
    return all;
}

Json_t drivesJson(const World_t& world) {
    Json_t all = Json_t::array();
    for (std::size_t i = 0; i < world.drives.size(); ++i) {
        const Drive_t& drive = world.drives[i];
        all.add(Json_t::object({{"index", i}, {"led", drive.led}, {"present", drive.present}}));
    }
    return all;
}

Json_t suppliesJson(const World_t& world) {
    Json_t all = Json_t::array();
    for (std::size_t i = 0; i < world.supplies.size(); ++i) {
        const Supply_t& supply = world.supplies[i];
        all.add(Json_t::object({{"alarm", supply.alarm}, {"index", i}, {"state", nameOf(supply.state)}}));
    }
    return all;
}

Json_t sensorsJson(const Commands_t& commands) {
    Json_t all = Json_t::array();
    const std::vector<Sensor_t>& sensors = commands.enclosure().world().sensors;
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        all.add(Json_t::object({{"address", hexByte(sensors[i].address)},
                                {"celsius", tenths(sensors[i].celsius)},
                                {"index", i},
                                {"state", sensorState(commands, sensors[i])}}));
    }
    return all;
}

Json_t boardsJson(const World_t& world) {
    Json_t all = Json_t::array();
    for (std::size_t i = 0; i < world.boards.size(); ++i) {
        const Board_t& board = world.boards[i];
        Json_t volts = Json_t::object();
        for (std::size_t rail = 0; rail < RAIL_NAMES.size(); ++rail) {
            volts.set(RAIL_NAMES[rail], board.set[rail].value_or(board.volts[rail]));
        }
        all.add(Json_t::object({{"address", hexByte(board.address)}, {"index", i}, {"volts", volts}}));
    }
    return all;
}

Json_t ledsJson(const World_t& world) {
    Json_t all = Json_t::object();
    for (const auto& [name, on] : world.leds) {
        all.set(name, on);
    }
    return all;
}

Json_t busJson(const Commands_t& commands) {
    const Bus_t& bus = commands.enclosure().bus();
    Json_t silent = Json_t::array();
    for (const std::uint8_t address : bus.addresses()) {
        if (bus.silent(address)) {
            silent.add(hexByte(address));
        }
    }
    return Json_t::object({{"failNext", bus.failuresLeft()},
                           {"failSkip", bus.skipLeft()},
                           {"line", commands.line().silent() ? "silent" : "ok"},
                           {"silent", silent}});
}

Json_t transfersJson(const TransferCounts_t& counts) {
    return Json_t::object(
        {{"failed", counts.failed}, {"reads", counts.reads}, {"total", counts.total}, {"writes", counts.writes}});
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
    const Json_t alarm = Json_t::object(
        {{"number", world.alarm.state}, {"sounding", world.alarm.sounding}, {"state", alarmName(world.alarm.state)}});
    const Json_t document = Json_t::object({{"airCelsius", tenths(world.air)},
                                            {"alarm", alarm},
                                            {"ambientCelsius", world.ambient},
                                            {"boards", boardsJson(world)},
                                            {"bus", busJson(commands)},
                                            {"chassis", enclosure.chassis()},
                                            {"drives", drivesJson(world)},
                                            {"fans", fansJson(world)},
                                            {"frozen", enclosure.frozen()},
                                            {"heatWatts", world.heatWatts},
                                            {"leds", ledsJson(world)},
                                            {"seconds", tenths(world.seconds)},
                                            {"sensors", sensorsJson(commands)},
                                            {"speed", commands.speed()},
                                            {"supplies", suppliesJson(world)},
                                            {"transfers", transfersJson(enclosure.bus().counts())},
                                            {"version", DOCUMENT_VERSION}});
    return document.text(-1) + "\n";
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
