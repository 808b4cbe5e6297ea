/**
 * Backplanes with a VSC055 (chassis 3 and 5), its fans on chassis 2 too, and the LM75 sensors.
 */
#include "adapter.h"

namespace model {

void Adapter_t::changePort(std::uint8_t port, unsigned bits, bool set) {
    std::uint8_t& shadow = state.vsc055GPD[port];
    store(state.i2cAddressVsc055, port, shadow, set ? shadow | bits : shadow & ~bits);
}

int Adapter_t::readStatusBit(const char* function, std::uint8_t address, unsigned bit, const char* name,
                             bool tellsGood) {
    std::uint8_t port = 0;
    if (const int code = esaReadI2CData(address, 4, {&port, 1}); code != OK) {
        return code;
    }
    const bool good = (port & bit) != 0;
    if (!good || tellsGood) {
        trace(function, "Return %s Status [%s].", name, good ? "OK" : "ERROR");
    }
    return good ? OK : FAILED;
}

int Adapter_t::setVsc055Directions(const char* function, std::uint8_t address) {
    trace(function, "Setup the data direction for all VSC055 ports.");
    for (int port = 0; port < 8; ++port) {
        const auto reg = static_cast<std::uint8_t>(0x10 + port);
        const std::uint8_t direction = state.vsc055DDP[static_cast<std::size_t>(port)];
        esaWriteI2CData(address, reg, direction);
        trace(function, "ESA internal database, esaControl.vitesse.vsc055DDP[%d] = [0x%x]", port, direction);
        std::uint8_t readBack = 0;
        if (const int code = esaReadI2CData(address, reg, {&readBack, 1}); code != OK) {
            return code;
        }
        trace(function, "Read VSC055_DDP[%d] Register, returned value = [0x%x]", port, readBack);
    }
    return OK;
}

void Adapter_t::esaVsc055FanLoadPwm(std::uint8_t fan, std::uint8_t percent) {
    static const std::map<int, std::uint8_t> codes = {{0, 0x00}, {25, 0x27}, {50, 0x2F}, {75, 0x37}, {100, 0x3F}};

    trace("esaVsc055FanLoadPwm", "Load PWM [%d] Percent to Fan [%d]", percent, fan);
    store(state.i2cAddressVsc055, static_cast<std::uint8_t>(0x98 + fan), state.vsc055PWMC[fan], codes.at(percent));
    if (percent == 0) {
        changePort(1, 1U << fan, false);
    }
}

int Adapter_t::esaVsc055FanReadSpeed(std::uint8_t fan, std::uint16_t& rpm) {
    static const char* const function = "esaVsc055FanReadSpeed";
    static const std::map<int, unsigned> divisors = {{2, 1}, {3, 4}, {5, 2}};

    std::uint8_t value = 0;
    const auto reg = static_cast<std::uint8_t>(0x32 + 4 * fan);
    if (const int code = esaReadI2CData(state.i2cAddressVsc055, reg, {&value, 1}); code != OK) {
        return code;
    }
    trace(function, "Fan [%d] has Vitesse Fan Speed value = [%d].", fan, value);
    if (value == 0xFF) {
        trace(function, "No techometer pulses present, NOT able to read speed for Fan [%d].", fan);
        trace(function, "Return read error for Fan [%d].", fan);
        return FAILED;
    }
    if (value == 0) {
        trace(function, "Fan [%d] has speed [0].", fan);
        rpm = 0;
        return OK;
    }
    rpm = static_cast<std::uint16_t>(1200000U / (value * divisors.at(state.enclosureType)));
    return OK;
}

void Adapter_t::esaVsc055DriveFaultLED(int drive, bool on) {
    const char* const function = on ? "esaVsc055SetDriveFaultLED" : "esaVsc055ClearDriveFaultLED";
    const std::uint8_t port = drive <= 7 ? 6 : 7;
    trace(function, "%s Fault LED on Drive [%d]", on ? "Set" : "Clear", drive);
    changePort(port, 1U << drive % 8, !on);
    trace(function, "vsc055GPD[%d] = [0x%x]", port, state.vsc055GPD[port]);
}

int Adapter_t::esaVsc055ReadPowerRedundancyFailStatus() {
    return readStatusBit("esaVsc055ReadPowerRedundancyFailStatus", state.i2cAddressVsc055, 0x80, "Power Fail", true);
}

void Adapter_t::esaVsc055SetAlarmStateBackplane(std::uint32_t alarm) {
    trace("esaVsc055SetAlarmStateBackplane", "Set Backplane Alarm State to [%s].", ALARM_NAMES[alarm]);
    changePort(4, 0x08, alarm == 1);
}

void Adapter_t::esaVsc055ClearAlarmStatePowerSupply() {
    trace("esaVsc055ClearAlarmStatePowerSupply", "Clear the Alarm on the Power Supply.");
    changePort(4, 0x40, false);
    changePort(4, 0x40, true);
}

std::int16_t Adapter_t::lm75ReadTemperature(std::uint8_t address) {
    std::uint8_t first = 0;
    std::uint8_t second = 0;
    if (esaReadI2CData(address, 0x00, {&first, 1}) != OK || esaReadI2CData(address, 0x00, {&second, 1}) != OK) {
        return 32767;
    }
    const int halfDegrees = ((second * 2) & 0x1FE) | (first >> 7);
    const double degrees = (halfDegrees & 0x100) == 0 ? halfDegrees * 0.5 : halfDegrees * 0.5 - 256;
    return static_cast<std::int16_t>(degrees);
}

int Adapter_t::esaVsc055Init() {
    const char* const function = "esaVsc055Init";

    if (world_.readI2c(state.i2cFileFd, state.i2cAddressVsc055, 0x10, 1).result == -1) {
        trace(function, "Read I2C fails. I2C cable is not connected or wrong enclosure type.");
        return reportBusFault();
    }
    trace(function, "Read I2C succeeds. I2C cable is connected");
    setCounts({16, state.enclosureType == 3 ? std::uint8_t{3} : std::uint8_t{2}, 3, 3});
    state.vsc055DDP = {0x00, 0x00, 0x3F, 0x00, 0xA7, 0x00, 0x00, 0x00};

    changePort(4, 0x10, true);
    state.vsc055GPD[4] |= 0x40;
    setAlarm(3);

    if (const int code = setVsc055Directions(function, state.i2cAddressVsc055); code != OK) {
        return code;
    }
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; ++fan) {
        esaVsc055FanLoadPwm(fan, 50);
        state.fanPwmLoad[fan] = 50;
        state.coolingElementOnOff[fan] = 2;
    }

    // Both ports' patterns go to port 6's register.
    for (const std::uint8_t pattern : {std::uint8_t{0xFF}, std::uint8_t{0x00}, std::uint8_t{0xFF}}) {
        for (const std::size_t port : {6U, 7U}) {
            store(state.i2cAddressVsc055, 0x06, state.vsc055GPD[port], pattern);
        }
        if (pattern == 0x00) {
            world_.sleep(3000000);
        }
    }

    state.powerSupplyStatus |= 0x1 | 0x2;

    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; ++fan) {
        const std::uint8_t configuration = state.enclosureType == 3 ? 0x82 : 0x81;
        trace(function, "Initialize vsc055FSC[%d] Register with value = [0x%x]", fan, configuration);
        store(state.i2cAddressVsc055, static_cast<std::uint8_t>(0x30 + 4 * fan), state.vsc055FSC[fan], configuration);
    }
    return OK;
}

void Adapter_t::esaVsc055ProcessPollTimeout() {
    const char* const function = "esaVsc055ProcessPollTimeout";

    judgeSupply(function, 0x2, esaVsc055ReadPowerRedundancyFailStatus(), "Power Redundancy Status", false);
    judgeFans();
    readTemperatures(function, true);
    esaVsc055TemperatureFanPolicy();
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();

    trace("esaVsc055ReadAlarmState", "Read the Alarm State as [%s].", ALARM_NAMES[state.alarmState]);
    trace(function, "Alarm State is set to [%s].", ALARM_NAMES[state.alarmState]);
}

} // namespace model
