// raw: pages as bytes, for whoever debugs the wire.
#include <cstdio>

#include "commands.h"
#include "output.h"
#include "render_text.h"

namespace {

int digitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::vector<U8_t> parseHex(const std::vector<std::string>& words) {
    std::vector<U8_t> bytes;
    for (const std::string& word : words) {
        if (word.size() % 2 != 0) {
            throw usageError("'" + word + "' has an odd number of hex digits; give two for each byte");
        }
        for (std::size_t i = 0; i < word.size(); i += 2) {
            const int high = digitValue(word[i]);
            const int low = digitValue(word[i + 1]);
            if (high < 0 || low < 0) {
                throw usageError("'" + word + "' is not hex; give bytes as in 02 00 00 08 or 02000008");
            }
            bytes.push_back(static_cast<U8_t>(high * 16 + low));
        }
    }
    return bytes;
}

std::vector<std::string> hexLines(const std::vector<U8_t>& bytes) {
    constexpr std::size_t BYTES_PER_LINE = 16;
    std::vector<std::string> lines;
    char piece[16];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % BYTES_PER_LINE == 0) {
            std::snprintf(piece, sizeof piece, "%04x ", static_cast<unsigned>(i));
            lines.emplace_back(piece);
        }
        std::snprintf(piece, sizeof piece, " %02x", bytes[i]);
        lines.back() += piece;
    }
    return lines;
}

std::string hexText(const std::vector<U8_t>& bytes) {
    std::string text;
    char piece[4];
    for (U8_t byte : bytes) {
        std::snprintf(piece, sizeof piece, "%02x", byte);
        text += piece;
    }
    return text;
}

/** What a reply holds, spelt out; empty and null for a page that there is no decoder for. */
struct Spelt {
    std::vector<std::string> lines;
    Json json;
};

Spelt spellOut(SesClient& client, int page, const SesReply& reply) {
    if (page == 1) {
        const Decoded<Configuration> configuration = decodeConfigurationPage(reply.payload);
        if (configuration.value) {
            return {configurationLines(*configuration.value), configurationJson(*configuration.value)};
        }
        return {{"not decoded: " + configuration.error}, nullptr};
    }
    if (page == 2) {
        const Configuration configuration = fetchConfiguration(client); // page 2 does not say how it is laid out
        const Decoded<EnclosureStatus> status = decodeStatusPage(reply.payload, configuration);
        if (status.value) {
            const Enclosure enclosure{configuration, *status.value};
            const Health health = assessHealth(*status.value);
            return {statusLines(enclosure, health, standardOutputPalette()), statusJson(enclosure, health, timeText())};
        }
        return {{"not decoded: " + status.error}, nullptr};
    }
    return {};
}

void printReply(const Options& options, const SesReply& reply, const Spelt& spelt) {
    if (options.json()) {
        Json document = newDocument("esactl.raw");
        document["status"] = reply.statusCode;
        document["return_code"] = reply.returnCode;
        document["payload_hex"] = hexText(reply.payload);
        document["decoded"] = spelt.json;
        printJson(document);
        return;
    }
    std::vector<std::string> lines{"status " + std::to_string(reply.statusCode) + ", return code " +
                                   std::to_string(reply.returnCode) + ", " + std::to_string(reply.payload.size()) +
                                   " bytes"};
    for (const std::string& line : hexLines(reply.payload)) {
        lines.push_back(line);
    }
    lines.insert(lines.end(), spelt.lines.begin(), spelt.lines.end());
    printLines(lines);
}

} // namespace

int rawCommand(const Options& options) {
    const bool asks = options.page >= 0;
    if (asks == !options.hex.empty()) {
        throw usageError("raw needs either a control page as hex or --page N, not both");
    }
    const std::vector<U8_t> page = parseHex(options.hex);
    SesClient client(options.directory, options.timeout());
    const SesReply reply =
        asks ? client.receiveDiagnostic(static_cast<U8_t>(options.page)) : client.sendDiagnostic(page);
    requireGood(reply, asks ? "the request" : "the control page");
    const Spelt spelt = asks ? spellOut(client, options.page, reply) : Spelt{};
    printReply(options, reply, spelt);
    return 0;
}
