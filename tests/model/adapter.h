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
#include <utility>

#include "world.h"

namespace model {

/** Results of hardware operations and checks. */
inline constexpr int OK = 0;
inline constexpr int BUS_UNUSABLE = 1;
inline constexpr int FAILED = -1;

/** An element record as four bytes, first byte first. */
using Element_t = std::array<std::uint8_t, 4>;
template <std::size_t N>
using Elements_t = std::array<Element_t, N>;
template <std::size_t N>
using Octets_t = std::array<std::uint8_t, N>;
template <std::size_t N>
using Numbers_t = std::array<std::uint32_t, N>;
template <std::size_t N>
using Degrees_t = std::array<std::int16_t, N>;
/** Of the W83782D chips, fields in their declared order. */
using Shadows_t = std::array<Octets_t<23>, 4>;

/** What the adapter remembers, by the names of its control block. Words are numbers, not bytes. */
struct State_t {
#define FIELD(type, name) type name{};
#include "state_fields.def"
#undef FIELD
    std::string socketPath;   /**< the address's path */
    std::string traceModules; /**< names, each with a space behind it */
    Octets_t<4064> esaWorkSpace{};
    Octets_t<8> vsc055GPD{}, vsc055DDP{}, vsc055FSC{}, vsc055PWMC{};
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
    std::optional<State_t> before_;
};

/** An address that stands for the send buffer's in `flink` and `blink`; both sides' streams show this one. */
inline constexpr std::uint32_t SEND_BUFFER_ADDRESS = 0x5E4DB0F5;

inline constexpr const char* ALARM_NAMES[] = {"IDEL_S0",     "FAULT_S1",   "REMIND_S2",  "MUTE_S3",
                                              "CRITICAL_S4", "INVALID_S5", "INVALID_S6", "INVALID_S7"};

/** "ON" or "OFF", as the log has them. */
inline const char* onOff(bool on) {
    return on ? "ON" : "OFF";
}

class Adapter_t {
public:
    explicit Adapter_t(World_t& livedIn) : world_(livedIn) {}

    State_t state;

    // --- process: start-up, main loop, receiving, critical errors, dispatch, message printer ---

    /** The whole process; returns its exit status when it cannot start, else runs until the world ends the life. */
    int main(const std::vector<std::string>& arguments);
    int esaReadI2CData(std::uint8_t address, std::uint8_t reg, std::span<std::uint8_t> data);
    int esaWriteI2CData(std::uint8_t address, std::uint8_t reg, std::uint8_t value);
    /** Stores a value in a shadow, then sends it. */
    int store(std::uint8_t address, std::uint8_t reg, std::uint8_t& shadow, unsigned value);
    /** Reports a critical error. `function` is the reporter; its file is not compared. */
    void esaFault(const char* function, const std::string& message);

    /** A line, or a dump, of the trace log, when the level word asks for it. printf's format. */
    [[gnu::format(printf, 3, 4)]] void trace(const char* function, const char* format, ...);
    void dump(const char* function, const std::string& label, std::span<const std::uint8_t> bytes);

    // --- messaging and policy (pages.cpp, control.cpp, policy.cpp, events.cpp) ---

    void esaManageCompositeFault(std::uint32_t cause, bool good);
    int esaReadFanFailStatus();
    /** An event with these words of its data, by their offsets; the chassis type is in front. */
    void sendEvent(std::uint16_t id, std::uint8_t type,
                   std::initializer_list<std::pair<std::size_t, std::uint32_t>> words);
    void sendPowerSupplyEvent(std::uint8_t type);
    void sendFanEvent();

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

    /** What the chassis in service has of it; the W83782D of the single backplane takes a duty of 0 to 255. */
    int readFan(std::uint8_t fan, std::uint16_t& rpm);
    void loadFan(std::uint8_t fan, std::uint8_t percent, std::uint8_t duty);
    /** False where the alarm is none of this program's; such chassis keep their remembered state too. */
    bool setAlarm(std::uint32_t alarm);
    void readTemperatures(const char* function, bool traced);

    void esaVsc055FanLoadPwm(std::uint8_t fan, std::uint8_t percent);
    void esaVsc055DriveFaultLED(int drive, bool on);
    int esaVsc055ReadPowerRedundancyFailStatus();
    void esaVsc055ClearAlarmStatePowerSupply();
    std::int16_t lm75ReadTemperature(std::uint8_t address);

    std::int16_t esaW83782dReadTemperature(std::uint8_t address, std::uint8_t sensor);
    int esaW83782dReadPowerVoltageToleranceStatus(std::uint8_t address);

    int xyratexIsDrivePresent(int drive);
    void xyratexDriveFaultLED(int drive, bool on);
    int xyratexReadPowerRedundancyFailStatus();
    int xyratexReadPowerVoltageStatus();
    void xyratexSupplyLED(bool good);
    void xyratexRedundancyLED(bool failed);
    void xyratexFanFailLED(bool on);
    void xyratexSetAlarmState(std::uint32_t alarm);
    std::uint8_t xyratexReadAlarmstate();
    /** An alarm in REMIND ends with the redundancy fault that it reminds of. */
    void xyratexEndReminder();

    int chenbroReadPowerVoltageToleranceStatus();

private:
    World_t& world_;
    bool tracing_ = false; /**< bit 0x10 of the level word */

    // --- process ---
    Parameters_t parameters_; /**< the attached block, without its flags */

    void esaInit();
    void sendStartupNotice();
    void waitForRcp();
    void initChassis();
    void mainLoopPass();
    void esaProcessPollTimeout();
    /** A header of 64 bytes, still queued; the bytes that no peek saw are zero. */
    Bytes_t peekHeader();
    void receiveMessage();
    void esaProcMmsgMsg();
    void dispatchReceiveDiagnostic();
    void dispatchSendDiagnostic();
    /** Prints the message field by field. */
    void printMessage(std::span<const std::uint8_t> message);
    /** Sends the first `length` bytes of esaWorkSpace; reports a critical error in the name of `function` otherwise. */
    void sendWorkSpace(std::size_t length, const char* function);
    /** A request to Startup, with its two general-use words. */
    void sendToStartup(const char* function, std::uint32_t opcode, std::uint32_t use1 = 0, std::uint32_t use2 = 0);

    // --- messaging and policy ---

    /** Answers a RECEIVE DIAGNOSTIC RESULTS in `esaInMsg`: page, or sense data (framing and error replies included). */
    void esaSendStatus();
    /** The reply to the command in `esaInMsg`, SEND or RECEIVE DIAGNOSTIC, with its outcome given. */
    void esaSendStatus(std::uint8_t statusCode, std::uint8_t pageCode, std::uint8_t senseKey, std::uint8_t asc,
                       std::uint8_t ascq);
    /** Page 1 or 2; empty when nothing is to be sent. What has to be said to others on the way is sent. */
    Bytes_t buildPage(std::uint8_t pageCode, std::uint32_t allocationLength);
    /** Carries out the control page of the SEND DIAGNOSTIC in `esaInMsg`. */
    void esaProcEncContPage();
    void clearCause(std::uint32_t cause);
    void setCause(std::uint32_t cause);
    void esaSendCompositeFaultMmsgToStartup(bool on);
    void esaTemperatureFanPolicy();
    void esaVsc055TemperatureFanPolicy();
    void esaTemperatureOverheatCheck();
    void esaTemperatureEventLog();

    // --- enclosures ---

    void setCounts(const std::array<std::uint8_t, 4>& devicesSuppliesFansSensors);
    /** Event and cause of a bus that does not answer at start-up; gives BUS_UNUSABLE. */
    int reportBusFault();
    /** What a poll makes of a supply check's result: the bit is cause and memory. */
    void judgeSupply(const char* function, std::uint32_t bit, int result, const char* name, bool tellsChange);
    void judgeFans();
    void pollWinbond(const char* function, int voltages);
    /** Writes a port's shadow with bits set or cleared. */
    void changePort(std::uint8_t port, unsigned bits, bool set);
    /** Writes the ports' directions and reads them back; the code of the first failed read-back. */
    int setVsc055Directions(const char* function, std::uint8_t address);
    int esaVsc055FanReadSpeed(std::uint8_t fan, std::uint16_t& rpm);
    void esaVsc055SetAlarmStateBackplane(std::uint32_t alarm);
    /** Result of reading a port's bit, which is set when all is well; told as the named status, if it has a name. */
    int readStatusBit(const char* function, std::uint8_t address, unsigned bit, const char* name, bool tellsGood);

    void winbondFanLoadPwm(std::uint8_t address, std::uint8_t backplane, std::uint8_t fan, std::uint8_t duty);
    int esaW83782dFanReadSpeed(std::uint8_t address, std::uint8_t fan, std::uint16_t& rpm);
    void esaW83782dFanLoadPwm(std::uint8_t fan, std::uint8_t duty);
    void esaW83782dSetAlarmState(std::uint8_t address, std::uint8_t backplane, std::uint32_t alarm);
    /** Whether the chip answers; its address register goes to the shadow. */
    bool probeWinbond(const char* function, std::uint8_t address, std::uint8_t backplane);
    /** The fourteen limits of one chip, and its temperature limits and alarm output; FAILED at the first failure. */
    int setWinbondVoltageLimits(const char* function, std::uint8_t address, std::uint8_t backplane);
    int setWinbondTemperatureLimits(const char* function, std::uint8_t address, std::uint8_t backplane,
                                    const char* readFailure);

    int chenbroW83782dFanReadSpeed(std::uint8_t fan, std::uint16_t& rpm);
    void chenbroW83782dFanLoadPwm(std::uint8_t fan, std::uint8_t percent);
    void chenbroSetAlarmState(std::uint32_t alarm);
    void chenbroReadWinbondRegisters();
};

} // namespace model
