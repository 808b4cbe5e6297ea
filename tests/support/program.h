#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

/**
 * Starting real programs from a test: `esa`, `msm`, `encsim`, `mpuparams` and whatever else this build made.
 *
 * A test built for the product's processor runs under an emulator, but what it executes does not: the kernel knows
 * nothing of the foreign program unless the machine is set up for it. So a command line starts with the emulator,
 * and programCommand() is the only way to name a program of the build.
 */
namespace testsupport {

using Milliseconds_t = std::chrono::milliseconds;

/** File name of the program `name` of this build. */
std::string programPath(std::string_view name);

/**
 * Words that start the program `name` of this build: the emulator's, where one is needed, then the program's path.
 * The environment variable ESA_EMULATOR (words parted by blanks) takes the emulator's place when it is set.
 */
std::vector<std::string> programCommand(std::string_view name);

/** The same, followed by `args`. */
std::vector<std::string> programCommand(std::string_view name, const std::vector<std::string>& args);

/** A program's main function. */
using Main_t = int (*)(int argc, const char* const* argv);

/**
 * From now on a process that starts the program `name` of this build runs this, which the test has linked, in a copy of
 * the test's own process: an emulator takes longer to begin than most tests. The environment variable ESA_EMULATOR has
 * the program itself started all the same, and so has a sanitizer (except by runHere()). True, so that it can
 * initialise a variable.
 */
bool linkProgram(std::string_view name, Main_t main);

/** How a program ended. */
struct Ending_t {
    int exitCode = -1; /**< 0..255; -1 when a signal ended it; 127 when it could not be started */
    int signal = 0;    /**< number of the signal that ended it, 0 when it exited */
};

/** What a process' wait status says. */
Ending_t endingOf(int status);

/** Where and with what a program starts. */
struct StartOptions_t {
    std::map<std::string, std::string> environment = {}; /**< added to this process' environment */
    std::vector<std::string> unset = {};                 /**< environment variables the program does not get */
    std::string directory = {};                          /**< working directory; empty: this process' own */
    bool closeStdin = true; /**< standard input gives end of file; else writeInput() feeds it */
};

/**
 * A running program with its standard output and standard error caught.
 *
 * It leads a process group of its own. The destructor kills the whole group, and the program is killed when the test
 * process dies, so that no test leaves a process behind. Not for use by several threads at once.
 */
class Process_t {
public:
    explicit Process_t(const std::vector<std::string>& argv, const StartOptions_t& options = {});
    ~Process_t();
    Process_t(const Process_t&) = delete;
    Process_t& operator=(const Process_t&) = delete;

    /** Process id; the emulator's, where there is one: signals sent to it reach the program. */
    pid_t pid() const { return pid_; }

    /** Sends `signal` to the program; nothing happens when it has ended. */
    void kill(int signal);

    /** Writes all of `text` to the program's standard input; false when the program has closed it. */
    bool writeInput(std::string_view text);

    /** Ends the program's standard input. */
    void closeInput();

    /** Waits for the end, reading the output meanwhile; nothing when `timeout` passes first (it runs on). */
    std::optional<Ending_t> wait(Milliseconds_t timeout);

    /** Waits until standard output holds `text`; false when the program ends or `timeout` passes without it. */
    bool waitForOut(std::string_view text, Milliseconds_t timeout);

    /** The same for standard error. */
    bool waitForErr(std::string_view text, Milliseconds_t timeout);

    /** True while the program has not ended. */
    bool running();

    /** All that was written to standard output up to now. */
    const std::string& out();

    /** All that was written to standard error up to now. */
    const std::string& err();

private:
    struct Pipe_t {
        int fd = -1;
        std::string text;
    };

    void start(const std::vector<std::string>& argv, const StartOptions_t& options);
    void pump(Milliseconds_t timeout);
    void reap();
    bool waitForText(const Pipe_t& stream, std::string_view text, Milliseconds_t timeout);

    pid_t pid_ = -1;
    int end_ = -1; /**< readable when the program has ended */
    int input_ = -1;
    Pipe_t out_;
    Pipe_t err_;
    std::optional<Ending_t> ending_;
};

/** What a program that ran to its end did. */
struct RunResult_t {
    bool timedOut = false; /**< it was killed, because it had not ended in time */
    Ending_t ending;
    std::string out;
    std::string err;
};

/** Runs a command to its end; it is killed when `timeout` passes first. */
RunResult_t run(const std::vector<std::string>& argv, Milliseconds_t timeout = Milliseconds_t(60000),
                const StartOptions_t& options = {});

/**
 * The same for a linked program that ends by itself and leaves the process as it was: its main function runs in this
 * very process. Nothing has to begin, and an emulator translates it once for all tests.
 */
RunResult_t runHere(std::string_view name, const std::vector<std::string>& args);

} // namespace testsupport
