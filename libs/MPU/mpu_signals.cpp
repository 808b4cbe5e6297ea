/** The record that a process leaves in the event log when a signal ends it. */
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <ucontext.h>
#include <unistd.h>

#include "emp_mesgs.h"
#include "mmsg.h"
#include "mpu_gbl_private.h"
#include "osdep.h"
#include "platform.h"

namespace {

constexpr U16_t FATAL_SIGNAL_EVENT_ID = 4;
constexpr std::size_t LONGEST_COMMAND_LINE = 50;

struct FatalSignalBody_t {
    U8_t information[128]; /**< the host's siginfo_t */
    U8_t registers[176];   /**< the host's register block: on PowerPC the 44 words that the kernel saves */
    U8_t reserved[16];
    be32_t processId;
    CHAR_t processName[20]; /**< zero-terminated */
};
WIRE_RECORD(FatalSignalBody_t, 344);

struct FatalSignalEvent_t {
    EmpEvLogHeader_t evLogHeader;
    FatalSignalBody_t body;
    U8_t unused[3568];
};
WIRE_RECORD(FatalSignalEvent_t, 4064);

/** A handler may not ask for memory, and a broken stack may have no room: the record is ready beforehand. */
FatalSignalEvent_t bigEvent;

/** Taken when the handler is installed, so that the handler need not look them up. */
U32_t processId;
CHAR_t processName[sizeof FatalSignalBody_t::processName];

struct FatalSignal_t {
    int signal;
    const CHAR_t* failure;
};

constexpr FatalSignal_t FATAL_SIGNALS[] = {
    {SIGILL, "     - Unable to set sigaction for illegal instruction event.\n"},
    {SIGFPE, "     - Unable to set sigaction for floating point exception event.\n"},
    {SIGSEGV, "     - Unable to set sigaction for segmentation violation event.\n"},
    {SIGBUS, "     - Unable to set sigaction for bus error event.\n"},
    {SIGHUP, "     - Unable to set sigaction for hangup event.\n"},
    {SIGTERM, "     - Unable to set sigaction for termination event.\n"},
    {SIGQUIT, "     - Unable to set sigaction for quit event from keyboard.\n"},
};

template <std::size_t SIZE>
void copyFront(U8_t (&to)[SIZE], const void* from, std::size_t size) {
    std::memcpy(to, from, std::min(SIZE, size));
}

/**
 * PowerPC keeps the registers outside the context and points at them; elsewhere they open the machine context (on
 * x86-64 its 23 general registers, the last of which, the faulting address, the signal information has as well).
 */
void copyRegisters(U8_t (&to)[176], const void* context) {
    const auto& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__powerpc__) && !defined(__powerpc64__)
    copyFront(to, machine.uc_regs->gregs, sizeof machine.uc_regs->gregs);
#else
    copyFront(to, &machine, sizeof machine);
#endif
}

/** The first argument of the command line, as much as the record holds; empty when it cannot be read. */
void readProcessName() {
    CHAR_t path[32];
    CHAR_t commandLine[LONGEST_COMMAND_LINE + 1] = {};
    (void)std::snprintf(path, sizeof path, "/proc/%d/cmdline", static_cast<int>(processId));
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
        (void)!read(fd, commandLine, LONGEST_COMMAND_LINE); // one that fails leaves it empty
        (void)close(fd);
    }
    std::memset(processName, 0, sizeof processName);
    std::memcpy(processName, commandLine, strnlen(commandLine, sizeof processName - 1));
}

} // namespace

void handleUnexpectedSignals() {
    processId = static_cast<U32_t>(getpid());
    readProcessName();
    struct sigaction action = {};
    action.sa_sigaction = catchEvent;
    action.sa_flags = SA_SIGINFO;
    (void)sigemptyset(&action.sa_mask);
    for (const FatalSignal_t& fatal : FATAL_SIGNALS) {
        if (sigaction(fatal.signal, &action, nullptr) != 0) {
            const int error = errno;
            (void)std::fputs(fatal.failure, stderr);
            (void)std::fprintf(stderr, "       %s\n", std::strerror(error));
        }
    }
}

void catchEvent(int /*signal*/, siginfo_t* information, void* context) {
    wireClear(bigEvent);
    bigEvent.evLogHeader.evSource = MMSG_E_EPID_STARTUPMP;
    bigEvent.evLogHeader.evType = EMP_E_TYPE_ERROR;
    bigEvent.evLogHeader.evCategory = EMP_E_CATEGORY_SYSTEM;
    bigEvent.evLogHeader.evIdVersion = 1;
    bigEvent.evLogHeader.evId = FATAL_SIGNAL_EVENT_ID;
    bigEvent.evLogHeader.evStructLength = sizeof bigEvent.body;
    if (information != nullptr) {
        copyFront(bigEvent.body.information, information, sizeof *information);
    }
    if (context != nullptr) {
        copyRegisters(bigEvent.body.registers, context);
    }
    bigEvent.body.processId = processId;
    std::memcpy(bigEvent.body.processName, processName, sizeof processName);
    altEventLogM(&bigEvent.evLogHeader, mpuParamsBlock);
    std::abort();
}
