/** What the monitor's metrics say of itself, beside those of the enclosure. */
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "folder.h"
#include "metrics.h"

namespace {

using testing::HasSubstr;
using testing::Not;

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
    Metrics() {
        options_.directory = folder_.path();
        options_.state = folder_.path();
    }

    std::string textOf(const Present_t& present) const { return metricsText(present, options_); }

    const testsupport::Folder_t folder_;
    MonitorOptions_t options_;
};

TEST_F(Metrics, OfAMonitorThatHasNotAskedYet) {
    const std::string text = textOf({});
    EXPECT_THAT(text, Not(HasSubstr("esa_up"))) << "neither up nor down is known";
    EXPECT_THAT(text, Not(HasSubstr("esa_adapter_info")));
    EXPECT_THAT(text, Not(HasSubstr("esa_adapter_connected")));
    EXPECT_THAT(text, HasSubstr("\nesa_monitor_info{version=\"1.3.0.24\",chassis=\"unknown\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_switch_up 0\n"));
    EXPECT_THAT(text, Not(HasSubstr("esa_answer_age_seconds")));
    EXPECT_THAT(text, Not(HasSubstr("esa_poll_age_seconds")));
    EXPECT_THAT(text, HasSubstr("\nesa_polls_total 0\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_polls_failed_total 0\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_adapter_starts_total 0\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_events_total{type=\"orderly-shutdown\"} 0\n")) << "there before the first one";
}

TEST_F(Metrics, CountPollsStartsAndEntriesAndTellAges) {
    Present_t present;
    present.enclosure = healthyEnclosure();
    present.isAnswering = true;
    present.hasSwitch = true;
    present.chassis = "quadra";
    present.answered = millisNow() - 30000;
    present.polled = millisNow() - 2000;
    present.polls = 7;
    present.failedPolls = 3;
    present.counts = {{"init-complete", 2}, {"orderly-shutdown", 5}, {"information", 4}};
    present.isConnected = true;
    std::ofstream(folder_ / "adapter") << "version=9.8.7.6\n";
    const std::string text = textOf(present);
    EXPECT_THAT(text, HasSubstr("\nesa_adapter_info{version=\"9.8.7.6\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_adapter_connected 1\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_up 1\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_fan_speed_rpm{fan=\"fan0\"} 5000\n"));
    EXPECT_THAT(text, HasSubstr(",chassis=\"quadra\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_switch_up 1\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_polls_total 10\n")) << "answered or not";
    EXPECT_THAT(text, HasSubstr("\nesa_polls_failed_total 3\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_adapter_starts_total 2\n"));
    EXPECT_THAT(
        text, HasSubstr("# TYPE esa_events_total counter\nesa_events_total{type=\"information\"} 4\n"
                        "esa_events_total{type=\"init-complete\"} 2\nesa_events_total{type=\"orderly-shutdown\"} 5\n"));
    EXPECT_NEAR(valueOf(text, "esa_answer_age_seconds"), 35, 5);
    EXPECT_NEAR(valueOf(text, "esa_poll_age_seconds"), 7, 5);
}

TEST_F(Metrics, AnAdapterThatIsSilentHasNoReadings) {
    Present_t present;
    present.enclosure = healthyEnclosure();
    present.isAnswering = false;
    present.isConnected = false;
    present.answered = millisNow() - 30000;
    const std::string text = "\n" + textOf(present);
    EXPECT_THAT(text, HasSubstr("\nesa_up 0\n"));
    EXPECT_THAT(text, HasSubstr("\nesa_adapter_connected 0\n"));
    EXPECT_THAT(text, Not(HasSubstr("esa_fan_speed_rpm")));
    EXPECT_GE(valueOf(text, "esa_answer_age_seconds"), 30);
}

} // namespace
