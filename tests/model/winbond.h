/** What the drivers of W83782D chips share: the bytes of a chip's shadow, and how one is stored and sent. */
#pragma once

#include "adapter.h"

namespace model {

// The limits of the seven voltages are the first fourteen, high and low in turn.
inline constexpr std::size_t TEMPERATURE_HIGH = 14;
inline constexpr std::size_t TEMPERATURE_HYSTERESIS = 15;
inline constexpr std::size_t CONFIGURATION = 16;
inline constexpr std::size_t SERIAL_BUS_ADDRESS = 17;
inline constexpr std::size_t BEEP_GPO = 18;
inline constexpr std::size_t PWM_OUT_2 = 19;
inline constexpr std::size_t PWM_OUT_1 = 20;
inline constexpr std::size_t PWM_OUT_3 = 21;
inline constexpr std::size_t PWM_OUT_4 = 22;

/** Stores a value in a shadow, then sends the shadow's byte. */
inline int store(Adapter_t& adapter, std::uint8_t address, std::uint8_t& shadow, std::uint8_t value, std::uint8_t reg) {
    shadow = value;
    return adapter.esaWriteI2CData(address, reg, {&shadow, 1});
}

} // namespace model
