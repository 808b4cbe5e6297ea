/**
 * The Xyratex 2U12 (chassis 2): a VSC055 at 0x63 and two LM75 sensors.
 */
#include "adapter.h"

namespace model {
namespace {

constexpr std::uint8_t CHIP = 0x63;

/** A drive's bit, and the ports of its fault LED and its presence. */
struct Slot_t {
    unsigned bit;
    std::uint8_t ledPort;
    std::uint8_t presencePort;
};

std::optional<Slot_t> slotOf(int drive) {
    if (drive > 11) {
        return std::nullopt;
    }
    return drive <= 7 ? Slot_t{1U << drive, 7, 0} : Slot_t{1U << (drive - 8), 6, 3};
}

} // namespace

void Adapter_t::xyratexDriveFaultLED(int drive, bool on) {
    const char* const function = on ? "xyratexSetDriveFaultLED" : "xyratexClearDriveFaultLED";
    trace(function, "%s Fault LED on Drive [%d]", on ? "Set" : "Clear", drive);
    if (const std::optional<Slot_t> slot = slotOf(drive)) {
        changePort(slot->ledPort, slot->bit, !on);
    } else {
        trace(function, "Un-supported Drive Number = [%d]", drive);
    }
}

int Adapter_t::xyratexIsDrivePresent(int drive) {
    const std::optional<Slot_t> slot = slotOf(drive);
    if (!slot) {
        trace("xyratexIsDrivePresent", "Un-supported Drive Number = [%d]", drive);
        return FAILED;
    }
    std::uint8_t port = 0;
    if (const int code = esaReadI2CData(CHIP, slot->presencePort, {&port, 1}); code != OK) {
        return code;
    }
    const bool present = (port & slot->bit) == 0;
    trace("xyratexIsDrivePresent", "Drive in Slot [%d] is %spresent.", drive, present ? "" : "NOT ");
    return present ? OK : FAILED;
}

int Adapter_t::xyratexReadPowerVoltageStatus() {
    return readStatusBit("xyratexReadPowerVoltageStatus", CHIP, 0x10, "Power Voltage", false);
}

int Adapter_t::xyratexReadPowerRedundancyFailStatus() {
    return readStatusBit("xyratexReadPowerRedundancyFailStatus", CHIP, 0x20, "Power Redundancy Fail", true);
}

void Adapter_t::xyratexSupplyLED(bool good) {
    trace(good ? "xyratexSetPsuOkLED" : "xyratexClearPsuOkLED", "Turn [%s] PSU_OK LED.", onOff(good));
    changePort(6, 0x20, good);
}

void Adapter_t::xyratexRedundancyLED(bool failed) {
    trace(failed ? "xyratexSetPowerRedundancyFailLED" : "xyratexClearPowerRedundancyFailLED",
          "Turn [%s] Power Redundancy Fail LED.", onOff(failed));
    changePort(6, 0x40, failed);
}

void Adapter_t::xyratexFanFailLED(bool on) {
    trace(on ? "xyratexSetFanFailLED" : "xyratexClearFanFailLED", "Turn [%s] FAN_FAIL LED.", onOff(on));
    changePort(6, 0x80, on);
}

void Adapter_t::xyratexSetAlarmState(std::uint32_t alarm) {
    trace("xyratexSetAlarmState", "Set the Alarm State to [%s].", ALARM_NAMES[alarm]);
    store(CHIP, 5, state.vsc055GPD[5], (state.vsc055GPD[5] & 0xF0U) | alarm | 0x08);
    changePort(5, 0x08, false);
}

std::uint8_t Adapter_t::xyratexReadAlarmstate() {
    unsigned alarm = 0;
    for (unsigned select = 0; select < 3; ++select) {
        store(CHIP, 5, state.vsc055GPD[5], (state.vsc055GPD[5] & 0xF8U) | select);
        std::uint8_t port = 0;
        if (esaReadI2CData(CHIP, 5, {&port, 1}) == OK && (port & 0x10) != 0) {
            alarm |= 1U << select;
        }
    }
    trace("xyratexReadAlarmstate", "Read the Alarm State as [%s].", ALARM_NAMES[alarm]);
    return static_cast<std::uint8_t>(alarm);
}

void Adapter_t::xyratexEndReminder() {
    if (xyratexReadAlarmstate() != 2) {
        return;
    }
    xyratexSetAlarmState(0);
    if (state.alarmState != 0) {
        state.alarmState = 0;
        sendEvent(9, 1, {{20, state.audibleAlarmMaxNumber}, {52, 0}});
    }
}

int Adapter_t::xyratexInit() {
    const char* const function = "xyratexInit";

    if (world_.readI2c(state.i2cFileFd, CHIP, 0x10, 1).result == -1) {
        trace(function, "Read I2C fails. I2C cable is not connected or wrong enclosure type.");
        return reportBusFault();
    }
    trace(function, "Read I2C succeeds. I2C cable is connected");
    setCounts({12, 2, 8, 2});
    state.vsc055DDP = {0xFF, 0x00, 0xFF, 0x0F, 0x30, 0x10, 0x00, 0x00};
    if (const int code = setVsc055Directions(function, CHIP); code != OK) {
        return code;
    }

    for (std::uint8_t group = 0; group < 2; ++group) {
        esaVsc055FanLoadPwm(group, 25);
        state.fanPwmLoad[group] = 25;
    }
    const struct {
        std::uint8_t port4, port6, port7;
    } patterns[] = {{0xFC, 0x0F, 0xFF}, {0xFE, 0xF0, 0x00}, {0xFC, 0x2F, 0xFF}};
    for (const auto& pattern : patterns) {
        if (&pattern != patterns) {
            world_.sleep(3000000);
        }
        store(CHIP, 4, state.vsc055GPD[4], pattern.port4);
        store(CHIP, 6, state.vsc055GPD[6], pattern.port6);
        store(CHIP, 7, state.vsc055GPD[7], pattern.port7);
    }

    state.powerSupplyStatus |= 0x1 | 0x2;
    for (std::size_t fan = 0; fan < 8; ++fan) {
        trace(function, "Initialize VSC055_FSC[%d] Register with value = [0x80]", static_cast<int>(fan));
        store(CHIP, static_cast<std::uint8_t>(0x30 + 4 * fan), state.vsc055FSC[fan], 0x80);
    }
    xyratexSetAlarmState(0);
    return OK;
}

void Adapter_t::xyratexEsaProcessPollTimeout() {
    const char* const function = "xyratexEsaProcessPollTimeout";

    /** True when what is remembered has to change. */
    const auto judge = [this](std::uint32_t bit, bool good) {
        esaManageCompositeFault(bit, good);
        return ((state.powerSupplyStatus & bit) != 0) != good;
    };
    const auto tell = [this](std::uint32_t bit, bool good) {
        state.powerSupplyStatus ^= bit;
        sendPowerSupplyEvent(good ? 1 : 2);
    };
    const bool voltage = xyratexReadPowerVoltageStatus() == OK;
    if (judge(0x1, voltage)) {
        xyratexSupplyLED(voltage);
        tell(0x1, voltage);
    }
    const bool redundant = xyratexReadPowerRedundancyFailStatus() == OK;
    if (judge(0x2, redundant)) {
        xyratexRedundancyLED(!redundant);
        tell(0x2, redundant);
    } else if (redundant) {
        xyratexEndReminder();
    }

    const bool failed = esaReadFanFailStatus() != OK;
    esaManageCompositeFault(0x4, !failed);
    if (((state.vsc055GPD[6] & 0x80) != 0) != failed) {
        xyratexFanFailLED(failed);
        trace(function, "Turn [%s] FAN Fail LED.", onOff(failed));
    } else {
        trace(function, "FAN Fail LED already [%s].", onOff(failed));
    }

    readTemperatures(function, true);
    esaTemperatureFanPolicy();
    esaTemperatureEventLog();
    esaTemperatureOverheatCheck();

    const std::uint8_t alarm = xyratexReadAlarmstate();
    if (alarm != state.alarmState) {
        state.alarmState = alarm;
        sendEvent(9, alarm == 1 || alarm == 4 ? 2 : 1, {{20, state.audibleAlarmMaxNumber}, {52, state.alarmState}});
    }
}

} // namespace model
