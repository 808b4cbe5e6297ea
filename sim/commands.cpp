#include "commands.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <string_view>

#include "arguments.h"
#include "physics.h"
#include "show.h"

namespace {

struct Command_t {
    const char* name;
    std::size_t least, most; /**< words after the command */
    const char* usage;
    std::string (*run)(Commands_t& commands, const Arguments_t& arguments); /**< the reply without its last line */
};

World_t& worldOf(Commands_t& commands) {
    return commands.enclosure().world();
}
Bus_t& busOf(Commands_t& commands) {
    return commands.enclosure().bus();
}

[[noreturn]] void refuseWord(const std::string& word, const char* right) {
    throw Refused_t(inQuotes(word) + " must be " + right);
}

/** Words the verb of `arguments` does not take. */
void expectAfterVerb(const Arguments_t& arguments, std::size_t verb, std::size_t words) {
    if (arguments.size() != verb + 1 + words) {
        throw Refused_t(inQuotes(arguments.word(verb)) + " takes " + (words == 0 ? "nothing" : "one value") +
                        " after it");
    }
}

struct Verb_t {
    std::string_view name;
    std::size_t words; /**< behind it */
};

/** The second word is one of the verbs, and what it needs is behind it. */
void expectVerb(const Arguments_t& arguments, std::initializer_list<Verb_t> verbs, const char* right) {
    const auto* const verb = std::ranges::find(verbs, arguments.word(1), &Verb_t::name);
    if (verb == verbs.end()) {
        refuseWord(arguments.word(1), right);
    }
    expectAfterVerb(arguments, 1, verb->words);
}

std::uint8_t deviceAddress(Commands_t& commands, const Arguments_t& arguments) {
    const auto address = static_cast<std::uint8_t>(arguments.whole(0, "address", 0, 0x7F));
    if (busOf(commands).device(address) == nullptr) {
        std::string all;
        for (const std::uint8_t known : busOf(commands).addresses()) {
            all += ' ';
            all += hexByte(known);
        }
        throw Refused_t("no chip at " + hexByte(address) + "; this chassis has" + all);
    }
    return address;
}

std::string heat(Commands_t& commands, const Arguments_t& arguments) {
    worldOf(commands).heatWatts = arguments.number(0, "heat", 0, 10000);
    return {};
}

std::string ambient(Commands_t& commands, const Arguments_t& arguments) {
    worldOf(commands).ambient = arguments.number(0, "ambient temperature", -55, 125);
    return {};
}

std::string fan(Commands_t& commands, const Arguments_t& arguments) {
    Fan_t& one = worldOf(commands).fans.at(arguments.index(0, "fan", worldOf(commands).fans.size()));
    const std::string& verb = arguments.word(1);
    expectVerb(arguments, {{"ok", 0}, {"stall", 0}, {"worn", 1}, {"remove", 0}, {"rpm", 1}},
               "\"ok\", \"stall\", \"worn PERCENT\", \"remove\" or \"rpm RPM\"");
    Fan_t wanted = one;
    if (verb == "rpm") {
        if (!commands.enclosure().frozen()) {
            throw Refused_t("a fan's speed follows its duty while time passes; freeze first");
        }
        one.rpm = arguments.number(2, "speed", 0, 100000);
        return {};
    }
    if (verb == "ok") {
        wanted.state = FanState_e::OK;
    } else if (verb == "stall") {
        wanted.state = FanState_e::STALLED;
    } else if (verb == "remove") {
        wanted.state = FanState_e::REMOVED;
    } else {
        wanted.wornTo = arguments.number(2, "percentage of its healthy speed", 1, 100) / 100.0;
        wanted.state = FanState_e::WORN;
    }
    one = wanted;
    if (commands.enclosure().frozen() || one.state == FanState_e::REMOVED) {
        one.rpm = settledRpm(one);
    }
    return {};
}

std::string psu(Commands_t& commands, const Arguments_t& arguments) {
    Supply_t& supply = worldOf(commands).supplies.at(arguments.index(0, "supply", worldOf(commands).supplies.size()));
    const std::string& verb = arguments.word(1);
    if (verb == "fail") {
        if (supply.state == SupplyState_e::PULLED) {
            throw Refused_t("supply " + arguments.word(0) + " is pulled; insert it first");
        }
        supply = {SupplyState_e::FAILED, true};
    } else if (verb == "pull") {
        supply = {SupplyState_e::PULLED, false};
    } else if (verb == "ok" || verb == "insert") {
        supply = {SupplyState_e::OK, false};
    } else {
        refuseWord(verb, "\"fail\", \"ok\", \"pull\" or \"insert\"");
    }
    return {};
}

std::string drive(Commands_t& commands, const Arguments_t& arguments) {
    Drive_t& slot = worldOf(commands).drives.at(arguments.index(0, "drive", worldOf(commands).drives.size()));
    slot.present = arguments.either(1, "insert", "pull");
    return {};
}

std::string sensor(Commands_t& commands, const Arguments_t& arguments) {
    Sensor_t& one = worldOf(commands).sensors.at(arguments.index(0, "sensor", worldOf(commands).sensors.size()));
    const std::string& verb = arguments.word(1);
    expectVerb(arguments, {{"gone", 0}, {"ok", 0}, {"set", 1}}, "\"gone\", \"ok\" or \"set C\"");
    if (verb == "gone") {
        if (!one.ownChip) {
            throw Refused_t("this sensor is inside a monitor chip; use \"chip " + hexByte(one.address) + " silent\"");
        }
        busOf(commands).setSilent(one.address, true);
    } else if (verb == "ok") {
        one.set.reset();
        busOf(commands).setSilent(one.address, false);
    } else {
        one.set = arguments.number(2, "temperature", -55, 125);
        one.celsius = *one.set;
    }
    return {};
}

std::string temp(Commands_t& commands, const Arguments_t& arguments) {
    Sensor_t& one = worldOf(commands).sensors.at(arguments.index(0, "sensor", worldOf(commands).sensors.size()));
    one.celsius = arguments.number(1, "temperature", -55, 125);
    return {};
}

std::string volt(Commands_t& commands, const Arguments_t& arguments) {
    Board_t& board =
        worldOf(commands).boards.at(arguments.index(0, "voltage monitor", worldOf(commands).boards.size()));
    const auto rail = std::find(RAIL_NAMES.begin(), RAIL_NAMES.end(), arguments.word(1));
    if (rail == RAIL_NAMES.end()) {
        refuseWord(arguments.word(1), "\"vcore\", \"vinr0\", \"3.3\", \"5\", \"12\", \"-12\" or \"-5\"");
    }
    std::optional<double>& set = board.set.at(static_cast<std::size_t>(rail - RAIL_NAMES.begin()));
    if (arguments.word(2) == "ok") {
        set.reset();
    } else {
        set = arguments.number(2, "voltage", -20, 20);
    }
    return {};
}

std::string chip(Commands_t& commands, const Arguments_t& arguments) {
    const std::uint8_t address = deviceAddress(commands, arguments);
    busOf(commands).setSilent(address, arguments.either(1, "silent", "ok"));
    return {};
}

std::string bus(Commands_t& commands, const Arguments_t& arguments) {
    if (arguments.word(0) == "ok" && arguments.size() == 1) {
        busOf(commands).failNext(0, 0);
        return {};
    }
    const bool second = arguments.size() > 2 && arguments.word(arguments.size() - 1) == "second";
    const std::size_t words = arguments.size() - (second ? 1 : 0);
    const bool skips = words == 4 && arguments.word(2) == "skip";
    if (arguments.word(0) != "fail" || !(words == 2 || skips)) {
        throw Refused_t("expected \"bus fail N [skip M] [second]\" or \"bus ok\"");
    }
    const unsigned count = arguments.whole(1, "number of transfers", 0, 1000000);
    busOf(commands).failNext(count, skips ? arguments.whole(3, "number to skip", 0, 1000000) : 0, second);
    return {};
}

std::string line(Commands_t& commands, const Arguments_t& arguments) {
    commands.line().setSilent(arguments.either(0, "silent", "ok"));
    return {};
}

unsigned alarmState(const Arguments_t& arguments) {
    std::string upper = arguments.word(0);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (unsigned state = 0; state <= 4; ++state) {
        if (upper == alarmName(state)) {
            return state;
        }
    }
    if (upper.size() == 1 && upper[0] >= '0' && upper[0] <= '7') {
        return static_cast<unsigned>(upper[0] - '0');
    }
    refuseWord(
        arguments.word(0),
        "\"idle\", \"fault\", \"remind\", \"mute\", \"critical\", a number 0 to 7, \"auto\" or \"remind-after\"");
}

std::string alarm(Commands_t& commands, const Arguments_t& arguments) {
    Alarm_t& controller = worldOf(commands).alarm;
    if (!controller.settable) {
        throw Refused_t("this chassis has no alarm controller; its alarm sounds as the adapter tells it");
    }
    const std::string& verb = arguments.word(0);
    const bool takesValue = verb == "auto" || verb == "remind-after";
    const unsigned state = takesValue ? 0 : alarmState(arguments);
    expectAfterVerb(arguments, 0, takesValue ? 1 : 0);
    if (verb == "auto") {
        controller.automatic = arguments.either(1, "on", "off");
    } else if (verb == "remind-after") {
        controller.remindAfter = arguments.number(1, "seconds", 0.1, 100000);
    } else {
        commands.enclosure().setAlarm(state);
    }
    return {};
}

std::string freeze(Commands_t& commands, const Arguments_t&) {
    commands.enclosure().setFrozen(true);
    return {};
}

std::string thaw(Commands_t& commands, const Arguments_t&) {
    commands.enclosure().setFrozen(false);
    return {};
}

std::string reg(Commands_t& commands, const Arguments_t& arguments) {
    const std::uint8_t address = deviceAddress(commands, arguments);
    Device_t& device = *busOf(commands).device(address);
    const auto number = static_cast<std::uint8_t>(arguments.whole(1, "register", 0, 0xFF));
    if (device.width(number) == 0) {
        throw Refused_t("the " + device.name() + " at " + hexByte(address) + " has no register " + hexByte(number));
    }
    if (arguments.word(2) == "free") {
        device.unpin(number);
    } else if (arguments.size() == 3) {
        device.pin(number, arguments.whole(2, "value", 0, device.width(number) == 1 ? 0xFF : 0xFFFF));
    } else {
        return hexByte(address) + " " + hexByte(number) + " " + hexByte(device.peek(number).value_or(0)) +
               (device.pinned(number) ? " pinned\n" : "\n");
    }
    return {};
}

std::string speed(Commands_t& commands, const Arguments_t& arguments) {
    commands.setSpeed(arguments.number(0, "speed", 0.01, 1000));
    return {};
}

std::string log(Commands_t& commands, const Arguments_t& arguments) {
    if (arguments.word(0) == "on" || arguments.word(0) == "off") {
        commands.setLogging(arguments.word(0) == "on");
        return {};
    }
    const auto& all = busOf(commands).remembered();
    const std::size_t count = arguments.whole(0, "\"on\", \"off\" or the number of transfers", 0, Bus_t::REMEMBERED);
    std::string text;
    for (std::size_t i = all.size() - std::min(count, all.size()); i < all.size(); ++i) {
        text += describe(all[i]) + "\n";
    }
    return text;
}

std::string transfers(Commands_t& commands, const Arguments_t& arguments) {
    if (arguments.size() == 1) {
        if (arguments.word(0) != "reset") {
            refuseWord(arguments.word(0), "\"reset\", or nothing");
        }
        busOf(commands).resetCounts();
        return {};
    }
    const TransferCounts_t& counts = busOf(commands).counts();
    return "total " + std::to_string(counts.total) + " reads " + std::to_string(counts.reads) + " writes " +
           std::to_string(counts.writes) + " failed " + std::to_string(counts.failed) + "\n";
}

std::string show(Commands_t& commands, const Arguments_t& arguments) {
    if (arguments.size() == 1 && arguments.word(0) != "--json") {
        refuseWord(arguments.word(0), "\"--json\", or nothing");
    }
    return arguments.size() == 1 ? showJson(commands) : showText(commands);
}

std::string quit(Commands_t& commands, const Arguments_t&) {
    commands.requestQuit();
    return {};
}

std::string help(Commands_t& commands, const Arguments_t& arguments);

constexpr Command_t COMMANDS[] = {
    {"heat", 1, 1, "heat WATTS", heat},
    {"ambient", 1, 1, "ambient C", ambient},
    {"fan", 2, 3, "fan N ok|stall|worn PERCENT|remove|rpm RPM", fan},
    {"psu", 2, 2, "psu N fail|ok|pull|insert", psu},
    {"drive", 2, 2, "drive N pull|insert", drive},
    {"sensor", 2, 3, "sensor N gone|ok|set C", sensor},
    {"temp", 2, 2, "temp N C", temp},
    {"volt", 3, 3, "volt N vcore|vinr0|3.3|5|12|-12|-5 VOLTS|ok", volt},
    {"chip", 2, 2, "chip ADDRESS silent|ok", chip},
    {"bus", 1, 5, "bus fail N [skip M] [second], or: bus ok", bus},
    {"line", 1, 1, "line silent|ok", line},
    {"alarm", 1, 2, "alarm STATE, alarm auto on|off, or alarm remind-after SECONDS", alarm},
    {"reg", 2, 3, "reg ADDRESS REGISTER [VALUE|free]", reg},
    {"freeze", 0, 0, "freeze", freeze},
    {"thaw", 0, 0, "thaw", thaw},
    {"speed", 1, 1, "speed FACTOR", speed},
    {"log", 1, 1, "log on|off|N", log},
    {"transfers", 0, 1, "transfers [reset]", transfers},
    {"show", 0, 1, "show [--json]", show},
    {"help", 0, 0, "help", help},
    {"quit", 0, 0, "quit", quit},
};

std::string help(Commands_t&, const Arguments_t&) {
    std::string text;
    for (const Command_t& command : COMMANDS) {
        text += std::string(command.usage) + "\n";
    }
    return text;
}

std::string dispatch(Commands_t& commands, const Arguments_t& arguments) {
    for (const Command_t& command : COMMANDS) {
        if (arguments.command() == command.name) {
            arguments.expect(command.least, command.most, command.usage);
            return command.run(commands, arguments);
        }
    }
    throw Refused_t("unknown command " + inQuotes(arguments.command()) + "; \"help\" lists the commands");
}

} // namespace

std::string Commands_t::execute(std::string_view line) {
    const Arguments_t arguments(line);
    if (arguments.command().empty()) {
        return "ok\n";
    }
    try {
        std::string reply = dispatch(*this, arguments);
        enclosure_.changed();
        return reply + "ok\n";
    } catch (const Refused_t& refusal) {
        return "error: " + std::string(refusal.what()) + "\n";
    }
}
