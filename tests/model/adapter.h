/**
 * The reference model: the adapter's rules as a second pair of eyes reads them, in plain values and containers. It
 * shares nothing with the adapter and is compared with it, step by step: stream and remembered state.
 *
 * Names of operations and of state are the field's; anything else is the model's own.
 */
#pragma once

#include <array>
#include <cstdarg>
#include <map>

#include "world.h"

namespace model {

/** Results of hardware operations and checks. */
inline constexpr int OK = 0;
inline constexpr int BUS_UNUSABLE = 1;
inline constexpr int FAILED = -1;

/** An element record as four bytes, first byte first. */
using Element_t = std::array<std::uint8_t, 4>;

/** What the adapter remembers, by the names of its control block. Words are numbers, not bytes. */
struct State_t {
    std::int32_t socketFdMSM = 0;
    std::string socketPath; /**< the address's path */
    std::int32_t i2cFileFd = 0;
    std::uint8_t enclosureType = 0;
    std::uint8_t i2cAddressVsc055 = 0;
    std::array<std::uint8_t, 4> i2cAddressLM75{};
    std::uint8_t i2cAddressW83782d = 0;
    std::uint8_t elementTypeMaxNumber = 0;
    std::uint8_t deviceMaxNumber = 0;
    std::uint8_t powerSupplyMaxNumber = 0;
    std::uint8_t coolingMaxNumber = 0;
    std::uint8_t temperatureSensorMaxNumber = 0;
    std::uint8_t audibleAlarmMaxNumber = 0;
    std::uint8_t i2cConnected = 0;
    std::uint8_t pageCodeInRecentSndDiagCmd = 0;
    std::array<std::uint8_t, 5> sesTypeDescriptorList{};
    std::uint32_t deviceElementControlOverall = 0;
    std::array<Element_t, 16> deviceElementControl{};
    std::uint32_t deviceElementStatusOverall = 0;
    std::array<Element_t, 16> deviceElementStatus{};
    std::uint32_t driveFaultLedStatus0 = 0;
    std::uint32_t driveFaultLedStatus1 = 0;
    std::uint32_t powerSupplyElementControlOverall = 0;
    std::array<Element_t, 3> powerSupplyElementControl{};
    std::uint32_t powerSupplyElementStatusOverall = 0;
    std::array<Element_t, 3> powerSupplyElementStatus{};
    std::uint32_t powerSupplyStatus = 0;
    std::uint32_t coolingElementControlOverall = 0;
    std::array<Element_t, 8> coolingElementControl{};
    std::uint32_t coolingElementStatusOverall = 0;
    std::array<Element_t, 8> coolingElementStatus{};
    std::array<std::uint8_t, 8> coolingElementOnOff{};
    std::uint32_t fanFaultStatus = 0;
    std::uint32_t fanFaultRpmLimit = 0;
    std::array<std::uint8_t, 8> fanPwmLoad{};
    std::uint32_t temperatureSensorElementControlOverall = 0;
    std::array<Element_t, 4> temperatureSensorElementControl{};
    std::uint32_t temperatureSensorElementStatusOverall = 0;
    std::array<Element_t, 4> temperatureSensorElementStatus{};
    std::array<std::int16_t, 4> temperatureSensor{};
    std::array<std::uint32_t, 4> temperatureReportStatus{};
    std::int16_t temperatureSensorAverage = 0;
    std::uint32_t audibleAlarmElementControlOverall = 0;
    std::array<Element_t, 1> audibleAlarmElementControl{};
    std::uint32_t audibleAlarmElementStatusOverall = 0;
    std::array<Element_t, 1> audibleAlarmElementStatus{};
    std::uint32_t alarmState = 0;
    std::uint32_t compositeFaultStatus = 0;
    std::uint8_t esaDebug = 0;
    std::array<std::uint8_t, 4064> esaInMsg{};
    std::array<std::uint8_t, 4064> esaWorkSpace{};
    std::array<std::uint8_t, 8> vsc055GPD{}, vsc055DDP{}, vsc055FSC{}, vsc055PWMC{};
    std::array<std::array<std::uint8_t, 23>, 4> winbond{}; /**< shadows, fields in their declared order */
    std::uint32_t selectTimeoutSec = 0, selectTimeoutUsec = 0;
    std::uint32_t pollTimeoutSec = 0, pollTimeoutUsec = 0;
};

/**
 * The fields of the remembered state that are not as they were when it was asked for last, at first all, as "name =
 * value" lines: arrays in one line, numbers in hex ("%x"), bytes as hex pairs, esaInMsg without the zeros at its end.
 * Without esaWorkSpace, whose content nobody outside can see.
 */
class Changes_t {
public:
    std::vector<std::string> until(const State_t& now);

private:
    std::optional<State_t> before;
};

/** An address that stands for the send buffer's in `flink` and `blink`; both sides' streams show this one. */
inline constexpr std::uint32_t SEND_BUFFER_ADDRESS = 0x5E4DB0F5;

class Adapter_t {
public:
    explicit Adapter_t(World_t& livedIn) : world(livedIn) {}

    State_t state;

    // --- process (process.cpp): start-up, main loop, receiving, critical errors, dispatch, message printer ---

    /** The whole process; returns its exit status when it cannot start, else runs until the world ends the life. */
    int main(const std::vector<std::string>& arguments);
    void esaInit();
    void mainLoopPass();
    void esaProcessPollTimeout();
    void esaProcMmsgMsg();
    /** Prints the message in `esaInMsg` (or another buffer) field by field. */
    void printMessage(std::span<const std::uint8_t> message);
    int esaReadI2CData(std::uint8_t address, std::uint8_t reg, std::span<std::uint8_t> data);
    int esaWriteI2CData(std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data);
    /** Reports a critical error. `file` is the base name of the source file (not compared), `function` the reporter. */
    void esaFault(const char* function, const std::string& message);
    /** Sends the first `length` bytes of esaWorkSpace; reports a critical error in the name of `function` otherwise. */
    long sendWorkSpace(std::size_t length, const char* function);
    /** The debugging entry point: an SES command to the adapter itself. Nothing in a life calls it. */
    long esaTestMsg(std::uint8_t commandType, std::uint8_t pageCode);

    /** A line, or a dump, of the trace log, when the level word asks for it. printf's format. */
    [[gnu::format(printf, 3, 4)]] void trace(const char* function, const char* format, ...);
    void dump(const char* function, const std::string& label, std::span<const std::uint8_t> bytes);

    // --- messaging and policy (pages.cpp, control.cpp, policy.cpp) ---

    /** Answers a RECEIVE DIAGNOSTIC RESULTS in `esaInMsg`: page, or sense data (framing and error replies included). */
    void esaSendStatus();
    /** The reply to the command in `esaInMsg`, SEND or RECEIVE DIAGNOSTIC, with its outcome given. */
    void esaSendStatus(std::uint8_t statusCode, std::uint8_t pageCode, std::uint8_t senseKey, std::uint8_t asc,
                       std::uint8_t ascq);
    /** Page 1 or 2; empty when nothing is to be sent. What has to be said to others on the way is sent. */
    Bytes_t buildPage(std::uint8_t pageCode, std::uint32_t allocationLength);
    /** Carries out the control page of the SEND DIAGNOSTIC in `esaInMsg`. */
    void esaProcEncContPage();
    int esaManageCompositeFault(std::uint32_t cause, int status);
    int esaSendCompositeFaultMmsgToStartup(int status);
    int esaSendEmailNotificationMmsgToStartup();
    int esaSendOrderlyShutdownMmsgToStartup();
    int esaReadFanFailStatus();
    void esaTemperatureFanPolicy();
    void esaVsc055TemperatureFanPolicy();
    int esaTemperatureOverheatCheck();
    void esaTemperatureEventLog();
    /** `data`: the 84 bytes of the event data. */
    int esaSendEventMmsgToEmp(std::uint16_t eventId, std::uint8_t eventType, std::span<const std::uint8_t> data);
    /** Event data of 84 zero bytes with the chassis type in it; field offsets and big-endian words by setWord(). */
    Bytes_t eventData() const;
    static void setWord(Bytes_t& data, std::size_t offset, std::uint32_t value);

    // --- enclosures (vsc055.cpp, w83782d.cpp, xyratex.cpp, chenbro.cpp) ---

    /** Initialisation and poll of the chassis in service; init gives 0 when it succeeds. */
    int xyratexInit();
    int esaVsc055Init();
    int chenbroInit();
    int esaW83782dInit();
    void xyratexEsaProcessPollTimeout();
    void esaVsc055ProcessPollTimeout();
    void chenbroEsaProcessPollTimeout();
    void esaW83782dProcessPollTimeout();

    int esaVsc055FanReadSpeed(std::uint8_t fan, std::uint16_t& rpm);
    void esaVsc055FanLoadPwm(std::uint8_t fan, std::uint8_t percent);
    int esaVsc055SetDriveFaultLED(int drive);
    int esaVsc055ClearDriveFaultLED(int drive);
    int esaVsc055ReadPowerRedundancyFailStatus();
    void esaVsc055SetAlarmStateBackplane(std::uint32_t alarm);
    void esaVsc055ClearAlarmStatePowerSupply();
    std::uint8_t esaVsc055ReadAlarmState();
    std::int16_t lm75ReadTemperature(std::uint8_t address);

    void winbondFanLoadPwm(std::uint8_t address, std::uint8_t backplane, std::uint8_t fan, std::uint8_t duty);
    int esaW83782dFanReadSpeed(std::uint8_t address, std::uint8_t fan, std::uint16_t& rpm);
    /** Always goes to `i2cAddressW83782d`, whatever `address` says. */
    void esaW83782dFanLoadPwm(std::uint8_t address, std::uint8_t fan, std::uint8_t duty);
    std::int16_t esaW83782dReadTemperature(std::uint8_t address, std::uint8_t sensor);
    int esaW83782dReadPowerVoltageToleranceStatus(std::uint8_t address);
    void esaW83782dSetAlarmState(std::uint8_t address, std::uint8_t backplane, std::uint32_t alarm);
    std::uint8_t esaW83782dReadAlarmState(std::uint8_t address);

    int xyratexIsDrivePresent(int drive);
    int xyratexReadDrivePresence();
    int xyratexSetDriveFaultLED(int drive);
    int xyratexClearDriveFaultLED(int drive);
    int xyratexReadPowerRedundancyFailStatus();
    int xyratexReadPowerVoltageStatus();
    void xyratexSetPowerRedundancyFailLED();
    void xyratexClearPowerRedundancyFailLED();
    void xyratexSetPsuOkLED();
    void xyratexClearPsuOkLED();
    void xyratexSetFanFailLED();
    void xyratexClearFanFailLED();
    void xyratexSetAlarmState(std::uint32_t alarm);
    std::uint8_t xyratexReadAlarmstate();

    int chenbroW83782dFanReadSpeed(std::uint8_t fan, std::uint16_t& rpm);
    void chenbroW83782dFanLoadPwm(std::uint8_t fan, std::uint8_t percent);
    int chenbroReadPowerVoltageToleranceStatus();
    void chenbroSetAlarmState(std::uint32_t alarm);
    std::uint8_t chenbroReadAlarmState();
    void chenbroReadWinbondRegisters();

private:
    // What the drivers share; `function` is the operation that the trace lines belong to.

    /** Event and cause of a bus that does not answer at start-up; gives BUS_UNUSABLE. */
    int reportBusFault();
    void sendPowerSupplyEvent(std::uint8_t eventType);
    /** Writes the ports' directions and reads them back; the code of the first failed read-back. */
    int setVsc055Directions(const char* function, std::uint8_t address);
    /** The fourteen limits of one chip; FAILED at the first failed write. */
    int setWinbondVoltageLimits(const char* function, std::uint8_t address, std::uint8_t backplane);
    /** What a poll makes of a voltage check's result, on chassis with W83782D chips. */
    void judgeWinbondVoltages(const char* function, int result);

    World_t& world;
    bool tracing = false; /**< bit 0x10 of the level word */

    // --- process ---
    Parameters_t parameters; /**< the attached block, without its flags */

    void sendStartupNotice();
    void waitForRcp();
    void initChassis();
    /** A header of 64 bytes, still queued; the bytes that no peek saw are zero. */
    Bytes_t peekHeader();
    void receiveMessage();
    void dispatchReceiveDiagnostic();
    void dispatchSendDiagnostic();
    void traceControlBlock();
};

} // namespace model
