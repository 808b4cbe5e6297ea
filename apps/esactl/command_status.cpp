// status and config: what the adapter knows.
#include "commands.h"
#include "output.h"
#include "render_prometheus.h"
#include "render_text.h"

namespace {

std::string statusText(const Options& options, const Enclosure& enclosure, const Health& health) {
    if (options.json()) {
        return jsonText(statusJson(enclosure, health, timeText()), 2) + "\n";
    }
    if (options.prometheus()) {
        return prometheusText(enclosure, health);
    }
    const Palette palette = options.output.empty() ? standardOutputPalette() : Palette{};
    std::string text;
    for (const std::string& line : statusLines(enclosure, health, palette)) {
        text += line + "\n";
    }
    return text;
}

} // namespace

int statusCommand(const Options& options) {
    SesClient client(options.directory, options.timeout());
    const Enclosure enclosure = fetchEnclosure(client);
    const Health health = assessHealth(enclosure.status);
    const std::string text = statusText(options, enclosure, health);
    if (options.output.empty()) {
        printText(text);
    } else {
        replaceFile(options.output, text);
    }
    return health.exitStatus;
}

int configCommand(const Options& options) {
    SesClient client(options.directory, options.timeout());
    const Configuration configuration = fetchConfiguration(client);
    if (options.json()) {
        printJson(configurationJson(configuration));
    } else {
        printLines(configurationLines(configuration));
    }
    return 0;
}
