#pragma once
// The world in words, for a person and for a program.

#include "sim/control.h"

#include <string>

namespace encsim {

/// A few lines for a person.
std::string showText(const Control& control);

/// One line of JSON; "version" changes when a program that reads it would have to.
std::string showJson(const Control& control);

const char* nameOf(FanState state);
const char* nameOf(SupplyState state);
/// "IDLE", "FAULT", "REMIND", "MUTE", "CRITICAL", or "INVALID" from 5 on.
const char* alarmName(unsigned state);
/// "0x4c"
std::string hexByte(unsigned value);

} // namespace encsim
