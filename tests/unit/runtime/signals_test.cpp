#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include "calls.h"
#include "child_with_log.h"
#include "folder.h"
#include "mpu_gbl_private.h"
#include "osdep.h"

namespace {

std::uint32_t bigEndian32(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
        value = (value << 8) | static_cast<unsigned char>(bytes.at(i));
    }
    return value;
}

/** First 19 characters of this test program's first argument. */
std::string ownName() {
    const std::string commandLine = testsupport::readFile("/proc/self/cmdline").substr(0, 50);
    return std::string(commandLine.c_str()).substr(0, 19);
}

/** Where the record's header differs from zero. */
std::string expectedHeader() {
    std::string header(152, '\0');
    header[144] = 0x01; // 344 bytes of body
    header[145] = 0x58;
    header[146] = 18;
    header[147] = 3;
    header[148] = 1;
    header[149] = 1;
    header[150] = 0;
    header[151] = 4;
    return header;
}

struct SignalCase_t {
    int signal;
    const char* failure;
};

const SignalCase_t SIGNALS[] = {
    {SIGILL, "     - Unable to set sigaction for illegal instruction event.\n       Interrupted system call\n"},
    {SIGFPE, "     - Unable to set sigaction for floating point exception event.\n       Exec format error\n"},
    {SIGSEGV,
     "     - Unable to set sigaction for segmentation violation event.\n       Resource temporarily unavailable\n"},
    {SIGBUS, "     - Unable to set sigaction for bus error event.\n       Argument list too long\n"},
    {SIGHUP, "     - Unable to set sigaction for hangup event.\n       Operation not permitted\n"},
    {SIGTERM, "     - Unable to set sigaction for termination event.\n       Block device required\n"},
    {SIGQUIT, "     - Unable to set sigaction for quit event from keyboard.\n       No such process\n"},
};

/** The event that `action`, in a process of its own, leaves when it aborts. */
LoggedEvent_t recordOf(const std::function<void()>& action) {
    const ChildResult_t child = runInChild(action);
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_TRUE(child.event.has_value());
    return child.event.value_or(LoggedEvent_t{});
}

TEST(FatalSignals, EachLeavesARecordAndAborts) {
    for (const SignalCase_t& one : SIGNALS) {
        SCOPED_TRACE(one.signal);
        const ChildResult_t child = runInChild([&] {
            (void)close(STDIN_FILENO); // its number is free for the command line
            handleUnexpectedSignals();
            handleUnexpectedSignals();
            EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "given back";
            (void)std::printf("%d", static_cast<int>(getpid()));
            (void)std::fflush(stdout);
            // To this thread: a signal to the process may reach a thread of an emulator's own, which it would end.
            (void)raise(one.signal);
        });
        EXPECT_EQ(child.signal, SIGABRT);
        EXPECT_EQ(child.err, "");
        ASSERT_TRUE(child.event.has_value());
        EXPECT_EQ(child.event->header, expectedHeader());
        EXPECT_EQ(child.event->params, 0U);
        const std::string& body = child.event->body;
        ASSERT_EQ(body.size(), 344U);
        int signal = 0;
        std::memcpy(&signal, body.data(), sizeof signal); // the signal information begins with the number
        EXPECT_EQ(signal, one.signal);
        EXPECT_EQ(body.substr(304, 16), std::string(16, '\0'));
        EXPECT_EQ(std::to_string(bigEndian32(body, 320)), child.out);
        std::string name = ownName();
        name.resize(20, '\0');
        EXPECT_EQ(body.substr(324), name);
    }
}

/** Makes sigaction() fail for that signal, with the error of the same number; -1: for every one. */
void refuseToCatch(int refused) {
    calls::sigaction.answer = [refused](int signal, const struct sigaction* action, struct sigaction* old) {
        errno = signal;
        return refused == signal || refused == -1 ? -1 : calls::sigaction.real(signal, action, old);
    };
}

TEST(FatalSignals, ThoseThatCannotBeCaughtAreReportedInOrderAndTheOthersAreInstalled) {
    std::string all;
    for (const SignalCase_t& one : SIGNALS) {
        const ChildResult_t child = runInChild([&] {
            refuseToCatch(one.signal);
            handleUnexpectedSignals();
            (void)raise(one.signal == SIGHUP ? SIGTERM : SIGHUP);
        });
        EXPECT_EQ(child.err, one.failure);
        EXPECT_EQ(child.signal, SIGABRT);
        EXPECT_TRUE(child.event.has_value());
        all += one.failure;
    }
    const ChildResult_t child = runInChild([] {
        refuseToCatch(-1);
        handleUnexpectedSignals();
    });
    EXPECT_EQ(child.err, all);
    EXPECT_EQ(child.exitStatus, 99);
}

TEST(FatalSignals, OtherSignalsAreLeftAlone) {
    const ChildResult_t child = runInChild([] {
        handleUnexpectedSignals();
        (void)raise(SIGUSR1);
    });
    EXPECT_EQ(child.signal, SIGUSR1);
    EXPECT_FALSE(child.event.has_value());
}

TEST(FatalSignals, FaultingAddressIsInTheRecord) {
    const LoggedEvent_t event = recordOf([] {
        handleUnexpectedSignals();
        auto* nowhere = reinterpret_cast<volatile int*>(static_cast<std::uintptr_t>(0x1238));
        *nowhere = 1;
    });
    siginfo_t information{};
    ASSERT_GE(event.body.size(), sizeof information);
    std::memcpy(&information, event.body.data(), sizeof information);
    EXPECT_EQ(information.si_signo, SIGSEGV);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(information.si_addr), 0x1238U);
}

siginfo_t allOnes() {
    siginfo_t information;
    std::memset(&information, 0x11, sizeof information);
    return information;
}

/** A context whose registers are all 0x33 and whose other bytes are 0x22. */
ucontext_t allThrees() {
    ucontext_t context;
    std::memset(&context, 0x22, sizeof context);
#if defined(__powerpc__)
    static mcontext_t registers;
    std::memset(&registers, 0x33, sizeof registers);
    context.uc_mcontext.uc_regs = &registers;
#else
    std::memset(&context.uc_mcontext, 0x33, sizeof context.uc_mcontext);
#endif
    return context;
}

TEST(FatalSignals, InformationAndRegistersAreCopiedEachWhenItIsGiven) {
    for (const bool informed : {false, true}) {
        for (const bool registered : {false, true}) {
            const LoggedEvent_t event = recordOf([&] {
                siginfo_t information = allOnes();
                ucontext_t context = allThrees();
                catchEvent(SIGILL, informed ? &information : nullptr, registered ? &context : nullptr);
            });
            EXPECT_EQ(event.header, expectedHeader());
            EXPECT_EQ(event.body, std::string(128, informed ? '\x11' : '\0') +
                                      std::string(176, registered ? '\x33' : '\0') + std::string(40, '\0'));
        }
    }
}

TEST(FatalSignals, NothingOfAnEarlierSignalIsInTheRecord) {
    const LoggedEvent_t event = recordOf([] {
        surviveAbort([] {
            siginfo_t information = allOnes();
            ucontext_t context = allThrees();
            catchEvent(SIGILL, &information, &context);
        });
        catchEvent(SIGILL, nullptr, nullptr);
    });
    EXPECT_EQ(event.header, expectedHeader());
    EXPECT_EQ(event.body, std::string(344, '\0'));
}

/** Signals are caught, then one comes, in a process whose command line is out of reach. */
void signalWithout(const std::function<void()>& takeAway) {
    const ChildResult_t child = runInChild([&] {
        handleUnexpectedSignals();
        takeAway();
        handleUnexpectedSignals();
        (void)std::printf("%d", static_cast<int>(getpid()));
        (void)std::fflush(stdout);
        (void)raise(SIGTERM);
    });
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_EQ(child.err, "");
    ASSERT_TRUE(child.event.has_value());
    EXPECT_EQ(std::to_string(bigEndian32(child.event->body, 320)), child.out);
    EXPECT_EQ(child.event->body.substr(324), std::string(20, '\0'));
}

TEST(FatalSignals, ProcessNameIsEmptyWhenTheCommandLineCannotBeOpenedOrRead) {
    signalWithout([] {
        calls::open.answer = [](const char* path, int flags, mode_t mode) {
            const bool kept = (flags & O_CLOEXEC) == 0; // by a program that is started meanwhile
            return kept ? calls::open.real(path, flags, mode) : -1;
        };
    });
    signalWithout([] { calls::read.failWith(EIO); });
}

TEST(FatalSignals, RecordGoesOutWithTheAttachedParameterBlock) {
    static MPU_PARAMS_t params;
    const LoggedEvent_t event = recordOf([] {
        mpuParamsBlock = &params;
        catchEvent(SIGILL, nullptr, nullptr);
    });
    EXPECT_EQ(event.params, reinterpret_cast<std::uintptr_t>(&params));
}

} // namespace
