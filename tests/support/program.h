#ifndef ESA_TESTS_PROGRAM_H
#define ESA_TESTS_PROGRAM_H

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

using Milliseconds = std::chrono::milliseconds;

/** File name of the program `name` of this build. */
std::string programPath(std::string_view name);

/**
 * Words that start the program `name` of this build: the emulator's, where one is needed, then the program's path.
 * The environment variable ESA_EMULATOR (words parted by blanks) takes the emulator's place when it is set.
 */
std::vector<std::string> programCommand(std::string_view name);

/** The same, followed by `args`. */
std::vector<std::string> programCommand(std::string_view name, const std::vector<std::string>& args);

/** How a program ended. */
struct Ending {
    int exitCode = -1; /**< 0..255; -1 when a signal ended it; 127 when it could not be started */
    int signal = 0;    /**< number of the signal that ended it, 0 when it exited */
};

/** Where and with what a program starts. */
struct StartOptions {
    std::map<std::string, std::string> environment; /**< added to this process' environment */
    std::vector<std::string> unset;                 /**< environment variables the program does not get */
    std::string directory;                          /**< working directory; empty: this process' own */
    bool closeStdin = true;                         /**< standard input gives end of file; else writeInput() feeds it */
};

/**
 * A running program with its standard output and standard error caught.
 *
 * It leads a process group of its own. The destructor kills the whole group, and the program is killed when the test
 * process dies, so that no test leaves a process behind. Not for use by several threads at once.
 */
class Process {
public:
    explicit Process(const std::vector<std::string>& argv, const StartOptions& options = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /** Process id; the emulator's, where there is one: signals sent to it reach the program. */
    pid_t pid() const { return pid_; }

    /** Sends `signal` to the program; nothing happens when it has ended. */
    void kill(int signal);

    /** Writes all of `text` to the program's standard input; false when the program has closed it. */
    bool writeInput(std::string_view text);

    /** Ends the program's standard input. */
    void closeInput();

    /** Waits for the end, reading the output meanwhile; nothing when `timeout` passes first (it runs on). */
    std::optional<Ending> wait(Milliseconds timeout);

    /** Waits until standard output holds `text`; false when the program ends or `timeout` passes without it. */
    bool waitForOut(std::string_view text, Milliseconds timeout);

    /** The same for standard error. */
    bool waitForErr(std::string_view text, Milliseconds timeout);

    /** True while the program has not ended. */
    bool running();

    /** All that was written to standard output up to now. */
    const std::string& out();

    /** All that was written to standard error up to now. */
    const std::string& err();

private:
    struct Stream {
        int fd = -1;
        std::string text;
    };

    void start(const std::vector<std::string>& argv, const StartOptions& options);
    void pump(Milliseconds timeout);
    void reap();
    bool waitForText(const Stream& stream, std::string_view text, Milliseconds timeout);

    pid_t pid_ = -1;
    int input_ = -1;
    Stream out_;
    Stream err_;
    std::optional<Ending> ending_;
};

/** What a program that ran to its end did. */
struct RunResult {
    bool timedOut = false; /**< it was killed, because it had not ended in time */
    Ending ending;
    std::string out;
    std::string err;
};

/** Runs a command to its end; it is killed when `timeout` passes first. */
RunResult run(const std::vector<std::string>& argv, Milliseconds timeout = Milliseconds(60000),
              const StartOptions& options = {});

} // namespace testsupport

#endif
