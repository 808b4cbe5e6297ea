/** raw: pages as bytes, for whoever debugs the wire. */
#include <array>

#include "commands.h"
#include "errors.h"
#include "hex.h"
#include "output.h"
#include "render_json.h"
#include "render_text.h"
#include "session.h"

namespace {

std::vector<U8_t> bytesOf(const std::vector<std::string>& words) {
    std::vector<U8_t> bytes;
    for (const std::string& word : words) {
        if (word.size() % 2 != 0) {
            throw usageError("'" + word + "' has an odd number of hex digits; give two for each byte");
        }
        if (!parseHex(word, &bytes)) {
            throw usageError("'" + word + "' is not hex; give bytes as in 02 00 00 08 or 02000008");
        }
    }
    return bytes;
}

/** The bytes by sixteen, each line behind its first one's offset. */
std::vector<std::string> numberedLines(const std::vector<U8_t>& bytes) {
    std::vector<std::string> lines = hexLines(bytes);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto offset = static_cast<U16_t>(16 * i);
        lines[i] = hexText(std::array{static_cast<U8_t>(offset >> 8), static_cast<U8_t>(offset)}) + "  " + lines[i];
    }
    return lines;
}

/** What a reply holds, spelt out; empty and null for a page that there is no decoder for. */
struct Spelt_t {
    std::vector<std::string> lines;
    Json_t json;
};

Spelt_t spellOut(SesClient_t& client, int page, const SesReply_t& reply) {
    if (page == 1) {
        const Decoded_t<Configuration_t> configuration = decodeConfigurationPage(reply.payload);
        if (configuration.value) {
            return {configurationLines(*configuration.value), configurationJson(*configuration.value)};
        }
        return {{"not decoded: " + configuration.error}, nullptr};
    }
    if (page == 2) {
        const Configuration_t configuration = fetchConfiguration(client); // page 2 does not say how it is laid out
        const Decoded_t<EnclosureStatus_t> status = decodeStatusPage(reply.payload, configuration);
        if (status.value) {
            const Enclosure_t enclosure{.configuration = configuration, .status = *status.value};
            const Health_t health = assessHealth(*status.value);
            return {statusLines(enclosure, health, standardOutputPalette(), standardOutputWidth()),
                    statusJson(enclosure, health, timeText())};
        }
        return {{"not decoded: " + status.error}, nullptr};
    }
    return {};
}

void printReply(const Options_t& options, const SesReply_t& reply, const Spelt_t& spelt) {
    if (options.json()) {
        Json_t document = newDocument("esactl.raw");
        document.set("status", reply.statusCode);
        document.set("return_code", reply.returnCode);
        document.set("payload_hex", hexText(reply.payload));
        document.set("decoded", spelt.json);
        printJson(document);
        return;
    }
    std::vector<std::string> lines{"status " + std::to_string(reply.statusCode) + ", return code " +
                                   std::to_string(reply.returnCode) + ", " + std::to_string(reply.payload.size()) +
                                   " bytes"};
    for (const std::string& line : numberedLines(reply.payload)) {
        lines.push_back(line);
    }
    lines.insert(lines.end(), spelt.lines.begin(), spelt.lines.end());
    printLines(lines);
}

} // namespace

int rawCommand(const Options_t& options) {
    const bool asks = options.page >= 0;
    if (asks == !options.hex.empty()) {
        throw usageError(asks ? "raw takes a control page as hex or --page N, not both"
                              : "raw needs a control page as hex, or --page N to ask for one; see esactl raw --help");
    }
    const std::vector<U8_t> page = bytesOf(options.hex);
    SesClient_t client = connectAdapter(options);
    const SesReply_t reply =
        asks ? client.receiveDiagnostic(static_cast<U8_t>(options.page)) : client.sendDiagnostic(page);
    requireGood(reply, asks ? "the request" : "the control page");
    const Spelt_t spelt = asks ? spellOut(client, options.page, reply) : Spelt_t{};
    printReply(options, reply, spelt);
    return 0;
}
