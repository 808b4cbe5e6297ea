/**
 * The backplane with one W83782D (chassis 6), and the operations on one such chip that chassis 4 uses too.
 */
#include "adapter.h"

namespace model {
namespace {

// Bytes of a chip's shadow. The limits of the seven voltages are the first fourteen, high and low in turn.
constexpr std::size_t TEMPERATURE_HIGH = 14;
constexpr std::size_t TEMPERATURE_HYSTERESIS = 15;
constexpr std::size_t CONFIGURATION = 16;
constexpr std::size_t SERIAL_BUS_ADDRESS = 17;
constexpr std::size_t BEEP_GPO = 18;
constexpr std::size_t PWM_OUT_2 = 19;
constexpr std::size_t PWM_OUT_1 = 20;
constexpr std::size_t PWM_OUT_3 = 21;

} // namespace

int Adapter_t::esaW83782dReadPowerVoltageToleranceStatus(std::uint8_t address) {
    const char* const function = "esaW83782dReadPowerVoltageToleranceStatus";
    struct Input_t {
        const char* name;
        double (*volts)(double reading);
        double low = -1000; /**< of a judged one */
        double high = 1000;
    };
    static const Input_t inputs[] = {
        {"Vcorea", [](double r) { return r * 0.016; }},
        {"Vinr0", [](double r) { return r * 0.016; }},
        {"+3.3Vin", [](double r) { return r * 0.016; }},
        {"+5Vin", [](double r) { return r * 0.016 * 1.68; }, 4.5, 5.5},
        {"+12Vin", [](double r) { return r * 0.016 * 3.8; }, 10.8, 13.2},
        {"-12Vin", [](double r) { return (r * 0.016 - 2.9000000000000004) / 0.19444444444444442; }},
        {"-5Vin", [](double r) { return (r * 0.016 - 2.4545454545454546) / 0.31818181818181823; }},
    };

    trace(function, "Read Voltage Tolerance, I2C address = [0x%x].", address);
    std::uint8_t reg = 0x20;
    for (const Input_t& input : inputs) {
        std::uint8_t reading = 0;
        if (const int code = esaReadI2CData(address, reg, {&reading, 1}); code != OK) {
            return code;
        }
        const double volts = input.volts(static_cast<double>(reading));
        trace(function, "%s = [%d]%s", input.name, reading, reg++ == 0x20 ? "." : "");
        trace(function, "Converted %s = [%f]V.", input.name, volts);
        if (volts < input.low || volts > input.high) {
            trace(function, "%s low limit = [%f]V. %s high limit = [%f].", input.name, input.low, input.name,
                  input.high);
            trace(function, "Return Power Voltage Tolerance Status [ERROR] because of %s measurement.", input.name);
            return FAILED;
        }
    }
    return OK;
}

int Adapter_t::esaW83782dFanReadSpeed(std::uint8_t address, std::uint8_t fan, std::uint16_t& rpm) {
    const char* const function = "esaW83782dFanReadSpeed";

    trace(function, "Read speed with Fan, I2C address = [0x%x], w83782dFanInx = [%d].", address, fan);
    if (fan > 2) {
        trace(function, "Unsupported Winbond Fan Index = [%d].", fan);
        return FAILED;
    }
    const auto reg = static_cast<std::uint8_t>(0x28 + fan);
    std::uint8_t count = 0;
    if (const int code = esaReadI2CData(address, reg, {&count, 1}); code != OK) {
        return code;
    }
    const auto tell = [&](const char* what, int value) {
        trace(function, "Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x]%s [%d].", address, reg, what, value);
    };
    tell(", read speed value =", count);
    if (count == 255) {
        rpm = 0;
        tell(" has Speed value =", 0);
        return OK;
    }
    rpm = count == 0 ? std::uint16_t{0} : static_cast<std::uint16_t>(1350000 / (count * 2));
    tell(" has RPM", rpm);
    return OK;
}

void Adapter_t::esaW83782dFanLoadPwm(std::uint8_t fan, std::uint8_t duty) {
    static constexpr std::pair<std::size_t, std::uint8_t> OUTPUTS[] = {
        {PWM_OUT_1, 0x5B}, {PWM_OUT_2, 0x5E}, {PWM_OUT_3, 0x5F}};

    trace("esaW83782dFanLoadPwm", "Load PWM Winbond[%d] Percent to Fan [%d]", duty, fan);
    if (fan > 2) {
        trace("esaW83782dFanLoadPwm", "Unsupported Winbond Fan Index = [%d].", fan);
        return;
    }
    store(state.i2cAddressW83782d, OUTPUTS[fan].second, state.winbond[0][OUTPUTS[fan].first], duty);
}

/** Chassis 4 has no more than two fans at a chip. */
void Adapter_t::winbondFanLoadPwm(std::uint8_t address, std::uint8_t backplane, std::uint8_t fan, std::uint8_t duty) {
    trace("winbondFanLoadPwm", "Load PWM Winbond[%d] Percent to Fan [%d]", duty, fan);
    store(address, fan == 0 ? 0x5B : 0x5A, state.winbond[backplane][fan == 0 ? PWM_OUT_1 : PWM_OUT_2], duty);
}

std::int16_t Adapter_t::esaW83782dReadTemperature(std::uint8_t address, std::uint8_t sensor) {
    std::int16_t degrees = 32767;
    if (sensor == 0) {
        std::uint8_t reading = 0;
        if (esaReadI2CData(address, 0x27, {&reading, 1}) != OK) {
            return 32767;
        }
        degrees = static_cast<std::int16_t>((reading & 0x80) != 0 ? reading - 256 : reading);
    }
    trace("esaW83782dReadTemperature", "Temperature Sensor [%d] for I2C address [0x%x] = [%d] degrees Celsius.", sensor,
          state.i2cAddressW83782d, degrees);
    return degrees;
}

void Adapter_t::esaW83782dSetAlarmState(std::uint8_t address, std::uint8_t backplane, std::uint32_t alarm) {
    std::uint8_t& configuration = state.winbond[backplane][CONFIGURATION];
    const unsigned others = configuration & 0xBFU;
    store(address, 0x40, configuration, alarm == 1 ? others : others | 0x40);
    trace("esaW83782dSetAlarmState", "Set Backplane Alarm State to [%s].", ALARM_NAMES[alarm]);
}

void Adapter_t::pollWinbond(const char* function, int voltages) {
    judgeSupply(function, 0x1, voltages, "Power Voltage Tolerance Status", true);
    judgeFans();
    readTemperatures(function, true);
    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();
}

void Adapter_t::esaW83782dProcessPollTimeout() {
    pollWinbond("esaW83782dProcessPollTimeout", esaW83782dReadPowerVoltageToleranceStatus(state.i2cAddressW83782d));
}

bool Adapter_t::probeWinbond(const char* function, std::uint8_t address, std::uint8_t backplane) {
    const I2cResult_t probe = world_.readI2c(state.i2cFileFd, address, 0x48, 1);
    if (!probe.data.empty()) {
        state.winbond[backplane][SERIAL_BUS_ADDRESS] = probe.data[0];
    }
    if (probe.result == -1) {
        trace(function,
              "Read I2C address [0x%x] fails. I2C cable is not connected or wrong enclosure type on Backplane[%d].",
              address, backplane);
        return false;
    }
    trace(function, "Read I2C succeeds. I2C cable is connected");
    state.i2cConnected = 1;
    return true;
}

int Adapter_t::setWinbondVoltageLimits(const char* function, std::uint8_t address, std::uint8_t backplane) {
    static const char* const texts[] = {"Set Vcorea High Limit", "Set Vcorea Low Limit",   "Set Vinr0 High Limit",
                                        "Set Vinr0 Low Limit",   "Set +3.3Vin High Limit", "Set +3.3Vin Low Limit",
                                        "+5Vin High Limit",      "Set +5Vin Low Limit",    "Set +12Vin High Limit",
                                        "Set +12Vin Low Limit",  "Set -12Vin High Limit",  "Set -12Vin Low Limit",
                                        "Set -5Vin High Limit",  "Set -5Vin Low Limit"};
    for (std::size_t limit = 0; limit < 14; ++limit) {
        const std::uint8_t value = limit % 2 == 0 ? 255 : 1;
        if (store(address, static_cast<std::uint8_t>(0x2B + limit), state.winbond[backplane][limit], value) != OK) {
            return FAILED;
        }
        trace(function, "%s = [%d]", texts[limit], value);
    }
    return OK;
}

int Adapter_t::setWinbondTemperatureLimits(const char* function, std::uint8_t address, std::uint8_t backplane,
                                           const char* readFailure) {
    Octets_t<23>& shadow = state.winbond[backplane];
    const auto failed = [&](const char* doing, const char* name) {
        trace(function, "%s %s on Backplane [%d] failed", doing, name, backplane);
        return FAILED;
    };
    if (store(address, 0x39, shadow[TEMPERATURE_HIGH], 60) != OK) {
        return failed("Setting", "temperatureSensor1HighLimitRegister");
    }
    if (store(address, 0x3A, shadow[TEMPERATURE_HYSTERESIS], 127) != OK) {
        return failed("Setting", "temperatureSensor1HysteresisRegister");
    }
    std::uint8_t& beep = shadow[BEEP_GPO];
    if (esaReadI2CData(address, 0x4D, {&beep, 1}) != OK) {
        return failed(readFailure, "fanInOutBeepGpoRegister");
    }
    return store(address, 0x4D, beep, beep | 0x80U) == OK ? OK : failed("Setting", "fanInOutBeepGpoRegister");
}

int Adapter_t::esaW83782dInit() {
    const char* const function = "esaW83782dInit";
    const std::uint8_t address = state.i2cAddressW83782d;

    if (!probeWinbond(function, address, 0)) {
        return reportBusFault();
    }
    setCounts({16, 2, 3, 3});
    if (setWinbondVoltageLimits(function, address, 0) != OK) {
        return FAILED;
    }
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; ++fan) {
        esaW83782dFanLoadPwm(fan, 255);
        state.fanPwmLoad[fan] = 100;
        state.coolingElementOnOff[fan] = 2;
    }
    state.powerSupplyStatus |= 0x1U;
    if (setWinbondTemperatureLimits(function, address, 0, "Setting") != OK) {
        return FAILED;
    }
    setAlarm(3);
    trace(function, "Finish the initialization for the W83782D guideline based enclosure.");
    return OK;
}

} // namespace model
