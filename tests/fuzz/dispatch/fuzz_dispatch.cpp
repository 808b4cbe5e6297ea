/**
 * Messages to the adapter of each chassis, through its dispatcher, its message printer, the control page and the pages
 * that are built from what a bus answers. An input is the chassis, the alarm's state and the element controls' fill;
 * how many answers of the bus follow, two bytes, and those answers, the byte EE for a failed transfer; then messages,
 * each with two bytes that tell its length. Answers beyond the last are 0.
 *
 * A status request traces 330 lines, and they take ten times what all the rest does. So the chassis byte, whose low
 * four bits choose the chassis, tells what becomes of them: 70 to 7F formatted and written, below that printed but not
 * formatted, above tracing is off.
 */
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>

#include "cheap_trace.h"
#include "esamain.h"
#include "fuzz_input.h"
#include "messaging/dispatch.h"
#include "platform.h"
#include "policy/chassis.h"
#include "trace.h"

namespace {

using fuzz::require;

constexpr std::uint8_t FAILED = 0xEE;
constexpr const char* MODULES[] = {"ESA"};

int switchEnd = -1;
std::vector<std::uint8_t> answers;
std::size_t answered = 0;

std::uint8_t nextAnswer() {
    return answered < answers.size() ? answers[answered++] : 0;
}

void start(std::uint8_t pick, std::uint8_t alarmState, std::uint8_t controls) {
    const S32_t socket = esaControl.socketFdMSM;
    wireClear(esaControl);
    esaControl.socketFdMSM = socket;
    esaSetDimensions({5, 16, 3, 8, 4, 1});
    std::memset(static_cast<void*>(esaControl.deviceElementControl), controls, sizeof(esaControl.deviceElementControl));
    if (const std::size_t row = pick % (chassisTable.size() + 1); row < chassisTable.size()) {
        const Chassis_t& chassis = *chassisTable[row];
        esaControl.enclosureType = chassis.type;
        esaControl.i2cAddressVsc055 = chassis.vsc055Address;
        std::memcpy(esaControl.i2cAddressLM75, chassis.lm75Address, sizeof(chassis.lm75Address));
        esaControl.i2cAddressW83782d = chassis.w83782dAddress;
        esaSetDimensions(chassis.dimensions);
    }
    esaControl.i2cConnected = 1;
    esaControl.fanFaultRpmLimit = 2000;
    esaControl.powerSupplyStatus = 3;
    esaControl.alarmState = alarmState;
}

/** Whatever came in, what goes out is whole messages from the adapter, the reply behind all others. */
void checkSent(const MMCH_t& request) {
    static std::uint8_t stream[65536];
    const ssize_t got = recv(switchEnd, stream, sizeof(stream), MSG_DONTWAIT);
    require(got > 0 || errno == EAGAIN);
    const std::size_t size = got > 0 ? static_cast<std::size_t>(got) : 0;
    for (std::size_t at = 0; at < size;) {
        require(size - at >= 64);
        const std::uint8_t* message = stream + at;
        const std::size_t length = static_cast<std::size_t>(message[10] << 8 | message[11]);
        require(length >= 64 && length <= size - at);
        require(message[8] == 14 && message[9] == 1 && message[16] == 33);
        if (message[17] == 0x40) {
            require(at + length == size && message[18] == request.requestor);
            require(message[12] == request.opcode.request.protocol);
            require(message[39] == message[64]);
        }
        at += length;
    }
}

} // namespace

int read_i2c_data(int, U8_t, U8_t, U8_t* data, int length) {
    const std::uint8_t answer = nextAnswer();
    if (answer == FAILED) {
        return -1;
    }
    std::memset(data, answer, static_cast<std::size_t>(length));
    return length;
}

int write_i2c_data(int, U8_t, U8_t, const U8_t*, int length) {
    return nextAnswer() == FAILED ? -1 : length;
}

// The socket takes everything here, so nothing may end in the fault handler.
void altEventLogM(const EmpEvLogHeader_t*, const MPU_PARAMS_t*) {
    std::abort();
}
void altEventLog(const EmpEvLogHeader_t*, const MPU_PARAMS_t*, S32_t) {
    std::abort();
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    static MPU_PARAMS_t params = {};
    params.version = 15;
    std::strcpy(params.logDirectory, "/dev");
    oMpuParams = &params;
    TRACE__init(&params, "null", 1, MODULES);
    (void)TRACE__setTraceLevel(0, 0x10);
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    esaControl.socketFdMSM = ends[0];
    switchEnd = ends[1];
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input_t input(data, size);
    const std::uint8_t chassis = input.byte();
    const std::uint8_t alarmState = input.byte();
    cheaptrace::linesAreFormatted = chassis >> 4 == 7;
    (void)TRACE__setTraceLevel(0, chassis < 0x80 ? 0x10 : 0);
    start(chassis & 0x0F, alarmState, input.byte());
    answers = input.bytes(input.word());
    answered = 0;
    while (!input.empty()) {
        const std::vector<std::uint8_t> message = input.bytes(input.word());
        const std::size_t taken = std::min(message.size(), sizeof(esaControl.esaInMsg));
        std::copy_n(message.begin(), taken, esaControl.esaInMsg);
        const auto& request = wireAt<MMSG_t>(static_cast<const void*>(esaControl.esaInMsg));
        esaProcMmsgMsg(request);
        checkSent(request.mmch);
    }
    return 0;
}
