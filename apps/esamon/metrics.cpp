#include "metrics.h"

#include "diagnosis.h"
#include "render_prometheus.h"

std::string metricsText(const Present_t& present, const MonitorOptions_t& options) {
    // Before the first question has had its time nothing is known: no esa_up says neither.
    std::string text;
    if (present.isAnswering) {
        const bool isAnswering = *present.isAnswering && present.enclosure.has_value();
        text = isAnswering ? prometheusText(*present.enclosure, judged(*present.enclosure, options))
                           : prometheusDownText();
    }
    const Millis_t now = millisNow();
    const auto age = [&](Millis_t then) { return static_cast<double>(now - then) / 1000; };
    metricSample(text, "esa_monitor_info", "gauge", "Version of the monitor, and the chassis that it watches.",
                 {{"version", ESAMON_VERSION}, {"chassis", present.chassis.empty() ? "unknown" : present.chassis}}, 1);
    metricVersion(text, "esa_adapter_info", readAdapterFacts(options.directory).version);
    metricSample(text, "esa_switch_up", "gauge", "Whether there is a connection to the message switch.", {},
                 present.hasSwitch ? 1 : 0);
    if (present.isConnected) {
        metricSample(text, "esa_adapter_connected", "gauge", "Whether the switch knows of an adapter.", {},
                     *present.isConnected ? 1 : 0);
    }
    if (present.answered != 0) {
        metricSample(text, "esa_answer_age_seconds", "gauge", "Time since the adapter's latest answer.", {},
                     age(present.answered));
    }
    if (present.polled != 0) {
        metricSample(text, "esa_poll_age_seconds", "gauge", "Time since the adapter was last asked.", {},
                     age(present.polled));
    }
    metricSample(text, "esa_polls_total", "counter", "Times that the adapter was asked.", {},
                 static_cast<double>(present.polls + present.failedPolls));
    metricSample(text, "esa_polls_failed_total", "counter", "Times that it gave no usable answer.", {},
                 static_cast<double>(present.failedPolls));
    const auto starts = present.counts.find("init-complete");
    metricSample(text, "esa_adapter_starts_total", "counter", "Starts of the adapter that were seen.", {},
                 starts == present.counts.end() ? 0 : static_cast<double>(starts->second));
    // A counter that comes with its first event shows no increase: what is alerted by it is there from the beginning.
    std::map<std::string, std::int64_t> counts = present.counts;
    counts.emplace("orderly-shutdown", 0);
    bool isFirst = true;
    for (const auto& [name, count] : counts) {
        metricSample(text, "esa_events_total", "counter",
                     isFirst ? "Entries of the history, repeats counted." : nullptr, {{"type", name}},
                     static_cast<double>(count));
        isFirst = false;
    }
    return text;
}
