#include "log_words.h"

#include <algorithm>

#include "enclosure.h"
#include "esa_evl.h"
#include "events.h"
#include "health.h"
#include "hex.h"
#include "json.h"
#include "moments.h"
#include "render_text.h"
#include "ses_mesgs.h"
#include "words.h"

namespace {

using Bytes_t = std::vector<U8_t>;
using Lines_t = std::vector<std::string>;

std::string fixedText(const U8_t* bytes, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size && bytes[i] != 0; ++i) {
        text += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '?';
    }
    return text;
}

/** Lays messages out in words; page 2 needs the latest page 1 that went before it. */
class MessageReaderInWords_t {
public:
    /** The lines about one message; fewer bytes than it says are the begin of one. */
    Lines_t lines(const Bytes_t& bytes) {
        if (bytes.size() < sizeof(MMCH_t) || messageHeader(bytes).message_type != MSG_E_TYPE_MMSG) {
            return {"no message: " + std::to_string(bytes.size()) + " bytes"};
        }
        const MMCH_t& header = messageHeader(bytes);
        const U8_t protocol = header.opcode.request.protocol;
        const bool isResponse = (header.mmsg_cont & MMCH_K_CONT_RESPONSE) != 0;
        Lines_t all{"message of " + std::to_string(U16_t{header.mmsg_length}) + " bytes from " +
                    endpointName(header.requestor) + ": " + protocolName(protocol) + " " +
                    typeName(protocol, header.opcode.request.type) + (isResponse ? ", response" : "")};
        if (const std::optional<Event_t> event = decodeEvent(bytes)) {
            all.push_back(event->severity + ": " + event->text);
        } else if (protocol == MMSG_E_PROTOCOL_SES && bytes.size() > sizeof(MMCH_t) + 4) {
            append(all, isResponse ? response(bytes) : request(bytes));
        }
        return all;
    }

private:
    static void append(Lines_t& all, const Lines_t& more) { all.insert(all.end(), more.begin(), more.end()); }

    static Lines_t request(const Bytes_t& bytes) {
        const bool isReceive = bytes[sizeof(MMCH_t)] == SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND;
        if (isReceive) {
            return {"asks for page " + statusPageName(bytes[sizeof(MMCH_t) + 2])};
        }
        constexpr std::size_t PAGE_AT = sizeof(MMCH_t) + 8;
        return {bytes.size() > PAGE_AT ? "sends page " + controlPageName(bytes[PAGE_AT]) : "sends an empty list"};
    }

    Lines_t response(const Bytes_t& bytes) {
        const U8_t status = bytes[sizeof(MMCH_t)];
        const Bytes_t payload(bytes.begin() + sizeof(MMCH_t) + 1, bytes.end());
        Lines_t all{"status " + std::to_string(status)};
        const bool isPage = status == 0 && payload.size() > 8;
        if (isPage && payload[0] == 1) {
            const Decoded_t<Configuration_t> page = decodeConfigurationPage(payload);
            if (page.value) {
                configuration_ = page.value;
                append(all, configurationLines(*page.value));
            } else {
                all.push_back(page.error);
            }
        } else if (isPage && payload[0] == 2) {
            const Decoded_t<EnclosureStatus_t> page =
                configuration_ ? decodeStatusPage(payload, *configuration_) : decodeStatusPage(payload);
            if (page.value) {
                append(all,
                       statusLines({.configuration = configuration_.value_or(Configuration_t{}), .status = *page.value},
                                   assessHealth(*page.value), Palette_t{}, UNBOUNDED));
            } else {
                all.push_back(page.error);
            }
        } else if (status == SES_K_SCSI_STATUS_CODE_CHECK_CONDITION && payload.size() > 17) {
            all.push_back("sense: " + senseKeyName(static_cast<U8_t>(payload[2] >> 4)) + ", code " +
                          std::to_string(payload[16]) + ", qualifier " + std::to_string(payload[17]));
        }
        return all;
    }

    std::optional<Configuration_t> configuration_;
};

Lines_t errorLines(const Bytes_t& body) {
    if (body.size() < sizeof(EsaErrorMsg_t)) {
        return {"a critical error whose record is cut"};
    }
    const auto& error = wireAt<EsaErrorMsg_t>(body.data());
    return {"critical error in " + fixedText(error.esaFunctionName, sizeof error.esaFunctionName) + " (" +
                fixedText(error.esaFileName, sizeof error.esaFileName) + ":" +
                std::to_string(U32_t{error.esaLineNumber}) + ")",
            "message: " + fixedText(error.esaErrorMsg, sizeof error.esaErrorMsg)};
}

Lines_t snapshotLines(const Bytes_t& body) {
    if (body.size() < sizeof(EsaInfo_t)) {
        return {"a snapshot that is cut"};
    }
    const auto& info = wireAt<EsaInfo_t>(body.data());
    Lines_t all{"state: chassis " + chassisTitle(info.enclosureType) + ", switch descriptor " +
                    std::to_string(static_cast<S32_t>(U32_t{info.socketFdMSM})) + ", bus descriptor " +
                    std::to_string(static_cast<S32_t>(U32_t{info.i2cFileFd})) + ", alarm " +
                    alarmStateName(info.alarmState),
                "fault LEDs " + hexText(std::span(reinterpret_cast<const U8_t*>(&info.driveFaultLedStatus0), 4)) +
                    ", supplies " + std::to_string(U32_t{info.powerSupplyStatus}) + ", faulty fans " +
                    std::to_string(U32_t{info.fanFaultStatus}) + ", fault causes " +
                    std::to_string(U32_t{info.compositeFaultStatus})};
    std::string temperatures = "temperatures";
    for (const be16_t& temperature : info.temperatureSensor) {
        temperatures += " " + std::to_string(static_cast<S16_t>(U16_t{temperature}));
    }
    all.push_back(temperatures);
    return all;
}

/** What a line of the event log says. */
struct LoggedRecord_t {
    std::int64_t id;
    std::int64_t seconds; /**< since 1970 */
    Bytes_t body;
};

/** Seconds whose milliseconds are still a moment. */
constexpr std::int64_t MOST_SECONDS = 253402300799; // the last of the year 9999

/** Nothing for a line that is JSON, but no record. */
std::optional<LoggedRecord_t> recordOf(const JsonInput_t& object) {
    LoggedRecord_t record{
        .id = object["evId"].integer().value_or(-1), .seconds = object["time"].integer().value_or(-1), .body = {}};
    const std::optional<std::string> body = object["body"].string();
    const bool hasAll = record.id >= 0 && record.seconds >= 0 && record.seconds <= MOST_SECONDS;
    if (!hasAll || !body || !parseHex(*body, &record.body)) {
        return std::nullopt;
    }
    return record;
}

Lines_t recordLines(const LoggedRecord_t& record, MessageReaderInWords_t& messages) {
    const Bytes_t& body = record.body;
    switch (record.id) {
    case ESA_E_ID_ES_ADAPTERMP_BUGCHECK_ERROR_MSG:
        return errorLines(body);
    case ESA_E_ID_ES_ADAPTERMP_BUGCHECK_INFO:
        return snapshotLines(body);
    case ESA_E_ID_ES_ADAPTERMP_BUGCHECK_MSG_BUFFER:
    case ESA_E_ID_ES_ADAPTERMP_BUGCHECK_WORKSPACE_BUFFER: {
        const bool isInput = record.id == ESA_E_ID_ES_ADAPTERMP_BUGCHECK_MSG_BUFFER;
        Lines_t all{isInput ? "what was being handled:" : "what was being built:"};
        for (const std::string& line : messages.lines(body)) {
            all.push_back("  " + line);
        }
        return all;
    }
    default:
        return {"record " + std::to_string(record.id) + " of " + std::to_string(body.size()) + " bytes"};
    }
}

void addIndented(Lines_t& all, const std::string& head, const Lines_t& lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
        all.push_back(i == 0 ? head + lines[i] : "    " + lines[i]);
    }
}

/** Nothing when no line is a record. */
Lines_t eventLogLines(std::istream& file) {
    Lines_t all;
    bool isLog = false;
    MessageReaderInWords_t messages;
    for (std::string line; std::getline(file, line);) {
        const std::optional<JsonInput_t> object = JsonInput_t::parse(line);
        const bool isObject = object && object->isObject();
        const std::optional<LoggedRecord_t> record = isObject ? recordOf(*object) : std::nullopt;
        if (record) {
            isLog = true;
            addIndented(all, millisText(record->seconds * 1000) + " ", recordLines(*record, messages));
        } else if (isObject) {
            all.emplace_back("a line that is no record of the event log");
        } else if (!line.empty()) {
            all.emplace_back("a line that is cut or damaged");
        }
    }
    return isLog ? all : Lines_t{};
}

/** The bytes of a line "0x50000000: 0001020304050607 08", appended; false for any other line. */
bool takeDumpLine(const std::string& line, Bytes_t& bytes) {
    constexpr std::size_t ADDRESS = 12; // "0x50000000: "
    if (line.size() <= ADDRESS || !line.starts_with("0x") || line.compare(10, 2, ": ") != 0) {
        return false;
    }
    std::string digits;
    std::ranges::copy_if(line.substr(ADDRESS), std::back_inserter(digits),
                         [](char c) { return c != ' ' && c != '\r'; });
    return parseHex(digits, &bytes);
}

/** Whether it begins as every line of a trace does, with the time: "Nov 21 02:33:11  ". */
bool isTraceLine(const std::string& line) {
    constexpr std::string_view FORM = "Aaa 00 00:00:00  ";
    const auto fits = [](char form, char c) {
        switch (form) {
        case 'A':
            return c >= 'A' && c <= 'Z';
        case 'a':
            return c >= 'a' && c <= 'z';
        case '0':
            return (c >= '0' && c <= '9') || c == ' ';
        default:
            return c == form;
        }
    };
    return line.size() > FORM.size() &&
           std::equal(FORM.begin(), FORM.end(), line.begin(), [&](char form, char c) { return fits(form, c); });
}

/** Dumps in words; all else of a trace log is words already, and stays. Nothing when no line is a trace's. */
Lines_t traceLines(std::istream& file) {
    Lines_t all;
    bool isLog = false;
    MessageReaderInWords_t messages;
    Bytes_t bytes;
    const auto finish = [&] {
        if (!bytes.empty()) {
            for (const std::string& line : messages.lines(bytes)) {
                all.push_back("    " + line);
            }
            bytes.clear();
        }
    };
    for (std::string line; std::getline(file, line);) {
        const bool isDump = takeDumpLine(line, bytes);
        isLog = isLog || isDump || isTraceLine(line);
        if (!isDump) {
            finish();
            all.push_back(line);
        }
    }
    finish();
    return isLog ? all : Lines_t{};
}

} // namespace

LogInWords_t logInWords(std::istream& file) {
    const bool isEventLog = (file >> std::ws).peek() == '{';
    return {.isEventLog = isEventLog, .lines = isEventLog ? eventLogLines(file) : traceLines(file)};
}
