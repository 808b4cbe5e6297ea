/** Metrics in the Prometheus text exposition format, for the node exporter's textfile collector. */
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "enclosure.h"
#include "health.h"

/** Every metric of an enclosure that answered. A reading that is missing has no sample. */
std::string prometheusText(const Enclosure_t& enclosure, const Health_t& health);

/** Appends a sample; `help` null for the second and later ones of a metric. */
void metricSample(std::string& out, const char* name, const char* type, const char* help,
                  const std::vector<std::pair<std::string, std::string>>& labels, double value);

/** Appends a program's version, as "esa_adapter_info" and the like; nothing where it is not known. */
void metricVersion(std::string& out, const char* name, const std::string& version);

/** What is published when the adapter could not be asked: esa_up 0 and nothing else. */
std::string prometheusDownText();
