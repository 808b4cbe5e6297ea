/**
 * What the operator's tool makes of hostile bytes: pages, events and whole conversations with the switch. Whatever it
 * decodes goes through every renderer, and what they print must be well formed.
 */
#include <algorithm>
#include <string>

#include "control_page.h"
#include "enclosure.h"
#include "errors.h"
#include "events.h"
#include "fuzz_input.h"
#include "health.h"
#include "render_json.h"
#include "render_prometheus.h"
#include "render_text.h"
#include "scripted_switch.h"
#include "ses_client.h"

namespace {

using Bytes_t = std::vector<std::uint8_t>;
using fuzz::require;

bool isPrintable(const std::string& text) {
    return std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7F; });
}

void requireLines(const std::vector<std::string>& lines) {
    require(!lines.empty());
    require(std::ranges::all_of(lines, isPrintable));
}

/**
 * The document survives being printed, on one line or indented, and read again. Either form takes as long as all else,
 * so each document picks one by its length.
 */
void requireJson(const Json_t& document) {
    int indent = -1;
    std::string text = document.text(indent);
    if (text.size() % 2 != 0) {
        indent = 2;
        text = document.text(indent);
    }
    const std::optional<JsonInput_t> read = JsonInput_t::parse(text);
    require(read && read->text(indent) == text);
}

std::size_t skipWord(const std::string& line, std::size_t at) {
    return std::min(line.find_first_not_of("abcdefghijklmnopqrstuvwxyz_", at), line.size());
}

/** Past one `key="value"` pair at `at`; npos when there is none. */
std::size_t skipLabel(const std::string& line, std::size_t at) {
    const std::size_t quote = skipWord(line, at);
    if (quote == at || line.compare(quote, 2, "=\"") != 0) {
        return std::string::npos;
    }
    for (std::size_t i = quote + 2; i < line.size(); ++i) {
        if (line[i] == '"') {
            return i + 1;
        }
        i += line[i] == '\\' ? 1U : 0U;
    }
    return std::string::npos;
}

/** `name{key="value",...} number`, the labels or none. */
bool isSample(const std::string& line) {
    std::size_t at = skipWord(line, 0);
    bool good = at > 0;
    if (good && line.compare(at, 1, "{") == 0) {
        do {
            at = skipLabel(line, at + 1);
        } while (at < line.size() && line[at] == ',');
        good = at < line.size() && line[at] == '}';
        ++at;
    }
    const std::string number = good && at < line.size() ? line.substr(at) : "";
    const std::size_t digits = number.find_first_not_of("0123456789", number.rfind(" -", 0) == 0 ? 2 : 1);
    return number.size() > 1 && number[0] == ' ' && digits == std::string::npos;
}

void requireMetrics(const std::string& text) {
    require(!text.empty() && text.back() == '\n');
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1) {
        end = text.find('\n', begin);
        const std::string line = text.substr(begin, end - begin);
        require(isPrintable(line));
        require(line.rfind("# HELP esa_", 0) == 0 || line.rfind("# TYPE esa_", 0) == 0 || isSample(line));
    }
}

void showConfiguration(const Configuration_t& configuration) {
    requireLines(configurationLines(configuration));
    requireJson(configurationJson(configuration));
}

void showEnclosure(const Enclosure_t& enclosure) {
    const Health_t health = assessHealth(enclosure.status);
    require((health.overall == CONDITION_E_OK) == (health.exitStatus == 0));
    requireLines(statusLines(enclosure, health, {}, 80));
    requireJson(statusJson(enclosure, health, "2026-01-01T00:00:00Z"));
    requireMetrics(prometheusText(enclosure, health));
    try {
        const std::vector<U8_t> page = encodeControlPage(controlPageOf(enclosure.status));
        require(page.size() <= 4064 - 72);
    } catch (const ToolError_t& error) {
        require(isPrintable(error.what()));
    }
}

void decodePages(const Bytes_t& first, const Bytes_t& second) {
    const Decoded_t<Configuration_t> configuration = decodeConfigurationPage(first);
    require(configuration.value.has_value() == configuration.error.empty());
    require(isPrintable(configuration.error));
    if (configuration.value) {
        showConfiguration(*configuration.value);
    }
    const Decoded_t<EnclosureStatus_t> status =
        configuration.value ? decodeStatusPage(second, *configuration.value) : decodeStatusPage(second);
    require(status.value.has_value() == status.error.empty());
    require(isPrintable(status.error));
    if (status.value) {
        showEnclosure({configuration.value.value_or(Configuration_t{}), *status.value});
    }
}

/** Sets what a page must have for its decoder to go on, and cuts off the byte that never arrives if asked to. */
Bytes_t fitted(Bytes_t page, std::uint8_t code, std::size_t size, bool whole) {
    page.resize(size);
    page[0] = code;
    page[2] = static_cast<std::uint8_t>((size - 4) >> 8);
    page[3] = static_cast<std::uint8_t>(size - 4);
    page.resize(whole ? size : size - 1);
    page.shrink_to_fit();
    return page;
}

/** Pages whose lengths are right, so that every byte of the input is a value in them. */
void decodeFittedPages(fuzz::Input_t& input) {
    const std::uint8_t flags = input.byte();
    const std::size_t groups = flags % 8;
    Bytes_t first = input.bytes(48 + 4 * groups);
    first.resize(48 + 4 * groups);
    first[10] = static_cast<std::uint8_t>(groups);
    std::size_t size = 8;
    for (std::size_t i = 0; i < groups; ++i) {
        std::uint8_t& type = first[48 + 4 * i];
        std::uint8_t& count = first[48 + 4 * i + 1];
        type %= 8;
        count %= 18; // one more than any enclosure has: longer lists take time and show nothing new
        size += 4 * (1U + count);
    }
    decodePages(fitted(first, 1, first.size(), (flags & 0x80) != 0), fitted(input.all(), 2, size, (flags & 0x40) != 0));
}

void decodeMessages(fuzz::Input_t& input) {
    RepeatFilter_t filter;
    Deadline_t now{};
    while (!input.empty()) {
        const std::optional<Event_t> event = decodeEvent(input.bytes(input.word() % 512));
        if (!event) {
            continue;
        }
        now += std::chrono::seconds(input.byte());
        const unsigned repeats = filter.news(*event, now).value_or(0);
        requireJson(eventJson(*event, repeats, "2026-01-01T00:00:00Z"));
        require(isPrintable(eventLine(*event, repeats, "2026-01-01T00:00:00Z", {})));
        require(!event->name.empty() && !event->text.empty());
    }
}

/** The fetching of a status, and a control page after it, over a connection whose far end says what it likes. */
void converse(fuzz::Input_t& input) {
    ScriptedSwitch_t far(input);
    try {
        SesClient_t client("/nowhere", std::chrono::minutes(1));
        const Enclosure_t enclosure = fetchEnclosure(client);
        showConfiguration(enclosure.configuration);
        showEnclosure(enclosure);
        requireGood(client.sendDiagnostic(encodeControlPage(controlPageOf(enclosure.status))), "the control page");
    } catch (const ToolError_t& error) {
        require(isPrintable(error.what()));
        requireJson(errorJson(error));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input_t input(data, size);
    switch (input.byte() % 4) {
    case 0: {
        const Bytes_t first = input.bytes(input.word());
        decodePages(first, input.all());
        break;
    }
    case 1:
        decodeFittedPages(input);
        break;
    case 2:
        decodeMessages(input);
        break;
    default:
        converse(input);
        break;
    }
    return 0;
}
