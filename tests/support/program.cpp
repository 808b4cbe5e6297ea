#include "program.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

namespace {

using Clock_t = std::chrono::steady_clock;

#if defined(__has_feature)
// It looks for leaks of a whole process, with all threads, and its locks do not outlive a fork beside them.
constexpr bool HAS_SANITIZER = __has_feature(address_sanitizer);
#else
constexpr bool HAS_SANITIZER = false;
#endif

// For an emulator that cannot tell of a program's end.
constexpr Milliseconds_t LOOK_EVERY{10};

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> result;
    for (std::string word; stream >> word;) {
        result.push_back(word);
    }
    return result;
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        std::perror("pipe2");
        std::abort();
    }
    return ends;
}

void closeEnd(int& fd) {
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

void readAvailable(int& fd, std::string& text) {
    std::array<char, 4096> buffer;
    while (fd >= 0) {
        const ssize_t got = read(fd, buffer.data(), buffer.size());
        if (got > 0) {
            text.append(buffer.data(), static_cast<size_t>(got));
        } else if (got < 0 && errno == EINTR) {
            continue;
        } else if (got < 0 && errno == EAGAIN) {
            return;
        } else {
            closeEnd(fd);
        }
    }
}

/** By the words that start them. */
std::map<std::vector<std::string>, Main_t>& linkedPrograms() {
    static std::map<std::vector<std::string>, Main_t> programs;
    return programs;
}

/** Does what execvp() would do, where the program is linked. */
void runLinked(const std::vector<char*>& argv) noexcept {
    if (HAS_SANITIZER) {
        return;
    }
    for (const auto& [command, main] : linkedPrograms()) {
        const auto last = argv.begin() + static_cast<std::ptrdiff_t>(std::min(command.size(), argv.size() - 1));
        if (!std::equal(command.begin(), command.end(), argv.begin(), last)) {
            continue;
        }
        for (int fd = STDERR_FILENO + 1; fd < 256; ++fd) {
            if ((fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0) {
                close(fd);
            }
        }
        // The words behind the emulator's, without the null pointer at the end of all.
        std::exit(main(static_cast<int>(argv.end() - last), &*last - 1));
    }
}

/** A standard stream of this process which is an empty file of its own meanwhile. */
class Diverted_t {
public:
    explicit Diverted_t(int fd) : fd_(fd), saved_(fcntl(fd, F_DUPFD_CLOEXEC, 0)), file_(std::tmpfile()) {
        if (saved_ < 0 || file_ == nullptr || dup2(fileno(file_), fd) < 0) {
            std::perror("divert");
            std::abort();
        }
    }
    ~Diverted_t() {
        dup2(saved_, fd_);
        closeEnd(saved_);
        std::fclose(file_);
    }
    Diverted_t(const Diverted_t&) = delete;
    Diverted_t& operator=(const Diverted_t&) = delete;

    /** What has been written so far. */
    std::string text() const {
        std::string text;
        int fd = fcntl(fileno(file_), F_DUPFD_CLOEXEC, 0);
        lseek(fd, 0, SEEK_SET);
        readAvailable(fd, text);
        return text;
    }

private:
    int fd_;
    int saved_;
    std::FILE* file_;
};

[[noreturn]] void becomeProgram(std::vector<char*>& argv, const StartOptions_t& options, pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(127); // the test died before the line above
    }
    for (const auto& [name, value] : options.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    for (const std::string& name : options.unset) {
        unsetenv(name.c_str());
    }
    if (!options.directory.empty() && chdir(options.directory.c_str()) != 0) {
        std::perror(options.directory.c_str());
        _exit(127);
    }
    // The test may ignore it; programs start with the usual action.
    std::signal(SIGPIPE, SIG_DFL);
    runLinked(argv);
    execvp(argv[0], argv.data());
    std::perror(argv[0]);
    _exit(127);
}

} // namespace

std::string programPath(std::string_view name) {
    return std::string(ESA_PROGRAM_DIR) + "/" + std::string(name);
}

std::vector<std::string> programCommand(std::string_view name) {
    const char* emulator = std::getenv("ESA_EMULATOR");
    std::vector<std::string> command = words(emulator != nullptr ? emulator : ESA_EMULATOR);
    command.push_back(programPath(name));
    return command;
}

std::vector<std::string> programCommand(std::string_view name, const std::vector<std::string>& args) {
    std::vector<std::string> command = programCommand(name);
    command.insert(command.end(), args.begin(), args.end());
    return command;
}

bool linkProgram(std::string_view name, Main_t main) {
    if (std::getenv("ESA_EMULATOR") == nullptr) {
        linkedPrograms()[programCommand(name)] = main;
    }
    return true;
}

RunResult_t runHere(std::string_view name, const std::vector<std::string>& args) {
    const std::vector<std::string> command = programCommand(name, args);
    const auto linked = linkedPrograms().find(programCommand(name));
    if (linked == linkedPrograms().end()) {
        return run(command);
    }
    std::vector<const char*> argv{linked->first.back().c_str()};
    for (const std::string& arg : args) {
        argv.push_back(arg.c_str());
    }
    argv.push_back(nullptr);
    (void)std::fflush(nullptr);
    const Diverted_t in(STDIN_FILENO);
    const Diverted_t out(STDOUT_FILENO);
    const Diverted_t err(STDERR_FILENO);
    const int status = linked->second(static_cast<int>(argv.size() - 1), argv.data());
    (void)std::fflush(nullptr);
    return {.ending = {.exitCode = status & 0xFF}, .out = out.text(), .err = err.text()};
}

Ending_t endingOf(int status) {
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0};
}

Process_t::Process_t(const std::vector<std::string>& argv, const StartOptions_t& options) {
    start(argv, options);
}

Process_t::~Process_t() {
    if (pid_ > 0) {
        ::kill(-pid_, SIGKILL);
        if (!ending_) {
            ::kill(pid_, SIGKILL); // its group may not exist yet
            waitpid(pid_, nullptr, 0);
        }
    }
    for (int* fd : {&input_, &end_, &out_.fd, &err_.fd}) {
        closeEnd(*fd);
    }
}

void Process_t::start(const std::vector<std::string>& argv, const StartOptions_t& options) {
    std::array<int, 2> in = makePipe();
    std::array<int, 2> out = makePipe();
    std::array<int, 2> err = makePipe();
    std::vector<char*> args;
    for (const std::string& word : argv) {
        args.push_back(const_cast<char*>(word.c_str()));
    }
    args.push_back(nullptr);
    const pid_t parent = getpid();
    (void)std::fflush(nullptr); // else a linked program would write it too
    pid_ = fork();
    if (pid_ < 0) {
        std::perror("fork");
        std::abort();
    }
    if (pid_ == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        becomeProgram(args, options, parent);
    }
    setpgid(pid_, pid_); // whichever of the two comes first
    end_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    closeEnd(in[0]);
    closeEnd(out[1]);
    closeEnd(err[1]);
    input_ = in[1];
    out_.fd = out[0];
    err_.fd = err[0];
    fcntl(out_.fd, F_SETFL, O_NONBLOCK);
    fcntl(err_.fd, F_SETFL, O_NONBLOCK);
    if (options.closeStdin) {
        closeInput();
    }
}

void Process_t::kill(int signal) {
    reap();
    if (!ending_) {
        ::kill(pid_, signal);
    }
}

bool Process_t::writeInput(std::string_view text) {
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    while (input_ >= 0 && !text.empty()) {
        const ssize_t written = write(input_, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EINTR) {
            closeInput();
        }
    }
    std::signal(SIGPIPE, previous);
    return text.empty();
}

void Process_t::closeInput() {
    closeEnd(input_);
}

std::optional<Ending_t> Process_t::wait(Milliseconds_t timeout) {
    const auto end = Clock_t::now() + timeout;
    while (running() && Clock_t::now() < end) {
        pump(LOOK_EVERY);
    }
    return ending_;
}

bool Process_t::waitForOut(std::string_view text, Milliseconds_t timeout) {
    return waitForText(out_, text, timeout);
}

bool Process_t::waitForErr(std::string_view text, Milliseconds_t timeout) {
    return waitForText(err_, text, timeout);
}

bool Process_t::waitForText(const Pipe_t& stream, std::string_view text, Milliseconds_t timeout) {
    const auto end = Clock_t::now() + timeout;
    while (stream.text.find(text) == std::string::npos) {
        // In this order: what it wrote before it ended is read after the end is seen.
        const bool over = !running() || Clock_t::now() >= end;
        pump(over ? Milliseconds_t(0) : LOOK_EVERY);
        if (over) {
            return stream.text.find(text) != std::string::npos;
        }
    }
    return true;
}

bool Process_t::running() {
    reap();
    return !ending_;
}

const std::string& Process_t::out() {
    pump(Milliseconds_t(0));
    return out_.text;
}

const std::string& Process_t::err() {
    pump(Milliseconds_t(0));
    return err_.text;
}

/** Reads what the program has written, waiting up to `timeout` for it to write something. */
void Process_t::pump(Milliseconds_t timeout) {
    // poll() leaves out negative descriptors. An output pipe can stay open in a grandchild.
    std::array<pollfd, 3> fds{{{out_.fd, POLLIN, 0}, {err_.fd, POLLIN, 0}, {end_, POLLIN, 0}}};
    poll(fds.data(), fds.size(), static_cast<int>(timeout.count()));
    readAvailable(out_.fd, out_.text);
    readAvailable(err_.fd, err_.text);
}

void Process_t::reap() {
    int status = 0;
    if (ending_ || waitpid(pid_, &status, WNOHANG) != pid_) {
        return;
    }
    ending_ = endingOf(status);
    closeEnd(end_);
    pump(Milliseconds_t(0));
}

RunResult_t run(const std::vector<std::string>& argv, Milliseconds_t timeout, const StartOptions_t& options) {
    Process_t process(argv, options);
    RunResult_t result;
    std::optional<Ending_t> ending = process.wait(timeout);
    if (!ending) {
        result.timedOut = true;
        process.kill(SIGKILL);
        ending = process.wait(Milliseconds_t(10000));
    }
    result.ending = ending.value_or(Ending_t{});
    result.out = process.out();
    result.err = process.err();
    return result;
}

} // namespace testsupport
