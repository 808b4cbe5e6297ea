/** The world in words, for a person and for a program. */
#pragma once

#include <string>

#include "commands.h"

/** A few lines for a person. */
std::string showText(const Commands_t& commands);

/** One line of JSON; "version" changes when a program that reads it would have to. */
std::string showJson(const Commands_t& commands);

const char* nameOf(FanState_e state);
const char* nameOf(SupplyState_e state);
/** "IDLE", "FAULT", "REMIND", "MUTE", "CRITICAL", or "INVALID" from 5 on. */
const char* alarmName(unsigned state);
/** "0x4c" */
std::string hexByte(unsigned value);
