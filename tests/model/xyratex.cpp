/**
 * The Xyratex 2U12 (chassis 2): a VSC055 at 0x63 and two LM75 sensors.
 */
#include "adapter.h"

namespace model {
namespace {

constexpr std::uint8_t CHIP = 0x63;

const char* const ALARM_NAMES[] = {"IDEL_S0",     "FAULT_S1",   "REMIND_S2",  "MUTE_S3",
                                   "CRITICAL_S4", "INVALID_S5", "INVALID_S6", "INVALID_S7"};

/** Stores a port's value in its shadow, then sends the shadow. */
void writePort(Adapter_t& adapter, std::uint8_t port, unsigned value) {
    std::uint8_t& shadow = adapter.state.vsc055GPD[port];
    shadow = static_cast<std::uint8_t>(value);
    adapter.esaWriteI2CData(CHIP, port, {&shadow, 1});
}

void setBits(Adapter_t& adapter, std::uint8_t port, unsigned bits) {
    writePort(adapter, port, adapter.state.vsc055GPD[port] | bits);
}

void clearBits(Adapter_t& adapter, std::uint8_t port, unsigned bits) {
    writePort(adapter, port, adapter.state.vsc055GPD[port] & ~bits);
}

int readPort(Adapter_t& adapter, std::uint8_t port, std::uint8_t& value) {
    return adapter.esaReadI2CData(CHIP, port, {&value, 1});
}

/** A drive's bit, and the ports of its fault LED and its presence. */
struct Slot_t {
    unsigned bit;
    std::uint8_t ledPort;
    std::uint8_t presencePort;
};

std::optional<Slot_t> slotOf(int drive) {
    if (drive < 0 || drive > 11) {
        return std::nullopt;
    }
    return drive <= 7 ? Slot_t{1U << drive, 7, 0} : Slot_t{1U << (drive - 8), 6, 3};
}

void sendAlarmEvent(Adapter_t& adapter, std::uint8_t eventType) {
    Bytes_t data = adapter.eventData();
    Adapter_t::setWord(data, 20, adapter.state.audibleAlarmMaxNumber);
    Adapter_t::setWord(data, 52, adapter.state.alarmState);
    adapter.esaSendEventMmsgToEmp(9, eventType, data);
}

} // namespace

int Adapter_t::xyratexSetDriveFaultLED(int drive) {
    trace("xyratexSetDriveFaultLED", "Set Fault LED on Drive [%d]", drive);
    const std::optional<Slot_t> slot = slotOf(drive);
    if (!slot) {
        trace("xyratexSetDriveFaultLED", "Un-supported Drive Number = [%d]", drive);
        return FAILED;
    }
    clearBits(*this, slot->ledPort, slot->bit);
    return OK;
}

int Adapter_t::xyratexClearDriveFaultLED(int drive) {
    trace("xyratexClearDriveFaultLED", "Clear Fault LED on Drive [%d]", drive);
    const std::optional<Slot_t> slot = slotOf(drive);
    if (!slot) {
        trace("xyratexClearDriveFaultLED", "Un-supported Drive Number = [%d]", drive);
        return FAILED;
    }
    setBits(*this, slot->ledPort, slot->bit);
    return OK;
}

int Adapter_t::xyratexIsDrivePresent(int drive) {
    const std::optional<Slot_t> slot = slotOf(drive);
    if (!slot) {
        trace("xyratexIsDrivePresent", "Un-supported Drive Number = [%d]", drive);
        return FAILED;
    }
    std::uint8_t port = 0;
    const int code = readPort(*this, slot->presencePort, port);
    if (code != OK) {
        return code;
    }
    if ((port & slot->bit) == 0) {
        trace("xyratexIsDrivePresent", "Drive in Slot [%d] is present.", drive);
        return OK;
    }
    trace("xyratexIsDrivePresent", "Drive in Slot [%d] is NOT present.", drive);
    return FAILED;
}

int Adapter_t::xyratexReadDrivePresence() {
    std::map<int, std::uint8_t> ports;
    for (const std::uint8_t port : {std::uint8_t{0}, std::uint8_t{3}}) {
        const int code = readPort(*this, port, ports[port]);
        if (code != OK) {
            return code;
        }
    }
    for (int drive = 0; drive < 12; ++drive) {
        const Slot_t slot = *slotOf(drive);
        trace("xyratexReadDrivePresence", "Drive in Slot [%d] %s present.", drive,
              (ports[slot.presencePort] & slot.bit) == 0 ? "is" : "is NOT");
    }
    return OK;
}

int Adapter_t::xyratexReadPowerVoltageStatus() {
    std::uint8_t port = 0;
    const int code = readPort(*this, 4, port);
    if (code != OK) {
        return code;
    }
    if ((port & 0x10) != 0) {
        return OK;
    }
    trace("xyratexReadPowerVoltageStatus", "Return Power Voltage Status [ERROR].");
    return FAILED;
}

int Adapter_t::xyratexReadPowerRedundancyFailStatus() {
    std::uint8_t port = 0;
    const int code = readPort(*this, 4, port);
    if (code != OK) {
        return code;
    }
    if ((port & 0x20) != 0) {
        trace("xyratexReadPowerRedundancyFailStatus", "Return Power Redundancy Fail Status [OK].");
        return OK;
    }
    trace("xyratexReadPowerRedundancyFailStatus", "Return Power Redundancy Fail Status [ERROR].");
    return FAILED;
}

void Adapter_t::xyratexSetPsuOkLED() {
    trace("xyratexSetPsuOkLED", "Turn [ON] PSU_OK LED.");
    setBits(*this, 6, 0x20);
}

void Adapter_t::xyratexClearPsuOkLED() {
    trace("xyratexClearPsuOkLED", "Turn [OFF] PSU_OK LED.");
    clearBits(*this, 6, 0x20);
}

void Adapter_t::xyratexSetPowerRedundancyFailLED() {
    trace("xyratexSetPowerRedundancyFailLED", "Turn [ON] Power Redundancy Fail LED.");
    setBits(*this, 6, 0x40);
}

void Adapter_t::xyratexClearPowerRedundancyFailLED() {
    trace("xyratexClearPowerRedundancyFailLED", "Turn [OFF] Power Redundancy Fail LED.");
    clearBits(*this, 6, 0x40);
}

void Adapter_t::xyratexSetFanFailLED() {
    trace("xyratexSetFanFailLED", "Turn [ON] FAN_FAIL LED.");
    setBits(*this, 6, 0x80);
}

void Adapter_t::xyratexClearFanFailLED() {
    trace("xyratexClearFanFailLED", "Turn [OFF] FAN_FAIL LED.");
    clearBits(*this, 6, 0x80);
}

void Adapter_t::xyratexSetAlarmState(std::uint32_t alarm) {
    if (alarm > 7) {
        trace("xyratexSetAlarmState", "Set the Alarm State to un-supported value [%d].", static_cast<int>(alarm));
        return;
    }
    trace("xyratexSetAlarmState", "Set the Alarm State to [%s].", ALARM_NAMES[alarm]);
    const unsigned others = state.vsc055GPD[5] & 0xF0U;
    writePort(*this, 5, others | alarm | 0x08);
    clearBits(*this, 5, 0x08);
}

std::uint8_t Adapter_t::xyratexReadAlarmstate() {
    unsigned alarm = 0;
    for (unsigned select = 0; select < 3; ++select) {
        writePort(*this, 5, (state.vsc055GPD[5] & 0xF8U) | select);
        std::uint8_t port = 0;
        if (readPort(*this, 5, port) == OK && (port & 0x10) != 0) {
            alarm |= 1U << select;
        }
    }
    trace("xyratexReadAlarmstate", "Read the Alarm State as [%s].", ALARM_NAMES[alarm]);
    return static_cast<std::uint8_t>(alarm);
}

int Adapter_t::xyratexInit() {
    const char* const function = "xyratexInit";

    if (world.readI2c(state.i2cFileFd, CHIP, 0x10, 1).result == -1) {
        trace(function, "Read I2C fails. I2C cable is not connected or wrong enclosure type.");
        return reportBusFault();
    }
    trace(function, "Read I2C succeeds. I2C cable is connected");

    state.elementTypeMaxNumber = 5;
    state.deviceMaxNumber = 12;
    state.powerSupplyMaxNumber = 2;
    state.coolingMaxNumber = 8;
    state.temperatureSensorMaxNumber = 2;
    state.audibleAlarmMaxNumber = 1;
    state.i2cConnected = 1;
    state.fanFaultRpmLimit = 2000;
    state.vsc055DDP = {0xFF, 0x00, 0xFF, 0x0F, 0x30, 0x10, 0x00, 0x00};

    const int code = setVsc055Directions(function, CHIP);
    if (code != OK) {
        return code;
    }

    esaVsc055FanLoadPwm(0, 25);
    esaVsc055FanLoadPwm(1, 25);
    state.fanPwmLoad[0] = 25;
    state.fanPwmLoad[1] = 25;

    writePort(*this, 4, 0xFC);
    writePort(*this, 6, 0x0F);
    writePort(*this, 7, 0xFF);
    world.sleep(3000000);
    writePort(*this, 4, 0xFE);
    writePort(*this, 6, 0xF0);
    writePort(*this, 7, 0x00);
    world.sleep(3000000);
    writePort(*this, 4, 0xFC);
    writePort(*this, 6, 0x2F);
    writePort(*this, 7, 0xFF);

    state.powerSupplyStatus |= 0x1 | 0x2;

    for (std::size_t fan = 0; fan < 8; ++fan) {
        std::uint8_t& speedConfiguration = state.vsc055FSC[fan];
        speedConfiguration = 0x80;
        trace(function, "Initialize VSC055_FSC[%d] Register with value = [0x%x]", static_cast<int>(fan),
              speedConfiguration);
        esaWriteI2CData(CHIP, static_cast<std::uint8_t>(0x30 + 4 * fan), {&speedConfiguration, 1});
    }

    xyratexSetAlarmState(0);
    return OK;
}

void Adapter_t::xyratexEsaProcessPollTimeout() {
    const char* const function = "xyratexEsaProcessPollTimeout";

    const int voltage = xyratexReadPowerVoltageStatus();
    if (voltage == OK) {
        esaManageCompositeFault(0x1, OK);
        if ((state.powerSupplyStatus & 0x1) == 0) {
            xyratexSetPsuOkLED();
            state.powerSupplyStatus |= 0x1U;
            sendPowerSupplyEvent(1);
        }
    } else if (voltage == FAILED) {
        esaManageCompositeFault(0x1, FAILED);
        if ((state.powerSupplyStatus & 0x1) != 0) {
            xyratexClearPsuOkLED();
            state.powerSupplyStatus &= ~0x1U;
            sendPowerSupplyEvent(2);
        }
    }

    const int redundancy = xyratexReadPowerRedundancyFailStatus();
    if (redundancy == OK) {
        esaManageCompositeFault(0x2, OK);
        if ((state.powerSupplyStatus & 0x2) == 0) {
            xyratexClearPowerRedundancyFailLED();
            state.powerSupplyStatus |= 0x2U;
            sendPowerSupplyEvent(1);
        } else if (xyratexReadAlarmstate() == 2) {
            xyratexSetAlarmState(0);
            if (state.alarmState != 0) {
                state.alarmState = 0;
                sendAlarmEvent(*this, 1);
            }
        }
    } else if (redundancy == FAILED) {
        esaManageCompositeFault(0x2, FAILED);
        if ((state.powerSupplyStatus & 0x2) != 0) {
            xyratexSetPowerRedundancyFailLED();
            state.powerSupplyStatus &= ~0x2U;
            sendPowerSupplyEvent(2);
        }
    }

    const int fans = esaReadFanFailStatus();
    if (fans == OK) {
        esaManageCompositeFault(0x4, OK);
        if ((state.vsc055GPD[6] & 0x80) != 0) {
            xyratexClearFanFailLED();
            trace(function, "Turn [OFF] FAN Fail LED.");
        } else {
            trace(function, "FAN Fail LED already [OFF].");
        }
    } else if (fans == FAILED) {
        esaManageCompositeFault(0x4, FAILED);
        if ((state.vsc055GPD[6] & 0x80) == 0) {
            xyratexSetFanFailLED();
            trace(function, "Turn [ON] FAN Fail LED.");
        } else {
            trace(function, "FAN Fail LED already [ON].");
        }
    }

    state.temperatureSensor[0] = lm75ReadTemperature(0x4C);
    state.temperatureSensor[1] = lm75ReadTemperature(0x4D);
    trace(function, "temperatureSensor[ESA_K_TEMPERATURE_SENSOR_LHS] = [%d] degrees Celsius.",
          state.temperatureSensor[0]);
    trace(function, "temperatureSensor[ESA_K_TEMPERATURE_SENSOR_RHS] = [%d] degrees Celsius.",
          state.temperatureSensor[1]);

    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();

    const std::uint8_t alarm = xyratexReadAlarmstate();
    if (alarm != state.alarmState) {
        state.alarmState = alarm;
        sendAlarmEvent(*this, alarm == 1 || alarm == 4 ? 2 : 1);
    }
}

} // namespace model
