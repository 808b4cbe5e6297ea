/** What the bodies of requests ask for. Everything throws ToolError_t "usage" when it makes no sense. */
#pragma once

#include <optional>
#include <string>

#include "observations.h"

/** Of "leds", "alarm" or "fans". */
[[nodiscard]] std::optional<Command_e> commandNamed(const std::string& name);
[[nodiscard]] Action_t actionOf(Command_e command, const std::string& body);
[[nodiscard]] std::string simulatorCommandOf(const std::string& body);
