#include "render_prometheus.h"

#include <cstdio>

#include "names.h"
#include "ses_mesgs.h"

namespace {

/** Collects the samples of one metric under its HELP and TYPE lines; a metric without a sample is left out whole. */
class Metric_t {
public:
    Metric_t(std::string& out, const char* name, const char* help) : out_(out), name_(name) {
        head_ = "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " gauge\n";
    }

    void sample(const std::string& labels, long value) {
        out_ += head_ + name_ + (labels.empty() ? "" : "{" + labels + "}") + " " + std::to_string(value) + "\n";
        head_.clear();
    }

private:
    std::string& out_;
    std::string name_;
    std::string head_;
};

std::string label(const std::string& key, const std::string& value) {
    std::string escaped;
    for (char c : value) {
        const bool isSpecial = c == '\\' || c == '"';
        escaped += isSpecial ? std::string{'\\', c} : std::string{c};
    }
    return key + "=\"" + escaped + "\"";
}

/** One metric with a sample for every element for which `value` returns one. */
template <typename Elements, typename Value>
void elementMetric(std::string& out, const char* name, const char* help, const char* key,
                   std::string (*elementName)(unsigned), const Elements& elements, Value&& value) {
    Metric_t metric(out, name, help);
    unsigned index = 0;
    for (const auto& element : elements) {
        if (const std::optional<long> sample = value(element)) {
            metric.sample(label(key, elementName(index)), *sample);
        }
        ++index;
    }
}

std::optional<long> truth(bool value) {
    return value ? 1 : 0;
}

void overallMetrics(std::string& out, const Configuration_t& configuration, const Health_t& health) {
    Metric_t(out, "esa_up", "Whether the enclosure services adapter answered.").sample("", 1);
    Metric_t(out, "esa_enclosure_info", "Identity of the enclosure.")
        .sample(label("vendor", configuration.vendor) + "," + label("product", configuration.product) + "," +
                    label("revision", configuration.revision),
                1);
    Metric_t state(out, "esa_enclosure_state", "State of the enclosure: 1 for the state it is in, 0 for the others.");
    for (Condition_e condition : {CONDITION_E_OK, CONDITION_E_WARNING, CONDITION_E_FAULT}) {
        state.sample(label("state", conditionName(condition)), health.overall == condition ? 1 : 0);
    }
    Metric_t accepted(out, "esa_condition_accepted", "Conditions that an operator has accepted: they do not count.");
    for (const Accepted_t& condition : health.accepted) {
        for (const std::string& element : elementsOf(condition.problem)) {
            accepted.sample(label("element", element), 1);
        }
    }
}

template <typename Element>
std::optional<long> healthy(const Element& element, Condition_e condition) {
    return element.known ? truth(condition == CONDITION_E_OK) : std::nullopt;
}

void driveMetrics(std::string& out, const std::vector<DriveSlot_t>& drives) {
    elementMetric(out, "esa_drive_present", "Whether the slot holds a drive.", "slot", slotName, drives,
                  [](const DriveSlot_t& drive) {
                      return drive.known ? truth(driveCondition(drive) != CONDITION_E_ABSENT) : std::nullopt;
                  });
    elementMetric(out, "esa_drive_fault_led_on", "Whether the slot's fault LED has been asked for.", "slot", slotName,
                  drives, [](const DriveSlot_t& drive) { return truth(drive.faultRequested); });
}

void supplyMetrics(std::string& out, const std::vector<PowerSupply_t>& supplies) {
    elementMetric(out, "esa_power_supply_healthy", "Whether the power supply is without fault.", "supply", supplyName,
                  supplies, [](const PowerSupply_t& supply) { return healthy(supply, supplyCondition(supply)); });
    elementMetric(out, "esa_power_supply_input_failed", "Whether the supply's input or voltage has failed.", "supply",
                  supplyName, supplies,
                  [](const PowerSupply_t& supply) { return supply.known ? truth(supply.acFail) : std::nullopt; });
}

void fanMetrics(std::string& out, const std::vector<Fan_t>& fans) {
    elementMetric(out, "esa_fan_healthy", "Whether the fan is without fault.", "fan", fanName, fans,
                  [](const Fan_t& fan) { return healthy(fan, fanCondition(fan)); });
    elementMetric(out, "esa_fan_speed_rpm", "Speed of the fan in revolutions per minute.", "fan", fanName, fans,
                  [](const Fan_t& fan) { return fan.rpm ? std::optional<long>(*fan.rpm) : std::nullopt; });
    elementMetric(out, "esa_fan_speed_minimum_rpm", "Speed under which the fan is in fault.", "fan", fanName, fans,
                  [](const Fan_t&) { return std::optional<long>(SES_K_FAN_FAULT_RPM_LIMIT); });
}

void temperatureMetrics(std::string& out, const std::vector<TemperatureSensor_t>& sensors) {
    elementMetric(out, "esa_temperature_celsius", "Temperature in degrees Celsius.", "sensor", sensorName, sensors,
                  [](const TemperatureSensor_t& sensor) {
                      return sensor.celsius ? std::optional<long>(*sensor.celsius) : std::nullopt;
                  });
    Metric_t limits(out, "esa_temperature_limit_celsius", "Temperature limits in degrees Celsius.");
    constexpr std::array<std::pair<const char*, int>, 4> LIMITS{{{"low_failure", SES_K_UNDER_TEMPERATURE_FAILURE},
                                                                 {"low_warning", SES_K_UNDER_TEMPERATURE_WARNING},
                                                                 {"high_warning", SES_K_OVER_TEMPERATURE_WARNING},
                                                                 {"high_failure", SES_K_OVER_TEMPERATURE_FAILURE}}};
    for (unsigned index = 0; index < sensors.size(); ++index) {
        for (const auto& [limit, celsius] : LIMITS) {
            limits.sample(label("sensor", sensorName(index)) + "," + label("limit", limit), celsius);
        }
    }
}

} // namespace

std::string prometheusText(const Enclosure_t& enclosure, const Health_t& health) {
    std::string out;
    const EnclosureStatus_t& status = enclosure.status;
    overallMetrics(out, enclosure.configuration, health);
    Metric_t(out, "esa_enclosure_reached", "Whether the adapter has an enclosure that answers it.")
        .sample("", enclosure.cause.empty() ? 1 : 0);
    driveMetrics(out, status.drives);
    supplyMetrics(out, status.supplies);
    fanMetrics(out, status.fans);
    temperatureMetrics(out, status.sensors);
    elementMetric(out, "esa_alarm_muted", "Whether the audible alarm is silent.", "alarm", alarmName, status.alarms,
                  [](const Alarm_t& alarm) { return alarm.tones ? truth(alarm.tones->muted) : std::nullopt; });
    return out;
}

void metricSample(std::string& out, const char* name, const char* type, const char* help,
                  const std::vector<std::pair<std::string, std::string>>& labels, double value) {
    if (help != nullptr) {
        out.append("# HELP ").append(name).append(" ").append(help).append("\n");
        out.append("# TYPE ").append(name).append(" ").append(type).append("\n");
    }
    std::string parts;
    for (const auto& [key, text] : labels) {
        parts += (parts.empty() ? "" : ",") + label(key, text);
    }
    char number[32];
    std::snprintf(number, sizeof number, "%.15g", value);
    out.append(name).append(parts.empty() ? "" : "{" + parts + "}").append(" ").append(number).append("\n");
}

void metricVersion(std::string& out, const char* name, const std::string& version) {
    if (!version.empty()) {
        metricSample(out, name, "gauge", "Version of the program.", {{"version", version}}, 1);
    }
}

std::string prometheusDownText() {
    std::string out;
    Metric_t(out, "esa_up", "Whether the enclosure services adapter answered.").sample("", 0);
    return out;
}
