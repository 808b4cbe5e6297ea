/** What the monitor's metrics say of itself, beside those of the enclosure. */
#include <gtest/gtest.h>

#include "folder.h"
#include "metrics.h"

namespace {

Enclosure_t healthyEnclosure() {
    Enclosure_t enclosure;
    enclosure.configuration.groups = {{3, 1}};
    enclosure.status.fans.resize(1);
    enclosure.status.fans[0].code = 1;
    enclosure.status.fans[0].rpm = 5000;
    return enclosure;
}

/** Seconds that the sample of this name gives. */
double valueOf(const std::string& text, const std::string& name) {
    const std::size_t at = text.find("\n" + name + " ");
    return at == std::string::npos ? -1 : std::stod(text.substr(at + name.size() + 2));
}

class Metrics : public testing::Test {
protected:
    std::string textOf(const Present_t& present) const {
        MonitorOptions_t options;
        options.directory = folder_.path();
        options.state = folder_.path();
        return "\n" + metricsText(present, options);
    }

    using Texts_t = std::vector<std::string>;
    static void expectSamples(const std::string& text, const Texts_t& samples, const Texts_t& missing) {
        for (const std::string& sample : samples) {
            EXPECT_PRED_FORMAT2(testing::IsSubstring, "\n" + sample + "\n", text);
        }
        for (const std::string& name : missing) {
            EXPECT_PRED_FORMAT2(testing::IsNotSubstring, name, text);
        }
    }

    const testsupport::Folder_t folder_;
};

TEST_F(Metrics, OfAMonitorThatHasNotAskedYet) {
    // Neither up nor down is known; a counter is there before the first event.
    expectSamples(
        textOf({}),
        {R"(esa_monitor_info{version="1.3.0.24",chassis="unknown"} 1)", "esa_switch_up 0", "esa_polls_total 0",
         "esa_polls_failed_total 0", "esa_adapter_starts_total 0", R"(esa_events_total{type="orderly-shutdown"} 0)"},
        {"esa_up", "esa_adapter_info", "esa_adapter_connected", "esa_answer_age_seconds", "esa_poll_age_seconds"});
}

TEST_F(Metrics, CountPollsStartsAndEntriesAndTellAges) {
    Present_t present;
    present.enclosure = healthyEnclosure();
    present.isAnswering = true;
    present.hasSwitch = true;
    present.chassis = "quadra";
    present.answered = millisNow() - 30000;
    present.polled = millisNow() - 2000;
    present.polls = 7; // answered
    present.failedPolls = 3;
    present.counts = {{"init-complete", 2}, {"orderly-shutdown", 5}, {"information", 4}};
    present.isConnected = true;
    (void)folder_.write("adapter", "version=9.8.7.6\n");
    const std::string text = textOf(present);
    expectSamples(text,
                  {R"(esa_adapter_info{version="9.8.7.6"} 1)", "esa_adapter_connected 1", "esa_up 1",
                   R"(esa_fan_speed_rpm{fan="fan0"} 5000)",
                   R"(esa_monitor_info{version="1.3.0.24",chassis="quadra"} 1)", "esa_switch_up 1",
                   "esa_polls_total 10", "esa_polls_failed_total 3", "esa_adapter_starts_total 2",
                   "# TYPE esa_events_total counter\nesa_events_total{type=\"information\"} 4\n"
                   "esa_events_total{type=\"init-complete\"} 2\nesa_events_total{type=\"orderly-shutdown\"} 5"},
                  {});
    EXPECT_NEAR(valueOf(text, "esa_answer_age_seconds"), 35, 5);
    EXPECT_NEAR(valueOf(text, "esa_poll_age_seconds"), 7, 5);
}

TEST_F(Metrics, AnAdapterThatIsSilentHasNoReadings) {
    Present_t present;
    present.enclosure = healthyEnclosure();
    present.isAnswering = false;
    present.isConnected = false;
    present.answered = millisNow() - 30000;
    const std::string text = textOf(present);
    expectSamples(text, {"esa_up 0", "esa_adapter_connected 0"}, {"esa_fan_speed_rpm"});
    EXPECT_GE(valueOf(text, "esa_answer_age_seconds"), 30);
}

} // namespace
