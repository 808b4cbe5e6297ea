#include "real_adapter.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "esamain.h"
#include "mpu_gbl.h"
#include "real_calls.h"
#include "trace.h"
#include "trace_log.h"

namespace model {
namespace {

MPU_PARAMS_t block;
jmp_buf endOfLife;

void fillBlock(const Life_t& life) {
    block = {};
    block.version = life.attach == Attach_e::OTHER_VERSION ? 14 : 15;
    block.flags = life.flags;
    block.chassisType = life.chassis;
    std::memcpy(block.mmsgDirectory, life.directory.data(), std::min(life.directory.size(), std::size_t{128}));
    std::strcpy(block.logDirectory, "/log");
}

/** A process starts with nothing remembered. */
void forgetAll() {
    wireClear(esaControl);
    oMpuParams = nullptr;
    shmKey = 0;
    ProgName = nullptr;
}

void traceWritten(std::string_view piece) {
    TracePiece_t taken = takeApart(piece);
    hideAddressInDump(taken.text, sendBufferAddress());
    currentWorld().trace(taken.function, taken.text);
}

/** A stream that hands on every piece as it is flushed. */
template <void (*HANDLER)(std::string_view)>
FILE* streamTo() {
    const cookie_io_functions_t functions = {.read = nullptr,
                                             .write = [](void*, const char* bytes, std::size_t size) -> ssize_t {
                                                 HANDLER({bytes, size});
                                                 return static_cast<ssize_t>(size);
                                             },
                                             .seek = nullptr,
                                             .close = nullptr};
    return fopencookie(nullptr, "w", functions);
}

/** While it lives, the process' output goes to the world. */
class OutputToWorld_t {
public:
    OutputToWorld_t() : keptOut_(stdout), keptError_(stderr) {
        stdout = out;
        stderr = error;
    }
    OutputToWorld_t(const OutputToWorld_t&) = delete;
    OutputToWorld_t& operator=(const OutputToWorld_t&) = delete;
    ~OutputToWorld_t() {
        (void)std::fflush(out);
        stdout = keptOut_;
        stderr = keptError_;
    }

private:
    static FILE* unbuffered(FILE* stream) {
        (void)std::setvbuf(stream, nullptr, _IONBF, 0);
        return stream;
    }

    // Like a pipe, it has what is written when that is flushed.
    static inline FILE* const out = streamTo<[](std::string_view piece) { currentWorld().standardOutput(piece); }>();
    static inline FILE* const error = unbuffered(streamTo<[](std::string_view piece) {
        if (!attaching()) { // how the library words its own reports is not the adapter's
            currentWorld().standardError(piece);
        }
    }>());
    FILE* keptOut_;
    FILE* keptError_;
};

/** Arrays are copied byte by byte, numbers as numbers: the two declarations of a field must agree about it. */
template <typename To, typename From>
void take(To& to, const From& from) {
    static_assert(sizeof(To) == sizeof(From));
    if constexpr (std::is_integral_v<To>) {
        to = static_cast<To>(from);
    } else {
        std::memcpy(static_cast<void*>(&to), static_cast<const void*>(&from), sizeof(to));
    }
}

/** Returns the exit status; none when the world ended the life. */
std::optional<int> run(const Life_t& life) {
    std::vector<std::string> arguments = life.arguments;
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    // The adapter never returns from its loop: the world's end jumps out of it.
    if (setjmp(endOfLife) != 0) {
        return std::nullopt;
    }
    const int status = esaMain(static_cast<int>(life.arguments.size()), argv.data());
    (void)std::fflush(stdout); // as the process' end does
    return status;
}

} // namespace

FILE* openTraceLog() {
    return streamTo<traceWritten>();
}

MPU_PARAMS_t& sharedBlock() {
    return block;
}

std::uint32_t sendBufferAddress() {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
}

[[noreturn]] void leaveLife() {
    longjmp(endOfLife, 1);
}

State_t realState() {
    State_t state;
#define FIELD(type, name) take(state.name, esaControl.name);
#include "state_fields.def"
#undef FIELD
    take(state.esaWorkSpace, esaControl.esaWorkSpace);
    const char* path = esaControl.socketAddressMSM.sun_path;
    state.socketPath.assign(path, strnlen(path, sizeof(esaControl.socketAddressMSM.sun_path)));
    for (int i = 0; i < traceData.numModLevels; ++i) {
        state.traceModules += std::string(traceData.modNames[i]) + " ";
    }
    take(state.vsc055GPD, esaControl.vitesse.vsc055GPD);
    take(state.vsc055DDP, esaControl.vitesse.vsc055DDP);
    take(state.vsc055FSC, esaControl.vitesse.vsc055FSC);
    take(state.vsc055PWMC, esaControl.vitesse.vsc055PWMC);
    state.selectTimeoutSec = esaControl.selectTimeout.sec;
    state.selectTimeoutUsec = esaControl.selectTimeout.usec;
    state.pollTimeoutSec = esaControl.pollTimeout.sec;
    state.pollTimeoutUsec = esaControl.pollTimeout.usec;
    return state;
}

void liveReal(const Life_t& life, SimulatedWorld_t& world) {
    forgetAll();
    fillBlock(life);
    const CallsToWorld_t calls(world, life);
    const OutputToWorld_t output;
    Changes_t changes;
    world.remembered = [&] { return changes.until(realState()); };
    if (const std::optional<int> status = run(life)) {
        world.ended("exit " + std::to_string(*status));
    } else {
        world.takeSnapshot();
    }
    TRACE__done();
    world.remembered = nullptr;
}

} // namespace model
