#include "sim/control.h"

#include "sim/arguments.h"
#include "sim/physics.h"
#include "sim/show.h"

#include <algorithm>
#include <cctype>

namespace encsim {
namespace {

struct Command {
    const char* name;
    std::size_t least, most; // words after the command
    const char* usage;
    std::string (*run)(Control& control, const Arguments& arguments); // the reply without its last line
};

World& worldOf(Control& control) {
    return control.enclosure().world();
}
Bus& busOf(Control& control) {
    return control.enclosure().bus();
}

[[noreturn]] void refuseWord(const std::string& word, const char* right) {
    throw Refused(quoted(word) + " must be " + right);
}

/// Words the verb of `arguments` does not take.
void expectAfterVerb(const Arguments& arguments, std::size_t verb, std::size_t words) {
    if (arguments.size() != verb + 1 + words) {
        throw Refused(quoted(arguments.word(verb)) + " takes " + (words == 0 ? "nothing" : "one value") + " after it");
    }
}

std::uint8_t deviceAddress(Control& control, const Arguments& arguments) {
    const auto address = static_cast<std::uint8_t>(arguments.whole(0, "address", 0, 0x7F));
    if (busOf(control).device(address) == nullptr) {
        std::string all;
        for (const std::uint8_t known : busOf(control).addresses()) {
            all += ' ';
            all += hexByte(known);
        }
        throw Refused("no chip at " + hexByte(address) + "; this chassis has" + all);
    }
    return address;
}

std::string heat(Control& control, const Arguments& arguments) {
    worldOf(control).heatWatts = arguments.number(0, "heat", 0, 10000);
    return {};
}

std::string ambient(Control& control, const Arguments& arguments) {
    worldOf(control).ambient = arguments.number(0, "ambient temperature", -55, 125);
    return {};
}

std::string fan(Control& control, const Arguments& arguments) {
    Fan& one = worldOf(control).fans.at(arguments.index(0, "fan", worldOf(control).fans.size()));
    const std::string& verb = arguments.word(1);
    Fan wanted = one;
    if (verb == "rpm") {
        expectAfterVerb(arguments, 1, 1);
        if (!control.enclosure().frozen()) {
            throw Refused("a fan's speed follows its duty while time passes; freeze first");
        }
        one.rpm = arguments.number(2, "speed", 0, 100000);
        return {};
    }
    expectAfterVerb(arguments, 1, verb == "worn" ? 1 : 0);
    if (verb == "ok") {
        wanted.state = FanState::Ok;
    } else if (verb == "stall") {
        wanted.state = FanState::Stalled;
    } else if (verb == "remove") {
        wanted.state = FanState::Removed;
    } else if (verb == "worn") {
        wanted.wornTo = arguments.number(2, "percentage of its healthy speed", 1, 100) / 100.0;
        wanted.state = FanState::Worn;
    } else {
        refuseWord(verb, "ok, stall, worn PERCENT, remove or rpm RPM");
    }
    one = wanted;
    if (control.enclosure().frozen() || one.state == FanState::Removed) {
        one.rpm = settledRpm(one);
    }
    return {};
}

std::string psu(Control& control, const Arguments& arguments) {
    Supply& supply = worldOf(control).supplies.at(arguments.index(0, "supply", worldOf(control).supplies.size()));
    const std::string& verb = arguments.word(1);
    if (verb == "fail") {
        if (supply.state == SupplyState::Pulled) {
            throw Refused("supply " + arguments.word(0) + " is pulled; insert it first");
        }
        supply = {SupplyState::Failed, true};
    } else if (verb == "pull") {
        supply = {SupplyState::Pulled, false};
    } else if (verb == "ok" || verb == "insert") {
        supply = {SupplyState::Ok, false};
    } else {
        refuseWord(verb, "fail, ok, pull or insert");
    }
    return {};
}

std::string drive(Control& control, const Arguments& arguments) {
    Drive& slot = worldOf(control).drives.at(arguments.index(0, "drive", worldOf(control).drives.size()));
    slot.present = arguments.either(1, "insert", "pull");
    return {};
}

std::string sensor(Control& control, const Arguments& arguments) {
    Sensor& one = worldOf(control).sensors.at(arguments.index(0, "sensor", worldOf(control).sensors.size()));
    const std::string& verb = arguments.word(1);
    expectAfterVerb(arguments, 1, verb == "set" ? 1 : 0);
    if (verb == "gone") {
        if (!one.ownChip) {
            throw Refused("this sensor is inside a monitor chip; use: chip " + hexByte(one.address) + " silent");
        }
        busOf(control).setSilent(one.address, true);
    } else if (verb == "ok") {
        one.set.reset();
        busOf(control).setSilent(one.address, false);
    } else if (verb == "set") {
        one.set = arguments.number(2, "temperature", -55, 125);
        one.celsius = *one.set;
    } else {
        refuseWord(verb, "gone, ok or set C");
    }
    return {};
}

std::string temp(Control& control, const Arguments& arguments) {
    Sensor& one = worldOf(control).sensors.at(arguments.index(0, "sensor", worldOf(control).sensors.size()));
    one.celsius = arguments.number(1, "temperature", -55, 125);
    return {};
}

std::string volt(Control& control, const Arguments& arguments) {
    Board& board = worldOf(control).boards.at(arguments.index(0, "voltage monitor", worldOf(control).boards.size()));
    const auto rail = std::find(kRailNames.begin(), kRailNames.end(), arguments.word(1));
    if (rail == kRailNames.end()) {
        refuseWord(arguments.word(1), "vcore, vinr0, 3.3, 5, 12, -12 or -5");
    }
    std::optional<double>& set = board.set.at(static_cast<std::size_t>(rail - kRailNames.begin()));
    if (arguments.word(2) == "ok") {
        set.reset();
    } else {
        set = arguments.number(2, "voltage", -20, 20);
    }
    return {};
}

std::string chip(Control& control, const Arguments& arguments) {
    const std::uint8_t address = deviceAddress(control, arguments);
    busOf(control).setSilent(address, arguments.either(1, "silent", "ok"));
    return {};
}

std::string bus(Control& control, const Arguments& arguments) {
    if (arguments.word(0) == "ok" && arguments.size() == 1) {
        busOf(control).failNext(0, 0);
        return {};
    }
    const bool second = arguments.size() > 2 && arguments.word(arguments.size() - 1) == "second";
    const std::size_t words = arguments.size() - (second ? 1 : 0);
    const bool skips = words == 4 && arguments.word(2) == "skip";
    if (arguments.word(0) != "fail" || !(words == 2 || skips)) {
        throw Refused("usage: bus fail N [skip M] [second], or: bus ok");
    }
    const unsigned count = arguments.whole(1, "number of transfers", 0, 1000000);
    busOf(control).failNext(count, skips ? arguments.whole(3, "number to skip", 0, 1000000) : 0, second);
    return {};
}

std::string line(Control& control, const Arguments& arguments) {
    control.line().setSilent(arguments.either(0, "silent", "ok"));
    return {};
}

unsigned alarmState(const Arguments& arguments) {
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
    refuseWord(arguments.word(0), "idle, fault, remind, mute, critical, a number 0 to 7, auto, or remind-after");
}

std::string alarm(Control& control, const Arguments& arguments) {
    Alarm& controller = worldOf(control).alarm;
    if (!controller.settable) {
        throw Refused("this chassis has no alarm controller; its alarm sounds as the adapter tells it");
    }
    const std::string& verb = arguments.word(0);
    expectAfterVerb(arguments, 0, verb == "auto" || verb == "remind-after" ? 1 : 0);
    if (verb == "auto") {
        controller.automatic = arguments.either(1, "on", "off");
    } else if (verb == "remind-after") {
        controller.remindAfter = arguments.number(1, "seconds", 0.1, 100000);
    } else {
        control.enclosure().setAlarm(alarmState(arguments));
    }
    return {};
}

std::string freeze(Control& control, const Arguments&) {
    control.enclosure().setFrozen(true);
    return {};
}

std::string thaw(Control& control, const Arguments&) {
    control.enclosure().setFrozen(false);
    return {};
}

std::string reg(Control& control, const Arguments& arguments) {
    const std::uint8_t address = deviceAddress(control, arguments);
    Device& device = *busOf(control).device(address);
    const auto number = static_cast<std::uint8_t>(arguments.whole(1, "register", 0, 0xFF));
    if (device.width(number) == 0) {
        throw Refused("the " + device.name() + " at " + hexByte(address) + " has no register " + hexByte(number));
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

std::string speed(Control& control, const Arguments& arguments) {
    control.setSpeed(arguments.number(0, "speed", 0.01, 1000));
    return {};
}

std::string log(Control& control, const Arguments& arguments) {
    if (arguments.word(0) == "on" || arguments.word(0) == "off") {
        control.setLogging(arguments.word(0) == "on");
        return {};
    }
    const auto& all = busOf(control).remembered();
    const std::size_t count = arguments.whole(0, "\"on\", \"off\" or the number of transfers", 0, Bus::kRemembered);
    std::string text;
    for (std::size_t i = all.size() - std::min(count, all.size()); i < all.size(); ++i) {
        text += describe(all[i]) + "\n";
    }
    return text;
}

std::string transfers(Control& control, const Arguments& arguments) {
    if (arguments.size() == 1) {
        if (arguments.word(0) != "reset") {
            refuseWord(arguments.word(0), "reset, or nothing");
        }
        busOf(control).resetCounts();
        return {};
    }
    const TransferCounts& counts = busOf(control).counts();
    return "total " + std::to_string(counts.total) + " reads " + std::to_string(counts.reads) + " writes " +
           std::to_string(counts.writes) + " failed " + std::to_string(counts.failed) + "\n";
}

std::string show(Control& control, const Arguments& arguments) {
    if (arguments.size() == 1 && arguments.word(0) != "--json") {
        refuseWord(arguments.word(0), "--json, or nothing");
    }
    return arguments.size() == 1 ? showJson(control) : showText(control);
}

std::string quit(Control& control, const Arguments&) {
    control.requestQuit();
    return {};
}

std::string help(Control& control, const Arguments& arguments);

constexpr Command kCommands[] = {
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

std::string help(Control&, const Arguments&) {
    std::string text;
    for (const Command& command : kCommands) {
        text += std::string(command.usage) + "\n";
    }
    return text;
}

std::string dispatch(Control& control, const Arguments& arguments) {
    for (const Command& command : kCommands) {
        if (arguments.command() == command.name) {
            arguments.expect(command.least, command.most, command.usage);
            return command.run(control, arguments);
        }
    }
    throw Refused("unknown command " + quoted(arguments.command()) + "; \"help\" lists the commands");
}

} // namespace

std::string Control::execute(std::string_view line) {
    const Arguments arguments(line);
    if (arguments.command().empty()) {
        return "ok\n";
    }
    try {
        std::string reply = dispatch(*this, arguments);
        enclosure_.changed();
        return reply + "ok\n";
    } catch (const Refused& refusal) {
        return "error: " + std::string(refusal.what()) + "\n";
    }
}

} // namespace encsim
