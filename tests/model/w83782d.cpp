/**
 * The backplane with one W83782D (chassis 6), and the operations on one such chip that chassis 4 uses too.
 */
#include "winbond.h"

namespace model {

int Adapter_t::esaW83782dReadPowerVoltageToleranceStatus(std::uint8_t address) {
    const char* const function = "esaW83782dReadPowerVoltageToleranceStatus";
    struct Input_t {
        std::uint8_t reg;
        const char* name;
        const char* rawEnd;
        double (*volts)(double reading);
        bool judged;
        double low;
        double high;
    };
    static const Input_t INPUTS[] = {
        {0x20, "Vcorea", ".", [](double r) { return r * 0.016; }, false, 0, 0},
        {0x21, "Vinr0", "", [](double r) { return r * 0.016; }, false, 0, 0},
        {0x22, "+3.3Vin", "", [](double r) { return r * 0.016; }, false, 0, 0},
        {0x23, "+5Vin", "", [](double r) { return r * 0.016 * 1.68; }, true, 4.5, 5.5},
        {0x24, "+12Vin", "", [](double r) { return r * 0.016 * 3.8; }, true, 10.8, 13.2},
        {0x25, "-12Vin", "", [](double r) { return (r * 0.016 - 2.9000000000000004) / 0.19444444444444442; }, false, 0,
         0},
        {0x26, "-5Vin", "", [](double r) { return (r * 0.016 - 2.4545454545454546) / 0.31818181818181823; }, false, 0,
         0},
    };

    trace(function, "Read Voltage Tolerance, I2C address = [0x%x].", address);
    for (const Input_t& input : INPUTS) {
        std::uint8_t reading = 0;
        const int code = esaReadI2CData(address, input.reg, {&reading, 1});
        if (code != OK) {
            return code;
        }
        const double volts = input.volts(static_cast<double>(reading));
        trace(function, "%s = [%d]%s", input.name, reading, input.rawEnd);
        trace(function, "Converted %s = [%f]V.", input.name, volts);
        if (input.judged && (volts < input.low || volts > input.high)) {
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
    const int code = esaReadI2CData(address, reg, {&count, 1});
    if (code != OK) {
        return code;
    }
    trace(function, "Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x], read speed value = [%d].", address, reg,
          count);
    if (count == 255) {
        rpm = 0;
        trace(function, "Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x] has Speed value = [0].", address, reg);
        return OK;
    }
    rpm = count == 0 ? std::uint16_t{0} : static_cast<std::uint16_t>(1350000 / (count * 2));
    trace(function, "Fan with I2C address [0x%x], fanSpeedReading Reg [0x%x] has RPM [%d].", address, reg, rpm);
    return OK;
}

void Adapter_t::esaW83782dFanLoadPwm(std::uint8_t /*address*/, std::uint8_t fan, std::uint8_t duty) {
    struct Output_t {
        std::size_t shadow;
        std::uint8_t reg;
    };
    static const Output_t OUTPUTS[] = {{PWM_OUT_1, 0x5B}, {PWM_OUT_2, 0x5E}, {PWM_OUT_3, 0x5F}};

    trace("esaW83782dFanLoadPwm", "Load PWM Winbond[%d] Percent to Fan [%d]", duty, fan);
    if (fan > 2) {
        trace("esaW83782dFanLoadPwm", "Unsupported Winbond Fan Index = [%d].", fan);
        return;
    }
    const Output_t& output = OUTPUTS[fan];
    store(*this, state.i2cAddressW83782d, state.winbond[0][output.shadow], duty, output.reg);
}

void Adapter_t::winbondFanLoadPwm(std::uint8_t address, std::uint8_t backplane, std::uint8_t fan, std::uint8_t duty) {
    struct Output_t {
        std::size_t stored;
        std::size_t sent;
        std::uint8_t reg;
    };
    static const Output_t OUTPUTS[] = {{PWM_OUT_1, PWM_OUT_1, 0x5B},
                                       {PWM_OUT_2, PWM_OUT_2, 0x5A},
                                       {PWM_OUT_3, PWM_OUT_3, 0x5E},
                                       {PWM_OUT_1, PWM_OUT_4, 0x5F}};

    trace("winbondFanLoadPwm", "Load PWM Winbond[%d] Percent to Fan [%d]", duty, fan);
    if (fan > 3 || backplane > 3) {
        trace("winbondFanLoadPwm", "Unsupported Winbond Fan Index = [%d].", fan);
        return;
    }
    const Output_t& output = OUTPUTS[fan];
    state.winbond[backplane][output.stored] = duty;
    esaWriteI2CData(address, output.reg, {&state.winbond[backplane][output.sent], 1});
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
    static const char* const TEXTS[] = {"No action on setting Backplane Alarm State to [IDEL_S0].",
                                        "Set Backplane Alarm State to [FAULT_S1].",
                                        "No action on setting Backplane Alarm State to [REMIND_S2].",
                                        "Set Backplane Alarm State to [MUTE_S3].",
                                        "No action on setting Backplane Alarm State to [CRITICAL_S4].",
                                        "No action on setting Backplane Alarm State to [STATE_S5].",
                                        "No action on setting Backplane Alarm State to [STATE_S6].",
                                        "No action on setting Backplane Alarm State to [STATE_S7]."};
    if (alarm > 7) {
        trace("esaW83782dSetAlarmState", "Set Backplane Alarm State to un-supported value [%d].",
              static_cast<int>(alarm));
        return;
    }
    if ((alarm == 1 || alarm == 3) && backplane < state.winbond.size()) {
        std::uint8_t& configuration = state.winbond[backplane][CONFIGURATION];
        const int others = configuration & 0xBF;
        store(*this, address, configuration, static_cast<std::uint8_t>(alarm == 1 ? others : others | 0x40), 0x40);
    }
    trace("esaW83782dSetAlarmState", "%s", TEXTS[alarm]);
}

void Adapter_t::judgeWinbondVoltages(const char* function, int result) {
    if (result != OK) {
        esaManageCompositeFault(0x01, FAILED);
        if ((state.powerSupplyStatus & 0x1) != 0) {
            trace(function, "Power Voltage Tolerance Status changed from [OK] to [NOT OK].");
            state.powerSupplyStatus &= ~0x1U;
            sendPowerSupplyEvent(2);
        } else {
            trace(function, "Power Voltage Tolerance Status already [NOT OK].");
        }
        return;
    }
    esaManageCompositeFault(0x01, OK);
    if ((state.powerSupplyStatus & 0x1) == 0) {
        trace(function, "Power Voltage Tolerance Status changed from [NOT OK] to [OK].");
        state.powerSupplyStatus |= 0x1U;
        sendPowerSupplyEvent(1);
    } else {
        trace(function, "Power Voltage Tolerance Status already [OK].");
    }
}

void Adapter_t::esaW83782dProcessPollTimeout() {
    const char* const function = "esaW83782dProcessPollTimeout";

    judgeWinbondVoltages(function, esaW83782dReadPowerVoltageToleranceStatus(state.i2cAddressW83782d));
    esaManageCompositeFault(0x04, esaReadFanFailStatus() != 0 ? FAILED : OK);
    for (std::uint8_t sensor = 0; sensor < state.temperatureSensorMaxNumber; ++sensor) {
        state.temperatureSensor[sensor] = esaW83782dReadTemperature(state.i2cAddressW83782d, sensor);
        trace(function, "temperatureSensor[%d] = [%d] degrees Celsius.", sensor, state.temperatureSensor[sensor]);
    }
    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();
}

int Adapter_t::setWinbondVoltageLimits(const char* function, std::uint8_t address, std::uint8_t backplane) {
    static const char* const TEXTS[] = {"Set Vcorea High Limit", "Set Vcorea Low Limit",   "Set Vinr0 High Limit",
                                        "Set Vinr0 Low Limit",   "Set +3.3Vin High Limit", "Set +3.3Vin Low Limit",
                                        "+5Vin High Limit",      "Set +5Vin Low Limit",    "Set +12Vin High Limit",
                                        "Set +12Vin Low Limit",  "Set -12Vin High Limit",  "Set -12Vin Low Limit",
                                        "Set -5Vin High Limit",  "Set -5Vin Low Limit"};
    for (std::size_t limit = 0; limit < 14; ++limit) {
        const std::uint8_t value = limit % 2 == 0 ? 255 : 1;
        std::uint8_t& shadow = state.winbond[backplane][limit];
        if (store(*this, address, shadow, value, static_cast<std::uint8_t>(0x2B + limit)) != OK) {
            return FAILED;
        }
        trace(function, "%s = [%d]", TEXTS[limit], value);
    }
    return OK;
}

int Adapter_t::esaW83782dInit() {
    const char* const function = "esaW83782dInit";
    const std::uint8_t address = state.i2cAddressW83782d;
    std::array<std::uint8_t, 23>& shadow = state.winbond[0];

    const I2cResult_t probe = world.readI2c(state.i2cFileFd, address, 0x48, 1);
    if (!probe.data.empty()) {
        shadow[SERIAL_BUS_ADDRESS] = probe.data[0];
    }
    if (probe.result == -1) {
        trace(function,
              "Read I2C address [0x%x] fails. I2C cable is not connected or wrong enclosure type on Backplane[%d].",
              address, 0);
        return reportBusFault();
    }
    trace(function, "Read I2C succeeds. I2C cable is connected");
    state.i2cConnected = 1;

    if (state.enclosureType == 6) {
        state.elementTypeMaxNumber = 5;
        state.deviceMaxNumber = 16;
        state.powerSupplyMaxNumber = 2;
        state.coolingMaxNumber = 3;
        state.temperatureSensorMaxNumber = 3;
        state.audibleAlarmMaxNumber = 1;
    }
    state.fanFaultRpmLimit = 2000;

    if (setWinbondVoltageLimits(function, address, 0) != OK) {
        return FAILED;
    }
    for (std::uint8_t fan = 0; fan < state.coolingMaxNumber; ++fan) {
        esaW83782dFanLoadPwm(address, fan, 255);
        state.fanPwmLoad[fan] = 100;
        state.coolingElementOnOff[fan] = 2;
    }
    state.powerSupplyStatus |= 0x1U;

    if (store(*this, address, shadow[TEMPERATURE_HIGH], 60, 0x39) != OK) {
        trace(function, "Setting temperatureSensor1HighLimitRegister on Backplane [0] failed");
        return FAILED;
    }
    if (store(*this, address, shadow[TEMPERATURE_HYSTERESIS], 127, 0x3A) != OK) {
        trace(function, "Setting temperatureSensor1HysteresisRegister on Backplane [0] failed");
        return FAILED;
    }
    std::uint8_t& beep = shadow[BEEP_GPO];
    if (esaReadI2CData(address, 0x4D, {&beep, 1}) != OK ||
        store(*this, address, beep, static_cast<std::uint8_t>(beep | 0x80), 0x4D) != OK) {
        trace(function, "Setting fanInOutBeepGpoRegister on Backplane [0] failed");
        return FAILED;
    }
    esaW83782dSetAlarmState(address, 0, 3);
    state.alarmState = 3;
    trace(function, "Finish the initialization for the W83782D guideline based enclosure.");
    return OK;
}

} // namespace model
