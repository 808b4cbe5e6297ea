#include "render_text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <sys/ioctl.h>
#include <unistd.h>

#include "names.h"
#include "ses_mesgs.h"

namespace {

constexpr std::size_t LABEL_WIDTH = 12;
constexpr std::size_t LINE_WIDTH = 80;
constexpr std::size_t CONTINUED = 7; // under an element's state

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

/** One line of a section; only the first line of a section carries its label. */
void addLine(std::vector<std::string>& lines, std::string& label, const std::string& text) {
    lines.push_back(padded(label, LABEL_WIDTH) + text);
    label.clear();
}

std::string upper(const char* text) {
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return result;
}

/** "ok", or in capitals when something is wrong, padded to a column. */
std::string stateWord(Condition_e condition, const Palette_t& palette) {
    constexpr std::size_t WIDTH = 9;
    const bool wrong = condition == CONDITION_E_WARNING || condition == CONDITION_E_FAULT;
    const std::string word = wrong ? upper(conditionName(condition)) : conditionName(condition);
    return palette.paint(word, condition) + std::string(WIDTH - word.size(), ' ');
}

std::string overallLine(const Health_t& health, const Palette_t& palette) {
    const std::string word = upper(conditionName(health.overall));
    std::string line = "Enclosure " + palette.paint(word, health.overall);
    std::size_t width = std::strlen("Enclosure ") + word.size();
    std::size_t shown = 0;
    for (const Problem_t& problem : health.problems) {
        const std::string part = (shown == 0 ? ": " : "; ") + problem.text;
        constexpr std::size_t ROOM_FOR_REST = 14; // "; and 16 more"
        const std::size_t reserved = shown + 1 == health.problems.size() ? 0 : ROOM_FOR_REST;
        if (shown > 0 && width + part.size() + reserved > LINE_WIDTH) {
            break;
        }
        line += part;
        width += part.size();
        ++shown;
    }
    if (shown < health.problems.size()) {
        line += "; and " + std::to_string(health.problems.size() - shown) + " more";
    }
    return line;
}

std::string drivePlain(unsigned slot, const DriveSlot_t& drive) {
    return slotName(slot) + " " + conditionName(driveCondition(drive)) + (drive.faultRequested ? " LED" : "");
}

std::string drivePainted(unsigned slot, const DriveSlot_t& drive, const Palette_t& palette) {
    const Condition_e condition = driveCondition(drive);
    return slotName(slot) + " " + palette.paint(conditionName(condition), condition) +
           (drive.faultRequested ? " " + palette.paint("LED", CONDITION_E_WARNING) : "");
}

/** As many columns as fit, each wide enough for the longest of them. */
void addDrives(std::vector<std::string>& lines, const std::vector<DriveSlot_t>& drives, const Palette_t& palette,
               std::size_t width) {
    constexpr std::size_t LEAST_CELL = 16;
    constexpr std::size_t MOST_COLUMNS = 4;
    std::size_t cell = LEAST_CELL;
    for (unsigned slot = 0; slot < drives.size(); ++slot) {
        cell = std::max(cell, drivePlain(slot, drives[slot]).size());
    }
    width = std::min(width, LINE_WIDTH);
    const std::size_t room = width > LABEL_WIDTH ? width - LABEL_WIDTH : 0;
    const std::size_t columns = std::clamp<std::size_t>((room + 1) / (cell + 1), 1, MOST_COLUMNS);
    std::string label = "Drives";
    std::string row;
    for (unsigned slot = 0; slot < drives.size(); ++slot) {
        row += drivePainted(slot, drives[slot], palette);
        if ((slot + 1) % columns == 0 || slot + 1 == drives.size()) {
            addLine(lines, label, row);
            row.clear();
        } else {
            row += std::string(cell + 1 - drivePlain(slot, drives[slot]).size(), ' ');
        }
    }
}

/** On one line: the first line of the status has all of it. */
std::string supplyDetail(const PowerSupply_t& supply, const ChassisFacts_t* chassis) {
    constexpr std::size_t ROOM = 48;
    const std::string text = supply.known ? supplyFault(supply, chassis) : "";
    return text.size() <= ROOM ? text : text.substr(0, text.rfind(", ", ROOM)) + ", ...";
}

std::string fanDetail(const Fan_t& fan) {
    if (!fan.known) {
        return "";
    }
    char text[96];
    if (!fan.rpm) {
        std::snprintf(text, sizeof text, "  no reading  (limit %u RPM)", SES_K_FAN_FAULT_RPM_LIMIT);
    } else {
        const bool isMarked = fanCondition(fan) == CONDITION_E_FAULT && *fan.rpm >= SES_K_FAN_FAULT_RPM_LIMIT;
        std::snprintf(text, sizeof text, "%8u RPM  (limit %u RPM)%s", *fan.rpm, SES_K_FAN_FAULT_RPM_LIMIT,
                      isMarked ? ", marked faulty" : "");
    }
    return text;
}

std::string sensorDetail(const TemperatureSensor_t& sensor) {
    if (!sensor.known || !sensor.fitted) {
        return sensor.known ? "not read on this chassis" : "";
    }
    char text[96];
    char reading[16] = "no reading";
    if (sensor.celsius) {
        std::snprintf(reading, sizeof reading, "%8d C", *sensor.celsius);
    }
    std::snprintf(text, sizeof text, "%12s  (warning %d..%d C, failure %d..%d C)", reading,
                  SES_K_UNDER_TEMPERATURE_WARNING, SES_K_OVER_TEMPERATURE_WARNING, SES_K_UNDER_TEMPERATURE_FAILURE,
                  SES_K_OVER_TEMPERATURE_FAILURE);
    return text;
}

std::string alarmDetail(const Alarm_t& alarm) {
    if (!alarm.tones) {
        return "state not reported by the adapter";
    }
    std::string text = alarm.tones->muted ? "silent" : "not silent";
    const auto add = [&](bool set, const char* what) { text += set ? std::string(", ") + what + " requested" : ""; };
    add(alarm.tones->requestedMute, "mute");
    add(alarm.tones->unrecov, "unrecoverable");
    add(alarm.tones->crit, "critical");
    add(alarm.tones->nonCrit, "noncritical");
    add(alarm.tones->info, "information");
    add(alarm.tones->remind, "remind");
    return text;
}

template <typename Elements, typename Detail>
void addElements(std::vector<std::string>& lines, std::string label, const Elements& elements,
                 std::string (*name)(unsigned), const Palette_t& palette,
                 Condition_e (*condition)(typename Elements::const_reference), Detail&& detail) {
    unsigned index = 0;
    for (const auto& element : elements) {
        std::string line = padded(name(index++), 6) + " " + stateWord(condition(element), palette) + detail(element);
        line.erase(line.find_last_not_of(' ') + 1);
        addLine(lines, label, line);
    }
}

/** Bytes of the colour code that starts at `at`; 0 when none does. */
std::size_t escapeLength(const std::string& line, std::size_t at) {
    if (line[at] != '\033') {
        return 0;
    }
    const std::size_t end = line.find('m', at);
    return (end == std::string::npos ? line.size() : end + 1) - at;
}

/** The end of the part of `line` from `at` on that `width` columns hold, at a blank where there is one. */
std::size_t endOfPart(const std::string& line, std::size_t at, std::size_t width) {
    std::size_t columns = 0;
    std::size_t blank = std::string::npos;
    const std::size_t start = line.find_first_not_of(' ', at);
    while (at < line.size()) {
        if (const std::size_t escape = escapeLength(line, at)) {
            at += escape;
            continue;
        }
        if (line[at] == ' ' && at > start) {
            blank = at;
        }
        if (columns == width) {
            return blank == std::string::npos ? at : blank;
        }
        ++columns;
        ++at;
    }
    return at;
}

void wrapLine(const std::string& line, std::size_t width, std::size_t indent, std::vector<std::string>& wrapped) {
    std::size_t end = endOfPart(line, 0, width);
    wrapped.push_back(line.substr(0, end));
    const std::size_t room = width > indent + 1 ? width - indent : 1;
    while ((end = line.find_first_not_of(' ', end)) != std::string::npos) {
        const std::size_t next = endOfPart(line, end, room);
        wrapped.push_back(std::string(indent, ' ') + line.substr(end, next - end));
        end = next;
    }
}

} // namespace

std::string Palette_t::paint(const std::string& text, Condition_e condition) const {
    constexpr const char* COLOURS[] = {"\033[32m", "\033[2m", "\033[2m", "\033[33m", "\033[1;31m"};
    return enabled ? COLOURS[condition] + text + "\033[0m" : text;
}

std::size_t standardOutputWidth() {
    winsize size{};
    return isatty(STDOUT_FILENO) != 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col
                                                                                                          : UNBOUNDED;
}

Palette_t standardOutputPalette() {
    const char* noColor = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
    return {isatty(STDOUT_FILENO) != 0 && !dumb && (noColor == nullptr || *noColor == '\0')};
}

std::vector<std::string> statusLines(const Enclosure_t& enclosure, const Health_t& health, const Palette_t& palette,
                                     std::size_t width) {
    const EnclosureStatus_t& status = enclosure.status;
    std::vector<std::string> lines{overallLine(health, palette)};
    for (const Accepted_t& accepted : health.accepted) {
        lines.push_back(padded("Accepted", LABEL_WIDTH) + accepted.problem.text + " (until " + accepted.until + ")");
    }
    addDrives(lines, status.drives, palette, width);
    addElements(lines, "Supplies", status.supplies, supplyName, palette, supplyCondition,
                [&](const PowerSupply_t& supply) { return supplyDetail(supply, enclosure.chassis); });
    addElements(lines, "Fans", status.fans, fanName, palette, fanCondition, fanDetail);
    addElements(lines, "Temperature", status.sensors, sensorName, palette, sensorCondition, sensorDetail);
    std::string label = "Alarm";
    for (unsigned index = 0; index < status.alarms.size(); ++index) {
        addLine(lines, label, alarmName(index) + " " + alarmDetail(status.alarms[index]));
    }
    return wrapLines(lines, width, LABEL_WIDTH + CONTINUED);
}

std::string elementText(const Enclosure_t& enclosure, const std::string& element) {
    constexpr std::size_t ANY_WIDTH = 1000;
    for (const std::string& line : statusLines(enclosure, {}, {}, ANY_WIDTH)) {
        std::istringstream words(line.size() > LABEL_WIDTH ? line.substr(LABEL_WIDTH) : "");
        std::string text;
        bool found = false;
        for (std::string word; words >> word;) {
            // Several slots share a line.
            if (word.starts_with("slot") || (text.empty() && !found)) {
                found = word == element;
            } else if (found) {
                text += (text.empty() ? "" : " ") + word;
            }
        }
        if (!text.empty()) {
            return text;
        }
    }
    return "unknown";
}

std::vector<std::string> wrapLines(const std::vector<std::string>& lines, std::size_t width, std::size_t indent) {
    std::vector<std::string> wrapped;
    for (const std::string& line : lines) {
        wrapLine(line, width, indent, wrapped);
    }
    return wrapped;
}

std::vector<std::string> configurationLines(const Configuration_t& configuration) {
    std::vector<std::string> lines;
    const auto add = [&](const char* label, const std::string& text) {
        lines.push_back(padded(label, LABEL_WIDTH) + (text.empty() ? "-" : text));
    };
    const auto elements = [&](const char* label, U8_t type, std::string (*name)(unsigned)) {
        const unsigned count = configuration.count(type);
        std::string text = std::to_string(count);
        if (count > 0) {
            text += "  (" + name(0) + (count > 1 ? " to " + name(count - 1) : "") + ")";
        }
        add(label, text);
    };
    add("Vendor", configuration.vendor);
    add("Product", configuration.product);
    add("Revision", configuration.revision);
    add("Generation", std::to_string(configuration.generation));
    elements("Drives", SES_K_ELEMENT_TYPE_DEVICE, slotName);
    elements("Supplies", SES_K_ELEMENT_TYPE_POWER_SUPPLY, supplyName);
    elements("Fans", SES_K_ELEMENT_TYPE_COOLING, fanName);
    elements("Temperature", SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR, sensorName);
    elements("Alarms", SES_K_ELEMENT_TYPE_AUDIBLE_ALARM, alarmName);
    return lines;
}

std::string eventLine(const Event_t& event, unsigned repeats, const std::string& time, const Palette_t& palette) {
    Condition_e condition = CONDITION_E_OK;
    if (event.severity == "warning") {
        condition = CONDITION_E_WARNING;
    } else if (event.severity == "error") {
        condition = CONDITION_E_FAULT;
    }
    std::string line = time + " " + palette.paint(padded(event.severity, 11), condition) + " " + event.text;
    if (repeats > 0) {
        line += " (the last such event came " + std::to_string(repeats) + " times more)";
    }
    return line;
}
