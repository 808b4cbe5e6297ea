/** Start-up, chassis dispatch, I2C access and the poll countdown. */
#include <algorithm>
#include <cstdlib>

#include "adapter.h"
#include "outgoing.h"

namespace model {

namespace {

constexpr std::uint32_t FLAG_RCP_COMPLETE = 0x00000080;
constexpr std::uint32_t FLAG_TRACE = 0x01000000;

/** The key as a 32-bit processor's strtol gives it. */
long parseKey(const std::string& text) {
    return std::clamp<long>(std::strtol(text.c_str(), nullptr, 0), INT32_MIN, INT32_MAX);
}

struct ChassisRow_t {
    const char* name;
    std::uint8_t vsc055 = 0;
    std::array<std::uint8_t, 3> lm75 = {};
    std::uint8_t w83782d = 0;
    const char* title = nullptr; /**< none without a driver */
    int (Adapter_t::*init)() = nullptr;
    void (Adapter_t::*poll)() = nullptr;
};

constexpr std::array<std::uint8_t, 3> SENSORS = {0x4C, 0x4B, 0x4A};

/** By type less 1. */
constexpr ChassisRow_t CHASSIS[] = {
    {"VORAN_E_CHASSIS_NONE"},
    {"VORAN_E_CHASSIS_XYRATEX_2U12ATX",
     0x63,
     {},
     0,
     "Xyratex",
     &Adapter_t::xyratexInit,
     &Adapter_t::xyratexEsaProcessPollTimeout},
    {"VORAN_E_CHASSIS_TELMA_QUADRA", 0x41, SENSORS, 0, "Vsc055 based", &Adapter_t::esaVsc055Init,
     &Adapter_t::esaVsc055ProcessPollTimeout},
    {"VORAN_E_CHASSIS_CHENBRO_3U16ATX",
     0,
     {},
     0,
     "Chenbro",
     &Adapter_t::chenbroInit,
     &Adapter_t::chenbroEsaProcessPollTimeout},
    {"VORAN_E_CHASSIS_VORAN_VSC055", 0x41, SENSORS, 0, "Vsc055 based", &Adapter_t::esaVsc055Init,
     &Adapter_t::esaVsc055ProcessPollTimeout},
    {"VORAN_E_CHASSIS_VORAN_W83782D",
     0,
     {},
     0x28,
     "W83782d based",
     &Adapter_t::esaW83782dInit,
     &Adapter_t::esaW83782dProcessPollTimeout},
};

} // namespace

int Adapter_t::main(const std::vector<std::string>& arguments) {
    world_.standardOutput("main(): Start the Enclosure Services Adapter.");
    if (arguments.size() < 2) {
        world_.standardOutput("main(): Arguments few than 2.\n");
        return 1;
    }
    const std::string progName = arguments[0].substr(arguments[0].rfind('/') + 1);
    const long shmKey = parseKey(arguments[1]);
    if (shmKey <= 99) {
        world_.standardOutput("main(): shared memory key less than 100.\n");
        return 2;
    }
    const std::optional<Parameters_t> attached = world_.attachParameters(shmKey);
    if (!attached) {
        world_.standardError(progName + ": Unable to share parameters.");
        world_.standardError(progName + ": Giving up.");
        return 3;
    }
    parameters_ = *attached;
    tracing_ = (world_.flags() & FLAG_TRACE) != 0;

    esaInit();
    trace("main", "Finish initializing the Enclosure Services Adapter internal data structures.");
    sendStartupNotice();
    trace("main", "ESA finishes initialization and sends the message to the Startup process.");
    waitForRcp();
    initChassis();
    state.selectTimeoutSec = 1;
    state.selectTimeoutUsec = 0;
    for (;;) {
        mainLoopPass();
    }
}

void Adapter_t::sendStartupNotice() {
    sendToStartup("main()", 0x0C000001); // initialisation is complete
}

void Adapter_t::waitForRcp() {
    int rcpWaitRetryCount = 0;
    while (rcpWaitRetryCount <= 17) {
        if ((world_.flags() & FLAG_RCP_COMPLETE) != 0) {
            trace("main", "RCP Complete flag is marked now.");
            break;
        }
        ++rcpWaitRetryCount;
        world_.sleep(10'000'000);
    }
    trace("main", "rcpWaitRetryCount = [%d]", rcpWaitRetryCount);
}

void Adapter_t::initChassis() {
    const ChassisRow_t& row = CHASSIS[state.enclosureType - 1];
    if (row.init == nullptr) {
        sendEvent(10, 1, {{56, 2}}); // the I2C bus is at fault
    } else if ((this->*row.init)() == OK) {
        trace("main", "Finish initializing for the %s Enclosure.", row.title);
    } else {
        trace("main", "Initializing for the %s Enclosure fails.", row.title);
    }
}

void Adapter_t::esaInit() {
    state = State_t{};
    state.traceModules = "ESA ";
    state.esaDebug = 1;
    state.enclosureType = 1;
    state.elementTypeMaxNumber = 5;
    state.deviceMaxNumber = 16;
    state.powerSupplyMaxNumber = 3;
    state.coolingMaxNumber = 8;
    state.temperatureSensorMaxNumber = 4;
    state.audibleAlarmMaxNumber = 1;
    state.pollTimeoutSec = 10;
    trace("esaInit", "esaDebug set to TRUE");
    state.sesTypeDescriptorList = {1, 2, 3, 4, 6};

    state.socketFdMSM = world_.socket();
    if (state.socketFdMSM < 0) {
        esaFault("esaInit()", "Linux socket function fails for ESA socket!");
    }
    // The address holds 108 characters and always ends in a zero.
    state.socketPath = (parameters_.mmsgDirectory + "/esadapter").substr(0, 107);
    if (world_.connect(state.socketFdMSM, state.socketPath, 110) < 0) {
        esaFault("esaInit()", "Linux connect function fails for MSM/ESA socket!");
    }
    trace("esaInit", "Enclosure Services Adapter connects to MSM with socket [%d]", state.socketFdMSM);

    state.i2cFileFd = world_.openI2c("/dev/enc-0");
    if (state.i2cFileFd < 0) {
        trace("esaInit", "Failed to open the i2c device.");
        return;
    }
    trace("esaInit", "oMpuParams->chassisType = [%d]", parameters_.chassisType);
    const bool known = parameters_.chassisType >= 1 && parameters_.chassisType <= 6;
    state.enclosureType = known ? parameters_.chassisType : 1;
    const ChassisRow_t& row = CHASSIS[state.enclosureType - 1];
    state.i2cAddressVsc055 = row.vsc055;
    std::ranges::copy(row.lm75, state.i2cAddressLM75.begin());
    state.i2cAddressW83782d = row.w83782d;
    trace("esaInit", "esaControl.enclosureType = [%s]", row.name);
}

void Adapter_t::esaProcessPollTimeout() {
    const std::int64_t left = (std::int64_t{state.pollTimeoutSec} * 1'000'000) + state.pollTimeoutUsec;
    const std::int64_t pass = (std::int64_t{state.selectTimeoutSec} * 1'000'000) + state.selectTimeoutUsec;
    if (left >= pass) {
        state.pollTimeoutSec = static_cast<std::uint32_t>((left - pass) / 1'000'000);
        state.pollTimeoutUsec = static_cast<std::uint32_t>((left - pass) % 1'000'000);
        return;
    }
    if (state.i2cConnected == 1) {
        (this->*CHASSIS[state.enclosureType - 1].poll)();
    }
    state.pollTimeoutSec = 10;
    state.pollTimeoutUsec = 0;
}

int Adapter_t::esaReadI2CData(std::uint8_t address, std::uint8_t reg, std::span<std::uint8_t> data) {
    if (state.i2cConnected == 0) {
        return BUS_UNUSABLE;
    }
    const I2cResult_t answer = world_.readI2c(state.i2cFileFd, address, reg, static_cast<int>(data.size()));
    std::copy_n(answer.data.begin(), std::min(answer.data.size(), data.size()), data.begin());
    return answer.result == -1 ? FAILED : OK;
}

int Adapter_t::esaWriteI2CData(std::uint8_t address, std::uint8_t reg, std::uint8_t value) {
    if (state.i2cConnected == 0) {
        return BUS_UNUSABLE;
    }
    return world_.writeI2c(state.i2cFileFd, address, reg, {&value, 1}) == -1 ? FAILED : OK;
}

int Adapter_t::store(std::uint8_t address, std::uint8_t reg, std::uint8_t& shadow, unsigned value) {
    shadow = static_cast<std::uint8_t>(value);
    return esaWriteI2CData(address, reg, shadow);
}

void Adapter_t::setCounts(const std::array<std::uint8_t, 4>& devicesSuppliesFansSensors) {
    state.deviceMaxNumber = devicesSuppliesFansSensors[0];
    state.powerSupplyMaxNumber = devicesSuppliesFansSensors[1];
    state.coolingMaxNumber = devicesSuppliesFansSensors[2];
    state.temperatureSensorMaxNumber = devicesSuppliesFansSensors[3];
    state.i2cConnected = 1;
    state.fanFaultRpmLimit = 2000;
}

int Adapter_t::readFan(std::uint8_t fan, std::uint16_t& rpm) {
    switch (state.enclosureType) {
    case 2:
    case 3:
    case 5:
        return esaVsc055FanReadSpeed(fan, rpm);
    case 4:
        return chenbroW83782dFanReadSpeed(fan, rpm);
    case 6:
        return esaW83782dFanReadSpeed(state.i2cAddressW83782d, fan, rpm);
    default:
        return FAILED;
    }
}

void Adapter_t::loadFan(std::uint8_t fan, std::uint8_t percent, std::uint8_t duty) {
    switch (state.enclosureType) {
    case 4:
        chenbroW83782dFanLoadPwm(fan, percent);
        break;
    case 6:
        esaW83782dFanLoadPwm(fan, duty);
        break;
    default:
        esaVsc055FanLoadPwm(fan, percent);
        break;
    }
}

void Adapter_t::readTemperatures(const char* function, bool traced) {
    constexpr std::uint8_t WINBONDS[] = {0x28, 0x2A, 0x2C, 0x30};
    const std::uint8_t type = state.enclosureType;
    const std::uint8_t sensors = type == 1 ? 0 : type == 2 ? 2 : state.temperatureSensorMaxNumber;
    for (std::uint8_t i = 0; i < sensors; ++i) {
        state.temperatureSensor[i] = type == 2   ? lm75ReadTemperature(static_cast<std::uint8_t>(0x4C + i))
                                     : type == 4 ? esaW83782dReadTemperature(WINBONDS[i], 0)
                                     : type == 6 ? esaW83782dReadTemperature(state.i2cAddressW83782d, i)
                                                 : lm75ReadTemperature(state.i2cAddressLM75[i]);
        if (traced && type != 2) {
            trace(function, "temperatureSensor[%d] = [%d] degrees Celsius.", i, state.temperatureSensor[i]);
        }
    }
    for (std::size_t i = 0; traced && type == 2 && i < 2; ++i) {
        trace(function, "temperatureSensor[ESA_K_TEMPERATURE_SENSOR_%s] = [%d] degrees Celsius.",
              i == 0 ? "LHS" : "RHS", state.temperatureSensor[i]);
    }
}

bool Adapter_t::setAlarm(std::uint32_t alarm) {
    switch (state.enclosureType) {
    case 3:
    case 5:
        esaVsc055SetAlarmStateBackplane(alarm);
        break;
    case 4:
        chenbroSetAlarmState(alarm);
        break;
    case 6:
        esaW83782dSetAlarmState(state.i2cAddressW83782d, 0, alarm);
        break;
    default:
        return false;
    }
    state.alarmState = alarm;
    return true;
}

} // namespace model
