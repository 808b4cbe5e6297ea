/** The message printer: one line a field. */
#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdio>
#include <sstream>
#include <utility>

#include "adapter.h"
#include "octets.h"
#include "print_tables.h"

namespace model {

namespace {

using namespace printed;

using Message_t = std::span<const std::uint8_t>;
using Lines_t = std::vector<std::string>;

std::string value(Message_t message, std::size_t start, const Row_t& row) {
    if (row.form == 's') {
        std::string characters;
        for (std::size_t i = 0; i < row.width && octets::number(message, start + row.offset + i, 1) != 0; ++i) {
            characters += static_cast<char>(message[start + row.offset + i]);
        }
        return characters;
    }
    const std::uint32_t field =
        (octets::number(message, start + row.offset, row.width) & row.mask) >> std::countr_zero(row.mask);
    if (row.form == 'd') {
        return std::to_string(static_cast<std::int32_t>(field));
    }
    char text[16];
    (void)std::snprintf(text, sizeof text, row.form == 'x' ? "0x%x" : "0x%X", field);
    return text;
}

void add(Lines_t& lines, const Rows_t& record, Message_t message, std::size_t start, std::size_t index = 0) {
    for (const Row_t& row : record) {
        std::string label = row.label;
        if (const std::size_t place = label.find("%d"); place != std::string::npos) {
            label.replace(place, 2, std::to_string(index));
        }
        lines.push_back(label + "= [" + value(message, start, row) + "]");
    }
}

std::string pageLine(const char* name) {
    return std::string("Page                             = [SES_K_") + name + "_DIAGNOSTIC_PAGE]";
}

std::string unsupportedPage(std::uint8_t page) {
    return "Un-supported SES Page [" + std::to_string(page) + "].";
}

std::string pageName(std::uint8_t page) {
    return page < 16 ? pageLine(PAGES[page]) : unsupportedPage(page);
}

void addLists(Lines_t& lines, const Lists_t& lists, const State_t& state, Message_t message, std::size_t start) {
    const std::size_t shown[] = {state.deviceMaxNumber, state.powerSupplyMaxNumber, state.coolingMaxNumber,
                                 state.audibleAlarmMaxNumber};
    for (std::size_t type = 0; type < 4; ++type) {
        if (type == 3) {
            start += 4 + std::size_t{4} * state.temperatureSensorMaxNumber;
        }
        add(lines, lists[type].overall, message, start);
        for (std::size_t i = 0; i < shown[type]; ++i) {
            add(lines, lists[type].element, message, start + 4 + 4 * i, i);
        }
        start += 4 + 4 * shown[type];
    }
}

void addConfigurationPage(Lines_t& lines, Message_t message) {
    add(lines, CONFIGURATION_HEADER, message, 65);
    add(lines, ENCLOSURE_DESCRIPTOR, message, 73);
    for (const auto& [number, group] : TYPE_DESCRIPTORS) {
        add(lines, group, message, 113 + 4 * number);
    }
}

Lines_t responseLines(Message_t message, const State_t& state) {
    Lines_t lines = {"This is a Response Message."};
    if (message[16] == 18) {
        const bool accepted = octets::number(message, 36, 4) == 1;
        lines.push_back(std::string("Startup Response MMSG with returned code [") + (accepted ? "OK" : "REJECTED") +
                        "].");
        return lines;
    }
    const std::uint32_t type = octets::number(message, 13, 3);
    if (type != 28 && type != 29) {
        lines.push_back("Un-supported SES Command [" + std::to_string(type) + "].");
        return lines;
    }
    lines.push_back(std::string("Command                          = [SES_K_") +
                    (type == 28 ? "RECEIVE_DIAGNOSTIC_RESULTS" : "SEND_DIAGNOSTIC") + "_COMMAND]");
    const std::uint8_t status = message[64];
    if (status == 0) {
        lines.push_back("Status                           = [SES_K_SCSI_STATUS_CODE_GOOD]");
    }
    if (status == 2) {
        lines.push_back("Status                           = [SES_K_SCSI_STATUS_CODE_CHECK_CONDITION]");
        add(lines, SENSE_DATA, message, 65);
    }
    if (type == 28 && status == 0) {
        const std::uint8_t page = message[65];
        lines.push_back(pageName(page));
        if (page == 1) {
            addConfigurationPage(lines, message);
        }
        if (page == 2) {
            add(lines, STATUS_HEADER, message, 65);
            addLists(lines, STATUS_LISTS, state, message, 73);
        }
    }
    return lines;
}

Lines_t requestLines(Message_t message, const State_t& state) {
    Lines_t lines = {"This is a Request Message."};
    const std::uint32_t type = octets::number(message, 13, 3);
    if (type == 28) {
        add(lines, RECEIVE_COMMAND, message, 64);
        lines.push_back(pageName(message[66]));
    } else if (type == 29) {
        add(lines, SEND_COMMAND, message, 64);
        const std::uint8_t page = message[72];
        if (page == 2) {
            add(lines, CONTROL_HEADER, message, 72);
            addLists(lines, CONTROL_LISTS, state, message, 80);
        } else if (const auto named = CONTROL_PAGES.find(page); named != CONTROL_PAGES.end()) {
            lines.push_back(pageLine(named->second));
        } else {
            lines.push_back(unsupportedPage(page));
        }
    } else {
        lines.push_back("Un-supported SES Command [" + std::to_string(type) + "].");
    }
    return lines;
}

} // namespace

Rows_t printed::rows(const char* prefix, std::size_t column, const char* fields) {
    Rows_t result;
    std::istringstream stream(fields);
    for (std::string field; std::getline(stream >> std::ws, field, ',');) {
        std::size_t place = field.find(' ');
        while (std::isdigit(static_cast<unsigned char>(field.at(place + 1))) == 0) {
            place = field.find(' ', place + 1);
        }
        Row_t row = {prefix + field.substr(0, place)};
        std::istringstream rest(field.substr(place));
        rest >> row.offset;
        if (rest.peek() == '+') {
            rest.ignore() >> row.width;
        }
        if (rest.peek() == '&') {
            rest.ignore() >> std::hex >> row.mask;
        }
        char form = 0;
        rest >> form;
        row.label.resize(std::max(column - 1, row.label.size() + (form == '!' ? 0 : 1)), ' ');
        row.form = form == 0 || form == '!' ? 'd' : form;
        result.push_back(std::move(row));
    }
    return result;
}

void Adapter_t::printMessage(std::span<const std::uint8_t> message) {
    if (!tracing_) {
        return;
    }
    Lines_t lines;
    add(lines, HEADER, message, 0);
    const bool response = (message[17] & 0x40) != 0;
    const Lines_t rest = response ? responseLines(message, state) : requestLines(message, state);
    lines.insert(lines.end(), rest.begin(), rest.end());
    for (const std::string& text : lines) {
        trace("esaMmsgPrint", "%s", text.c_str());
    }
}

} // namespace model
