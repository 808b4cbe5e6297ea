#include <csetjmp>
#include <csignal>
#include <cstring>
#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include "child_with_log.h"
#include "folder.h"
#include "mpu_gbl_private.h"
#include "osdep.h"
#include "wrapped.h"

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
    const char* name;
    int signal;
    const char* failure;
};

void PrintTo(const SignalCase_t& test, std::ostream* out) {
    *out << test.name;
}

const SignalCase_t SIGNALS[] = {
    {"SIGILL", SIGILL, "     - Unable to set sigaction for illegal instruction event.\n       Invalid argument\n"},
    {"SIGFPE", SIGFPE, "     - Unable to set sigaction for floating point exception event.\n       Invalid argument\n"},
    {"SIGSEGV", SIGSEGV, "     - Unable to set sigaction for segmentation violation event.\n       Invalid argument\n"},
    {"SIGBUS", SIGBUS, "     - Unable to set sigaction for bus error event.\n       Invalid argument\n"},
    {"SIGHUP", SIGHUP, "     - Unable to set sigaction for hangup event.\n       Invalid argument\n"},
    {"SIGTERM", SIGTERM, "     - Unable to set sigaction for termination event.\n       Invalid argument\n"},
    {"SIGQUIT", SIGQUIT, "     - Unable to set sigaction for quit event from keyboard.\n       Invalid argument\n"},
};

class FatalSignal_t : public testing::TestWithParam<SignalCase_t> {};

INSTANTIATE_TEST_SUITE_P(Each, FatalSignal_t, testing::ValuesIn(SIGNALS),
                         [](const auto& test) { return test.param.name; });

TEST_P(FatalSignal_t, LeavesARecordAndAborts) {
    const ChildResult_t child = runInChild([] {
        handleUnexpectedSignals();
        (void)std::printf("%d", static_cast<int>(getpid()));
        (void)std::fflush(stdout);
        // To this thread: a signal to the process may reach a thread of an emulator's own, which it would end.
        (void)raise(GetParam().signal);
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
    EXPECT_EQ(signal, GetParam().signal);
    EXPECT_EQ(body.substr(304, 16), std::string(16, '\0'));
    EXPECT_EQ(std::to_string(bigEndian32(body, 320)), child.out);
    std::string name = ownName();
    name.resize(20, '\0');
    EXPECT_EQ(body.substr(324), name);
}

TEST_P(FatalSignal_t, ThatCannotBeCaughtIsReportedAndTheOthersAreInstalled) {
    const ChildResult_t child = runInChild([] {
        wrapped.failingSignal = GetParam().signal;
        handleUnexpectedSignals();
        (void)raise(GetParam().signal == SIGHUP ? SIGTERM : SIGHUP);
    });
    EXPECT_EQ(child.err, GetParam().failure);
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_TRUE(child.event.has_value());
}

TEST(FatalSignals, FailuresAreReportedInTheOrderOfInstallation) {
    const ChildResult_t child = runInChild([] {
        wrapped.failingSignal = -1;
        handleUnexpectedSignals();
    });
    std::string all;
    for (const SignalCase_t& each : SIGNALS) {
        all += each.failure;
    }
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
    const ChildResult_t child = runInChild([] {
        handleUnexpectedSignals();
        auto* nowhere = reinterpret_cast<volatile int*>(static_cast<std::uintptr_t>(0x1238));
        *nowhere = 1;
    });
    EXPECT_EQ(child.signal, SIGABRT);
    ASSERT_TRUE(child.event.has_value());
    siginfo_t information;
    std::memcpy(&information, child.event->body.data(), sizeof information);
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

TEST(FatalSignals, RegistersOfTheInterruptedCodeAreInTheRecord) {
    const ChildResult_t child = runInChild([] {
        siginfo_t information = allOnes();
        ucontext_t context = allThrees();
        catchEvent(SIGILL, &information, &context);
    });
    EXPECT_EQ(child.signal, SIGABRT);
    ASSERT_TRUE(child.event.has_value());
    EXPECT_EQ(child.event->body.substr(0, 128), std::string(128, '\x11'));
    EXPECT_EQ(child.event->body.substr(128, 176), std::string(176, '\x33'));
    EXPECT_EQ(child.event->body.substr(304, 16), std::string(16, '\0'));
}

TEST(FatalSignals, MissingInformationAndContextLeaveZeros) {
    const ChildResult_t child = runInChild([] { catchEvent(SIGILL, nullptr, nullptr); });
    EXPECT_EQ(child.signal, SIGABRT);
    ASSERT_TRUE(child.event.has_value());
    EXPECT_EQ(child.event->header, expectedHeader());
    EXPECT_EQ(child.event->body, std::string(344, '\0'));
}

TEST(FatalSignals, InformationAndContextAreCopiedEachWhenItIsGiven) {
    const ChildResult_t onlyInformation = runInChild([] {
        siginfo_t information = allOnes();
        catchEvent(SIGILL, &information, nullptr);
    });
    ASSERT_TRUE(onlyInformation.event.has_value());
    EXPECT_EQ(onlyInformation.event->body, std::string(128, '\x11') + std::string(216, '\0'));
    const ChildResult_t onlyContext = runInChild([] {
        ucontext_t context = allThrees();
        catchEvent(SIGILL, nullptr, &context);
    });
    ASSERT_TRUE(onlyContext.event.has_value());
    EXPECT_EQ(onlyContext.event->body, std::string(128, '\0') + std::string(176, '\x33') + std::string(40, '\0'));
}

sigjmp_buf pastTheFirstAbort;

TEST(FatalSignals, NothingOfAnEarlierSignalIsInTheRecord) {
    const ChildResult_t child = runInChild([] {
        (void)std::signal(SIGABRT, [](int) { siglongjmp(pastTheFirstAbort, 1); });
        if (sigsetjmp(pastTheFirstAbort, 1) == 0) {
            siginfo_t information = allOnes();
            ucontext_t context = allThrees();
            catchEvent(SIGILL, &information, &context);
        }
        (void)std::signal(SIGABRT, SIG_DFL);
        catchEvent(SIGILL, nullptr, nullptr);
    });
    EXPECT_EQ(child.signal, SIGABRT);
    ASSERT_TRUE(child.event.has_value());
    EXPECT_EQ(child.event->header, expectedHeader());
    EXPECT_EQ(child.event->body, std::string(344, '\0'));
}

/** Signals are caught, then one comes, in a process whose command line is out of reach. */
void signalWithout(const std::function<void()>& takeAway, const std::function<void()>& giveBack) {
    const ChildResult_t child = runInChild([&] {
        takeAway();
        handleUnexpectedSignals();
        giveBack();
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

TEST(FatalSignals, ProcessNameIsEmptyWhenTheCommandLineCannotBeOpened) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    signalWithout([&] { (void)setrlimit(RLIMIT_NOFILE, &none); }, [&] { (void)setrlimit(RLIMIT_NOFILE, &before); });
}

TEST(FatalSignals, ProcessNameIsEmptyWhenTheCommandLineCannotBeRead) {
    signalWithout([] { wrapped.readFails = true; }, [] { wrapped.readFails = false; });
}

TEST(FatalSignals, RecordGoesOutWithTheAttachedParameterBlock) {
    static MPU_PARAMS_t params;
    const ChildResult_t child = runInChild([] {
        mpuParamsBlock = &params;
        catchEvent(SIGILL, nullptr, nullptr);
    });
    ASSERT_TRUE(child.event.has_value());
    EXPECT_EQ(child.event->params, reinterpret_cast<std::uintptr_t>(&params));
}

} // namespace
