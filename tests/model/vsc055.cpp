/**
 * Backplanes with a VSC055 (chassis 3 and 5), its fans on chassis 2 too, and the LM75 sensors.
 */
#include "adapter.h"

#include <iterator>

namespace model {
namespace {

std::span<const std::uint8_t> one(const std::uint8_t& byte) {
    return {&byte, 1};
}

void setBits(std::uint8_t& byte, unsigned bits) {
    byte = static_cast<std::uint8_t>(byte | bits);
}

void clearBits(std::uint8_t& byte, unsigned bits) {
    byte = static_cast<std::uint8_t>(byte & ~bits);
}

/** Sends a port's shadow to its own register. */
void writePort(Adapter_t& adapter, std::uint8_t port) {
    adapter.esaWriteI2CData(adapter.state.i2cAddressVsc055, port, one(adapter.state.vsc055GPD[port]));
}

/** Port and bit of a drive's fault LED. */
struct Led_t {
    std::uint8_t port;
    unsigned bit;
};

/** Nothing for a drive that this chassis has not. */
std::optional<Led_t> driveLed(const State_t& state, int drive) {
    if (drive < 0 || drive >= state.deviceMaxNumber || drive > 15) {
        return std::nullopt;
    }
    return drive <= 7 ? Led_t{6, 1U << drive} : Led_t{7, 1U << (drive - 8)};
}

} // namespace

int Adapter_t::reportBusFault() {
    Bytes_t data = eventData();
    setWord(data, 56, 2);
    esaSendEventMmsgToEmp(10, 2, data);
    esaManageCompositeFault(0x10, FAILED);
    return BUS_UNUSABLE;
}

void Adapter_t::sendPowerSupplyEvent(std::uint8_t eventType) {
    Bytes_t data = eventData();
    setWord(data, 8, state.powerSupplyMaxNumber);
    setWord(data, 32, state.powerSupplyStatus);
    esaSendEventMmsgToEmp(6, eventType, data);
}

int Adapter_t::setVsc055Directions(const char* function, std::uint8_t address) {
    trace(function, "Setup the data direction for all VSC055 ports.");
    for (int port = 0; port < 8; ++port) {
        const auto reg = static_cast<std::uint8_t>(0x10 + port);
        const std::uint8_t& direction = state.vsc055DDP[static_cast<std::size_t>(port)];
        esaWriteI2CData(address, reg, one(direction));
        trace(function, "ESA internal database, esaControl.vitesse.vsc055DDP[%d] = [0x%x]", port, direction);
        std::uint8_t readBack = 0;
        const int code = esaReadI2CData(address, reg, {&readBack, 1});
        if (code != OK) {
            return code;
        }
        trace(function, "Read VSC055_DDP[%d] Register, returned value = [0x%x]", port, readBack);
    }
    return OK;
}

void Adapter_t::esaVsc055FanLoadPwm(std::uint8_t fan, std::uint8_t percent) {
    static const std::map<int, std::uint8_t> CODES = {{0, 0x00}, {25, 0x27}, {50, 0x2F}, {75, 0x37}, {100, 0x3F}};

    trace("esaVsc055FanLoadPwm", "Load PWM [%d] Percent to Fan [%d]", percent, fan);
    const auto code = CODES.find(percent);
    if (code == CODES.end()) {
        trace("esaVsc055FanLoadPwm", "Un-supported PWM Percentage [%d]", percent);
        return;
    }
    if (fan > 7) {
        return;
    }
    state.vsc055PWMC[fan] = code->second;
    esaWriteI2CData(state.i2cAddressVsc055, static_cast<std::uint8_t>(0x98 + fan), one(state.vsc055PWMC[fan]));
    if (percent == 0) {
        clearBits(state.vsc055GPD[1], 1U << fan);
        writePort(*this, 1);
    }
}

int Adapter_t::esaVsc055FanReadSpeed(std::uint8_t fan, std::uint16_t& rpm) {
    static const std::map<int, unsigned> DIVISORS = {{2, 1}, {3, 4}, {5, 2}};

    const auto divisor = DIVISORS.find(state.enclosureType);
    if (divisor == DIVISORS.end() || fan > 7) {
        return FAILED;
    }
    std::uint8_t value = 0;
    const int code = esaReadI2CData(state.i2cAddressVsc055, static_cast<std::uint8_t>(0x32 + 4 * fan), {&value, 1});
    if (code != OK) {
        return code;
    }
    trace("esaVsc055FanReadSpeed", "Fan [%d] has Vitesse Fan Speed value = [%d].", fan, value);
    if (value == 0xFF) {
        trace("esaVsc055FanReadSpeed", "No techometer pulses present, NOT able to read speed for Fan [%d].", fan);
        trace("esaVsc055FanReadSpeed", "Return read error for Fan [%d].", fan);
        return FAILED;
    }
    if (value == 0) {
        trace("esaVsc055FanReadSpeed", "Fan [%d] has speed [0].", fan);
        rpm = 0;
        return OK;
    }
    rpm = static_cast<std::uint16_t>(1200000U / (value * divisor->second));
    return OK;
}

int Adapter_t::esaVsc055SetDriveFaultLED(int drive) {
    trace("esaVsc055SetDriveFaultLED", "Set Fault LED on Drive [%d]", drive);
    const std::optional<Led_t> led = driveLed(state, drive);
    if (!led) {
        trace("esaVsc055SetDriveFaultLED", "Un-supported Drive Number = [%d]", drive);
        return FAILED;
    }
    clearBits(state.vsc055GPD[led->port], led->bit);
    writePort(*this, led->port);
    trace("esaVsc055SetDriveFaultLED", "vsc055GPD[%d] = [0x%x]", led->port, state.vsc055GPD[led->port]);
    return OK;
}

int Adapter_t::esaVsc055ClearDriveFaultLED(int drive) {
    trace("esaVsc055ClearDriveFaultLED", "Clear Fault LED on Drive [%d]", drive);
    const std::optional<Led_t> led = driveLed(state, drive);
    if (!led) {
        trace("esaVsc055ClearDriveFaultLED", "Un-supported Drive Number = [%d]", drive);
        return FAILED;
    }
    setBits(state.vsc055GPD[led->port], led->bit);
    writePort(*this, led->port);
    trace("esaVsc055ClearDriveFaultLED", "vsc055GPD[%d] = [0x%x]", led->port, state.vsc055GPD[led->port]);
    return OK;
}

int Adapter_t::esaVsc055ReadPowerRedundancyFailStatus() {
    std::uint8_t port = 0;
    const int code = esaReadI2CData(state.i2cAddressVsc055, 0x04, {&port, 1});
    if (code != OK) {
        return code;
    }
    if ((port & 0x80) != 0) {
        trace("esaVsc055ReadPowerRedundancyFailStatus", "Return Power Fail Status [OK].");
        return OK;
    }
    trace("esaVsc055ReadPowerRedundancyFailStatus", "Return Power Fail Status [ERROR].");
    return FAILED;
}

void Adapter_t::esaVsc055SetAlarmStateBackplane(std::uint32_t alarm) {
    static const char* const NAMES[] = {"IDEL_S0",     "FAULT_S1", "REMIND_S2", "MUTE_S3",
                                        "CRITICAL_S4", "STATE_S5", "STATE_S6",  "STATE_S7"};
    if (alarm > 7) {
        trace("esaVsc055SetAlarmStateBackplane", "Set Backplane Alarm State to un-supported value [%d].",
              static_cast<int>(alarm));
        return;
    }
    trace("esaVsc055SetAlarmStateBackplane", "Set Backplane Alarm State to [%s].", NAMES[alarm]);
    if (alarm == 1) {
        setBits(state.vsc055GPD[4], 0x08);
        writePort(*this, 4);
    } else if (alarm == 3) {
        clearBits(state.vsc055GPD[4], 0x08);
        writePort(*this, 4);
    }
}

void Adapter_t::esaVsc055ClearAlarmStatePowerSupply() {
    trace("esaVsc055ClearAlarmStatePowerSupply", "Clear the Alarm on the Power Supply.");
    clearBits(state.vsc055GPD[4], 0x40);
    writePort(*this, 4);
    setBits(state.vsc055GPD[4], 0x40);
    writePort(*this, 4);
}

std::uint8_t Adapter_t::esaVsc055ReadAlarmState() {
    static const char* const NAMES[] = {"IDEL_S0",     "FAULT_S1",   "REMIND_S2",  "MUTE_S3",
                                        "CRITICAL_S4", "INVALID_S5", "INVALID_S6", "INVALID_S7"};
    if (state.alarmState > 7) {
        trace("esaVsc055ReadAlarmState", "Read the Alarm State as un-supported value [%d].",
              static_cast<int>(state.alarmState));
    } else {
        trace("esaVsc055ReadAlarmState", "Read the Alarm State as [%s].", NAMES[state.alarmState]);
    }
    return static_cast<std::uint8_t>(state.alarmState & 0xFF);
}

std::int16_t Adapter_t::lm75ReadTemperature(std::uint8_t address) {
    std::uint8_t first = 0;
    if (esaReadI2CData(address, 0x00, {&first, 1}) != OK) {
        return 32767;
    }
    std::uint8_t second = 0;
    if (esaReadI2CData(address, 0x00, {&second, 1}) != OK) {
        return 32767;
    }
    const int halfDegrees = ((second * 2) & 0x1FE) | (first >> 7);
    const double degrees = (halfDegrees & 0x100) == 0 ? halfDegrees * 0.5 : halfDegrees * 0.5 - 256;
    return static_cast<std::int16_t>(degrees);
}

int Adapter_t::esaVsc055Init() {
    const char* const function = "esaVsc055Init";

    if (world.readI2c(state.i2cFileFd, state.i2cAddressVsc055, 0x10, 1).result == -1) {
        trace(function, "Read I2C fails. I2C cable is not connected or wrong enclosure type.");
        return reportBusFault();
    }
    trace(function, "Read I2C succeeds. I2C cable is connected");
    state.i2cConnected = 1;

    if (state.enclosureType == 3 || state.enclosureType == 5) {
        state.elementTypeMaxNumber = 5;
        state.deviceMaxNumber = 16;
        state.powerSupplyMaxNumber = state.enclosureType == 3 ? 3 : 2;
        state.coolingMaxNumber = 3;
        state.temperatureSensorMaxNumber = 3;
        state.audibleAlarmMaxNumber = 1;
    }
    state.fanFaultRpmLimit = 2000;
    state.vsc055DDP = {0x00, 0x00, 0x3F, 0x00, 0xA7, 0x00, 0x00, 0x00};

    setBits(state.vsc055GPD[4], 0x10);
    writePort(*this, 4);
    setBits(state.vsc055GPD[4], 0x40);
    esaVsc055SetAlarmStateBackplane(3);
    state.alarmState = 3;

    const int code = setVsc055Directions(function, state.i2cAddressVsc055);
    if (code != OK) {
        return code;
    }

    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; ++fan) {
        esaVsc055FanLoadPwm(fan, 50);
        state.fanPwmLoad[fan] = 50;
        state.coolingElementOnOff[fan] = 2;
    }

    // Both ports' patterns go to port 6's register.
    const auto lampWrite = [this](std::size_t port) {
        esaWriteI2CData(state.i2cAddressVsc055, 0x06, one(state.vsc055GPD[port]));
    };
    state.vsc055GPD[6] = 0xFF;
    lampWrite(6);
    state.vsc055GPD[7] = 0xFF;
    lampWrite(7);
    state.vsc055GPD[6] = 0x00;
    state.vsc055GPD[7] = 0x00;
    lampWrite(6);
    lampWrite(7);
    world.sleep(3000000);
    state.vsc055GPD[6] = 0xFF;
    state.vsc055GPD[7] = 0xFF;
    lampWrite(6);
    lampWrite(7);

    state.powerSupplyStatus |= 0x1 | 0x2;

    static const std::map<int, std::uint8_t> SPEED_CONFIGURATIONS = {{2, 0x80}, {3, 0x82}, {5, 0x81}};
    const auto speedConfiguration = SPEED_CONFIGURATIONS.find(state.enclosureType);
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; ++fan) {
        if (speedConfiguration != SPEED_CONFIGURATIONS.end()) {
            state.vsc055FSC[fan] = speedConfiguration->second;
        }
        trace(function, "Initialize vsc055FSC[%d] Register with value = [0x%x]", fan, state.vsc055FSC[fan]);
        esaWriteI2CData(state.i2cAddressVsc055, static_cast<std::uint8_t>(0x30 + 4 * fan), one(state.vsc055FSC[fan]));
    }
    return OK;
}

void Adapter_t::esaVsc055ProcessPollTimeout() {
    const char* const function = "esaVsc055ProcessPollTimeout";

    const int redundancy = esaVsc055ReadPowerRedundancyFailStatus();
    if (redundancy == OK) {
        esaManageCompositeFault(0x2, OK);
        if ((state.powerSupplyStatus & 0x2) == 0) {
            state.powerSupplyStatus |= 0x2U;
            sendPowerSupplyEvent(1);
        } else {
            trace(function, "Power Redundancy Status already [OK].");
        }
    } else if (redundancy == FAILED) {
        esaManageCompositeFault(0x2, FAILED);
        if ((state.powerSupplyStatus & 0x2) != 0) {
            state.powerSupplyStatus &= ~0x2U;
            sendPowerSupplyEvent(2);
        } else {
            trace(function, "Power Redundancy Status already [NOT OK].");
        }
    }

    esaManageCompositeFault(0x4, esaReadFanFailStatus() == 0 ? OK : FAILED);

    for (std::size_t sensor = 0; sensor < state.temperatureSensorMaxNumber; ++sensor) {
        state.temperatureSensor[sensor] = lm75ReadTemperature(state.i2cAddressLM75[sensor]);
        trace(function, "temperatureSensor[%d] = [%d] degrees Celsius.", static_cast<int>(sensor),
              state.temperatureSensor[sensor]);
    }

    esaVsc055TemperatureFanPolicy();
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();

    static const char* const NAMES[] = {"IDEL_S0",     "FAULT_S1", "REMIND_S2", "MUTE_S3",
                                        "CRITICAL_S4", "STATE_S5", "STATE_S6",  "STATE_S7"};
    const std::uint8_t alarm = esaVsc055ReadAlarmState();
    if (alarm < std::size(NAMES)) {
        trace(function, "Alarm State is set to [%s].", NAMES[alarm]);
    } else {
        trace(function, "Alarm State is set to un-supported value [%d].", alarm);
    }
}

} // namespace model
