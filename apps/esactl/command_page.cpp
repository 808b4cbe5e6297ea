/** page: a page as hex, as it is or as the standard has it. */
#include <cstdio>

#include "commands.h"
#include "enclosure.h"
#include "output.h"
#include "session.h"
#include "standard_pages.h"

namespace {

std::string hexDump(const std::vector<U8_t>& bytes) {
    constexpr std::size_t BYTES_PER_LINE = 16;
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char piece[8];
        std::snprintf(piece, sizeof piece, "%02x", bytes[i]);
        text += piece;
        text += i + 1 == bytes.size() || (i + 1) % BYTES_PER_LINE == 0 ? "\n" : " ";
    }
    return text;
}

} // namespace

int pageCommand(const Options_t& options) {
    SesClient_t client = connectAdapter(options);
    std::vector<U8_t> page;
    if (!options.standard) {
        const SesReply_t reply = client.receiveDiagnostic(static_cast<U8_t>(options.page));
        requireGood(reply, "the request for page " + std::to_string(options.page));
        page = reply.payload;
    } else {
        page = options.page == 1 ? standardConfigurationPage(fetchConfiguration(client))
                                 : standardStatusPage(fetchEnclosure(client));
    }
    deliverText(options.output, hexDump(page));
    return 0;
}
