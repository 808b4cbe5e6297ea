/** status and config: what the adapter knows. */
#include "commands.h"
#include "output.h"
#include "render_json.h"
#include "render_prometheus.h"
#include "render_text.h"

namespace {

std::string statusText(const Options_t& options, const Enclosure_t& enclosure, const Health_t& health) {
    if (options.json()) {
        return statusJson(enclosure, health, timeText()).text(2) + "\n";
    }
    if (options.prometheus()) {
        return prometheusText(enclosure, health);
    }
    const Palette_t palette = isStandardOutput(options.output) ? standardOutputPalette() : Palette_t{};
    std::string text;
    for (const std::string& line : statusLines(enclosure, health, palette)) {
        text += line + "\n";
    }
    return text;
}

} // namespace

int statusCommand(const Options_t& options) {
    SesClient_t client(options.directory, options.timeout());
    const Enclosure_t enclosure = fetchEnclosure(client);
    const Health_t health = assessHealth(enclosure.status);
    const std::string text = statusText(options, enclosure, health);
    deliverText(options.output, text);
    return health.exitStatus;
}

int configCommand(const Options_t& options) {
    SesClient_t client(options.directory, options.timeout());
    const Configuration_t configuration = fetchConfiguration(client);
    if (options.json()) {
        printJson(configurationJson(configuration));
    } else {
        printLines(configurationLines(configuration));
    }
    return 0;
}
