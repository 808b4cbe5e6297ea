/** status and config: what the adapter knows. */
#include "commands.h"
#include "errors.h"
#include "output.h"
#include "render_json.h"
#include "render_prometheus.h"
#include "render_text.h"
#include "session.h"

namespace {

std::string statusText(const Options_t& options, const Enclosure_t& enclosure, const Health_t& health) {
    if (options.json()) {
        return statusJson(enclosure, health, timeText()).text(2) + "\n";
    }
    if (options.prometheus()) {
        std::string text = prometheusText(enclosure, health);
        metricVersion(text, "esa_adapter_info", adapterFacts(options).version);
        metricVersion(text, "esa_esactl_info", ESACTL_VERSION);
        return text;
    }
    const Palette_t palette = isStandardOutput(options.output) ? standardOutputPalette() : Palette_t{};
    std::string text;
    const std::size_t width = isStandardOutput(options.output) ? standardOutputWidth() : UNBOUNDED;
    for (const std::string& line : statusLines(enclosure, health, palette, width)) {
        text += line + "\n";
    }
    return text;
}

} // namespace

int statusCommand(const Options_t& options) {
    if (options.jsonFlag && options.format != "text" && options.format != "json") {
        throw usageError("--json and --format " + options.format + " name two formats; expected one of them");
    }
    SesClient_t client = connectAdapter(options);
    const Enclosure_t enclosure = askEnclosure(client, options);
    const Health_t health = judgedHealth(enclosure, options);
    const std::string text = statusText(options, enclosure, health);
    deliverText(options.output, text);
    return health.exitStatus;
}

int configCommand(const Options_t& options) {
    SesClient_t client = connectAdapter(options);
    const Configuration_t configuration = fetchConfiguration(client);
    const AdapterFacts_t facts = adapterFacts(options);
    if (options.json()) {
        Json_t document = configurationJson(configuration);
        document.set("adapter_version", facts.version.empty() ? Json_t() : Json_t(facts.version));
        document.set("adapter_chassis", facts.chassis == nullptr ? Json_t() : Json_t(facts.chassis->name));
        printJson(document);
    } else {
        std::vector<std::string> lines = configurationLines(configuration);
        lines.push_back("Adapter     " + (facts.version.empty() ? "-" : facts.version) +
                        (facts.chassis == nullptr ? "" : std::string("  (chassis ") + facts.chassis->name + ")"));
        printLines(lines);
    }
    return 0;
}
