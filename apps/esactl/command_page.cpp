/** page: a page as hex, as it is or as the standard has it. */
#include "commands.h"
#include "enclosure.h"
#include "hex.h"
#include "output.h"
#include "session.h"
#include "standard_pages.h"

namespace {

std::string hexDump(const std::vector<U8_t>& bytes) {
    std::string text;
    for (const std::string& line : hexLines(bytes)) {
        text += line + "\n";
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
