#include "judge.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <numeric>
#include <sys/un.h>

#include "chassis_list.h"
#include "fields.h"
#include "mmsg.h"
#include "nonxml.h"
#include "values.h"

namespace {

constexpr std::size_t LONGEST_LINE = NONXML_K_LINE_LIMIT - 2; // less newline and terminator
constexpr const char* MANUAL = "mpuparams(8) lists them";

std::string inQuotes(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

std::string_view trimmed(std::string_view text, const char* unwanted) {
    const std::size_t first = text.find_first_not_of(unwanted);
    return first == std::string_view::npos ? "" : text.substr(first, text.find_last_not_of(unwanted) - first + 1);
}

/** Letters to be changed, added or left out to make `b` of `a`, whatever their case. */
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (isSameName(a.substr(i, 1), b.substr(j, 1)) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row[b.size()];
}

/** What may have been meant by `name`, or where to look. */
template <typename Entries>
std::string nearest(const Entries* entries, std::string_view name) {
    constexpr std::size_t TYPING_ERRORS = 2;
    const char* best = nullptr;
    std::size_t least = TYPING_ERRORS + 1;
    for (const Entries* entry = entries; entry->name != nullptr; ++entry) {
        const std::size_t errors = distance(name, entry->name);
        if (errors < least) {
            least = errors;
            best = entry->name;
        }
    }
    return best == nullptr ? MANUAL : "expected " + inQuotes(best);
}

/* ----------------------------------------------------------------------------------------------- values */

std::string numberUpTo(std::uint64_t most) {
    return "expected a number from 0 to " + std::to_string(most);
}

std::string judgeNumber(const NonXML_s& tag, std::string_view value) {
    const std::uint64_t most = ~std::uint64_t{0} >> (64 - 8 * tag.size);
    std::uint64_t number = 0;
    if (!parseNumber(value, most, &number)) {
        return numberUpTo(most);
    }
    const bool octal = value.size() > 1 && value[0] == '0' && std::isdigit(static_cast<unsigned char>(value[1])) != 0;
    return octal ? "a number with a leading 0 is octal: expected it without the 0, or with 0x" : "";
}

std::string judgeSize(const NonXML_s& /*tag*/, std::string_view value) {
    constexpr std::string_view UNITS = "kmgKMG";
    const std::size_t unit = value.empty() ? std::string_view::npos : UNITS.find(value.back());
    const unsigned shift = unit == std::string_view::npos ? 0 : 10 * (static_cast<unsigned>(unit % 3) + 1);
    std::uint64_t number = 0;
    const std::string_view digits = value.substr(0, value.size() - (shift != 0 ? 1 : 0));
    const bool good = parseNumber(digits, 0xFFFFFFFFULL >> shift, &number) && !digits.starts_with("0x");
    return good ? "" : "expected bytes below 4g in decimal, or a number followed by k, m or g";
}

/** Exactly `count` decimal numbers up to `most` between separators. */
bool hasParts(std::string_view value, char separator, std::size_t count, std::uint64_t most) {
    for (; count > 0; --count) {
        const std::size_t end = value.find(separator);
        const std::string_view part = value.substr(0, end);
        std::uint64_t number = 0;
        if (!parseNumber(part, most, &number) || part.starts_with("0x") ||
            (end == std::string_view::npos) != (count == 1)) {
            return false;
        }
        value = end == std::string_view::npos ? "" : value.substr(end + 1);
    }
    return true;
}

std::string judgeIpAddress(const NonXML_s& /*tag*/, std::string_view value) {
    return hasParts(value, '.', 4, 255) ? "" : "expected an address such as 192.168.0.1";
}

std::string judgeMacAddress(const NonXML_s& /*tag*/, std::string_view value) {
    return hasParts(value, ':', 6, 255) ? "" : "expected six decimal numbers up to 255, such as 0:23:52:1:2:3";
}

std::string judgeVersion(const NonXML_s& /*tag*/, std::string_view value) {
    return hasParts(value, '.', 3, 0xFFFF) ? "" : "expected major.minor.build, such as 1.3.24";
}

std::string judgeAdapters(const NonXML_s& /*tag*/, std::string_view value) {
    return hasParts(value, '/', 2, 0xFFFF) ? "" : "expected two numbers up to 65535, such as 2/1";
}

/** The names before the end entry. */
std::span<const Named_t> namesBeforeEnd(const Named_t* table) {
    std::size_t count = 0;
    while (table[count].name != nullptr) {
        ++count;
    }
    return {table, count};
}

std::span<const Named_t> namesOf(const NonXML_s& tag) {
    // This table alone has no end entry.
    return tag.enums == nonXML_Tables.batteryPolicy ? std::span<const Named_t>(nonXML_Tables.batteryPolicy)
                                                    : namesBeforeEnd(tag.enums);
}

/** The chassis that no file can name. */
std::vector<Named_t> chassisBesideFile() {
    std::vector<Named_t> names;
    for (const ChassisFacts_t& chassis : CHASSIS_LIST) {
        if (findValue(namesBeforeEnd(chassisType), chassis.type) == nullptr) {
            names.push_back({chassis.name, chassis.type});
        }
    }
    return names;
}

std::string judgeName(const NonXML_s& tag, std::string_view value) {
    const std::span<const Named_t> names = namesOf(tag);
    if (findName(names, value) != nullptr) {
        return "";
    }
    const ChassisFacts_t* const chassis = tag.enums == chassisType ? findChassis(value) : nullptr;
    const std::string expected = "expected " + listNames(names);
    return chassis == nullptr ? expected
                              : expected + "; this one goes beside the file, as chassisType=" + chassis->name +
                                    " for mpuparams create, or as ESA_CHASSIS for the service";
}

std::string judgeText(const NonXML_s& tag, std::string_view value) {
    const bool isPath = tag.size == sizeof(MPU_PARAMS_t::mmsgDirectory);
    const std::size_t most = isPath ? tag.size - 1U : tag.size;
    if (value.size() > most) {
        return "cut to " + std::to_string(most) + " of its " + std::to_string(value.size()) +
               " characters: expected at most " + std::to_string(most);
    }
    return isPath && !value.starts_with('/') ? "expected a path from the root, such as /run/esa" : "";
}

/** By NonXML_types_e: empty when the value is what its type asks for, else what would be. */
using JudgeValue_t = std::string (*)(const NonXML_s& tag, std::string_view value);
constexpr std::array<JudgeValue_t, NONXML_E_TYPE_SIZE + 1> JUDGES{
    judgeNumber, judgeName,       judgeNumber,    judgeNumber,  judgeNumber,   judgeText,
    judgeText,   judgeMacAddress, judgeIpAddress, judgeVersion, judgeAdapters, judgeSize};

/* ------------------------------------------------------------------------------------------------ lines */

/** Takes "N-" off the value; what is wrong with it, or nothing. */
std::string takeElement(const NonXML_s& tag, std::string_view& value, std::uint64_t& element) {
    const std::size_t minus = value.find('-');
    if (tag.type == NONXML_E_TYPE_STRING || tag.type == NONXML_E_TYPE_BSTRING || minus == std::string_view::npos) {
        return "";
    }
    const std::string_view number = trimmed(value.substr(0, minus), " \t");
    if (!parseNumber(number, tag.count - 1U, &element)) {
        return tag.count == 1 ? "expected no element (N-) before the value: there is one only"
                              : "expected an element from 0- to " + std::to_string(tag.count - 1) + "-";
    }
    value = trimmed(value.substr(minus + 1), " \t");
    return "";
}

class Judge_t {
public:
    void judge(std::size_t line, std::string_view text) {
        line_ = line;
        if (text.size() > LONGEST_LINE) {
            add("a line of " + std::to_string(text.size()) + " characters is read as several: expected at most " +
                std::to_string(LONGEST_LINE));
            return;
        }
        const std::string_view words = trimmed(text, " \t\r\f\v");
        if (text.starts_with('#') || words.empty()) {
            return;
        }
        if (!text.starts_with(words)) {
            add("left out: expected its first character in the first column");
            return;
        }
        const std::size_t equals = words.find('=');
        if (equals == std::string_view::npos) {
            judgeFlag(words);
        } else {
            judgeSetting(trimmed(words.substr(0, equals), " \t"), trimmed(words.substr(equals + 1), " \t"));
        }
    }

    Judgement_t result;

private:
    void add(std::string text) { result.findings.push_back({line_, false, std::move(text)}); }

    void judgeFlag(std::string_view name) {
        if (isSameName(name, "RcpComplete")) {
            add("no file can raise RcpComplete: expected flags+=RcpComplete for mpuparams create or set");
            return;
        }
        for (const NonXML_Flag_t* flag = nonXML_Flags; flag->name != nullptr; ++flag) {
            if (isSameName(flag->name, name)) {
                return;
            }
        }
        const std::size_t blank = name.find_first_of(" \t");
        const std::string first(name.substr(0, blank));
        const std::string rest(blank == std::string_view::npos ? "VALUE" : trimmed(name.substr(blank), " \t"));
        const bool isKey = std::any_of(std::begin(nonXML_Tables.tagList), std::end(nonXML_Tables.tagList) - 1,
                                       [&](const NonXML_s& tag) { return isSameName(tag.name, first); });
        add(isKey ? (blank == std::string_view::npos ? "no value" : "no \"=\"") + std::string(": expected ") +
                        inQuotes(first + " = " + rest)
                  : "no flag " + inQuotes(name) + ": " + nearest(nonXML_Flags, name));
    }

    void judgeSetting(std::string_view key, std::string_view value) {
        const NonXML_s* tag = nonXML_Tables.tagList;
        while (tag->name != nullptr && !isSameName(tag->name, key)) {
            ++tag;
        }
        if (tag->name == nullptr) {
            const NonXML_Flag_t* flag = nonXML_Flags;
            while (flag->name != nullptr && !isSameName(flag->name, key)) {
                ++flag;
            }
            add(flag->name != nullptr
                    ? std::string(flag->name) + " is a flag: expected its name alone on the line, or no such line"
                    : "no key " + inQuotes(key) + ": " + nearest(nonXML_Tables.tagList, key));
            return;
        }
        std::uint64_t element = 0;
        const std::string_view whole = value;
        std::string expected = takeElement(*tag, value, element);
        if (expected.empty()) {
            expected = JUDGES[tag->type](*tag, value);
        }
        if (!expected.empty()) {
            add(std::string(tag->name) + " " + inQuotes(whole) + ": " + expected);
        }
        noteLine(*tag, element);
    }

    void noteLine(const NonXML_s& tag, std::uint64_t element) {
        std::size_t& given = elements_[std::string(tag.name) + "-" + std::to_string(element)];
        if (given != 0) {
            add(std::string(tag.name) + " takes the place of line " + std::to_string(given) +
                ": expected one of the two");
        }
        given = line_;
        result.lines[tag.name] = line_;
    }

    std::size_t line_ = 0;
    std::map<std::string, std::size_t> elements_;
};

/* ------------------------------------------------------------------------------------------------ block */

std::string directoryText(const CHAR_t (&directory)[128]) {
    return {directory, strnlen(directory, sizeof directory)};
}

} // namespace

bool Judgement_t::hasErrors() const {
    return std::ranges::any_of(findings, &Finding_t::isError);
}

Judgement_t judgeLines(std::istream& text) {
    Judge_t judge;
    std::string line;
    for (std::size_t number = 1; std::getline(text, line); ++number) {
        judge.judge(number, line);
    }
    return judge.result;
}

void judgeBlock(const MPU_PARAMS_t& block, Judgement_t& judgement) {
    const auto add = [&](const char* key, bool isError, const std::string& text) {
        const auto given = judgement.lines.find(key);
        judgement.findings.push_back({given == judgement.lines.end() ? 0 : given->second, isError, text});
    };
    if (block.version != MPU_K_PARAMS_VERSION) {
        add("Version", true,
            "every process refuses a block of version " + std::to_string(block.version) +
                ": expected a line \"Version = 15\"");
    }
    if (findChassis(block.chassisType) == nullptr) {
        add("ChassisType", false,
            "the adapter knows no chassis " + std::to_string(block.chassisType) +
                " and manages nothing: expected ChassisType = " + listNames(namesBeforeEnd(chassisType)) +
                ", or chassisType=" + listNames(chassisBesideFile()) + " beside the file");
    }
    constexpr std::size_t LONGEST = sizeof(sockaddr_un::sun_path) - sizeof(MMSG_K_ADAPTER_SOCKET);
    const std::string sockets = directoryText(block.mmsgDirectory);
    if (sockets.empty() || sockets.size() > LONGEST) {
        add("MmsgDirectory", true,
            "no process can reach the message switch: expected MmsgDirectory, the directory of its sockets, of at "
            "most " +
                std::to_string(LONGEST) + " characters");
    }
    if (directoryText(block.logDirectory).empty()) {
        add("LogDirectory", false, "the logs have no place: expected LogDirectory, such as /var/log/esa");
    }
    std::ranges::stable_sort(judgement.findings, {}, &Finding_t::line);
}

std::string describeFinding(const std::string& file, const Finding_t& finding) {
    return file + (finding.line == 0 ? "" : ":" + std::to_string(finding.line)) + ": " + finding.text;
}
