/**
 * First process of the virtual machine. It prepares the file system, does what /etc/machine.tab says, as an init does
 * with its table, and then serves the host's commands at the virtio port "agent".
 *
 * Lines of the table, and commands; words are parted by single blanks:
 *   run PROGRAM ARGUMENT...         runs it to its end
 *   keep NAME PROGRAM ARGUMENT...   starts it; what it prints goes to /tmp/NAME.out
 *   link TARGET PATH                makes a symbolic link
 *   wait PATH                       until something of that name exists, ten seconds at most
 *   raw DEVICE                      makes a serial port raw, 115200 baud, for as long as the machine runs
 *   relay PATH                      listens at a UNIX socket; the bytes of whoever connects go over the port "switch"
 *   end NAME SIGNAL                 sends a signal to what `keep` has started and waits for its end
 *   pid NAME                        its process id; 0 when it has ended
 *   read PATH                       a file's content
 *   terminal PROGRAM ARGUMENT...    runs it on the machine's console, then switches off
 *   off                             switches the machine off
 * The answer to a command is "STATUS OUT ERR\n" and then OUT bytes of standard output, and ERR of standard error.
 */
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Words_t = std::vector<std::string>;

struct Answer_t {
    int status = 0;
    std::string out, err;
};

std::map<std::string, pid_t> kept;

Words_t wordsOf(const std::string& line) {
    std::istringstream text(line);
    Words_t words;
    for (std::string word; text >> word;) {
        words.push_back(word);
    }
    return words;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

Answer_t failed(const std::string& what) {
    return {.status = 1, .out = {}, .err = what + ": " + std::strerror(errno) + "\n"};
}

void mountAll() {
    const struct {
        const char* type;
        const char* at;
    } rows[] = {{"proc", "/proc"}, {"sysfs", "/sys"}, {"devtmpfs", "/dev"}, {"debugfs", "/sys/kernel/debug"},
                {"tmpfs", "/tmp"}, {"tmpfs", "/run"}};
    for (const auto& row : rows) {
        (void)mkdir(row.at, 0755);
        if (mount(row.type, row.at, row.type, 0, nullptr) != 0) {
            std::perror(row.at);
        }
    }
    for (const char* folder : {"/run/esa", "/var", "/var/log", "/var/log/esa"}) {
        (void)mkdir(folder, 0755);
    }
}

/** The device of the virtio port that the emulator calls `name`; "" when there is none. */
std::string portNamed(const std::string& name) {
    const char* const folder = "/sys/class/virtio-ports";
    DIR* const all = opendir(folder);
    std::string found;
    for (const dirent* entry = all == nullptr ? nullptr : readdir(all); entry != nullptr; entry = readdir(all)) {
        if (contentOf(std::string(folder) + "/" + entry->d_name + "/name") == name + "\n") {
            found = std::string("/dev/") + entry->d_name;
        }
    }
    if (all != nullptr) {
        closedir(all);
    }
    return found;
}

bool writeAll(int fd, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = write(fd, bytes, count);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        const std::size_t taken = written < 0 ? 0 : static_cast<std::size_t>(written);
        bytes += taken;
        count -= taken;
    }
    return true;
}

/** Becomes the program of `words` from `first` on. */
[[noreturn]] void become(const Words_t& words, std::size_t first) {
    std::vector<char*> arguments;
    for (std::size_t i = first; i < words.size(); ++i) {
        arguments.push_back(const_cast<char*>(words[i].c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    std::perror(arguments[0]);
    _exit(127);
}

pid_t startWith(const Words_t& words, std::size_t first, int out, int err) {
    const pid_t pid = fork();
    if (pid == 0) {
        (void)dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        (void)dup2(out, STDOUT_FILENO);
        (void)dup2(err, STDERR_FILENO);
        become(words, first);
    }
    return pid;
}

int statusOf(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Answer_t run(const Words_t& words) {
    const int out = open("/tmp/out", O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const int err = open("/tmp/err", O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const int status = statusOf(startWith(words, 1, out, err));
    close(out);
    close(err);
    return {.status = status, .out = contentOf("/tmp/out"), .err = contentOf("/tmp/err")};
}

Answer_t keep(const Words_t& words) {
    const int out = open(("/tmp/" + words[1] + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    kept[words[1]] = startWith(words, 2, out, out);
    close(out);
    return {};
}

Answer_t end(const Words_t& words) {
    const pid_t pid = kept[words[1]];
    kept[words[1]] = 0;
    if (pid == 0 || kill(pid, std::atoi(words[2].c_str())) != 0) {
        return failed(words[1]);
    }
    return {.status = statusOf(pid), .out = {}, .err = {}};
}

Answer_t processId(const Words_t& words) {
    pid_t& pid = kept[words[1]];
    if (pid != 0 && waitpid(pid, nullptr, WNOHANG) != 0) {
        pid = 0;
    }
    return {.status = 0, .out = std::to_string(pid), .err = {}};
}

Answer_t waitFor(const Words_t& words) {
    for (int i = 0; i < 1000 && access(words[1].c_str(), F_OK) != 0; ++i) {
        usleep(10000);
    }
    return access(words[1].c_str(), F_OK) == 0 ? Answer_t{} : failed(words[1]);
}

Answer_t makeLink(const Words_t& words) {
    (void)unlink(words[2].c_str());
    return symlink(words[1].c_str(), words[2].c_str()) == 0 ? Answer_t{} : failed(words[2]);
}

Answer_t makeRaw(const Words_t& words) {
    const int fd = open(words[1].c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC); // stays open
    termios line{};
    if (fd < 0 || tcgetattr(fd, &line) != 0) {
        return failed(words[1]);
    }
    cfmakeraw(&line);
    line.c_cflag |= CLOCAL;
    (void)cfsetspeed(&line, B115200);
    return tcsetattr(fd, TCSANOW, &line) == 0 ? Answer_t{} : failed(words[1]);
}

[[noreturn]] void pass(int listener) {
    const int port = open(portNamed("switch").c_str(), O_RDWR);
    const int peer = accept(listener, nullptr, nullptr);
    pollfd both[] = {{port, POLLIN, 0}, {peer, POLLIN, 0}};
    char bytes[8192];
    while (poll(both, 2, -1) > 0) {
        for (int from = 0; from < 2; ++from) {
            const ssize_t count = both[from].revents == 0 ? -1 : read(both[from].fd, bytes, sizeof bytes);
            if (count == 0 && from == 1) {
                _exit(0);
            }
            if (count > 0 && !writeAll(both[1 - from].fd, bytes, static_cast<std::size_t>(count))) {
                _exit(1);
            }
        }
    }
    _exit(1);
}

Answer_t relay(const Words_t& words) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    words[1].copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(listener, 1) != 0) {
        return failed(words[1]);
    }
    if (fork() == 0) {
        pass(listener);
    }
    close(listener);
    return {};
}

Answer_t readFile(const Words_t& words) {
    return access(words[1].c_str(), R_OK) == 0 ? Answer_t{.status = 0, .out = contentOf(words[1]), .err = {}}
                                               : failed(words[1]);
}

[[noreturn]] void off() {
    sync();
    (void)reboot(RB_POWER_OFF);
    for (;;) {
        pause();
    }
}

Answer_t terminal(const Words_t& words) {
    const pid_t pid = fork();
    if (pid == 0) {
        (void)setsid();
        const int console = open("/dev/ttyS0", O_RDWR);
        for (int fd = 0; fd < 3; ++fd) {
            (void)dup2(console, fd);
        }
        (void)setenv("TERM", "xterm", 1);
        become(words, 1);
    }
    (void)statusOf(pid);
    off();
}

Answer_t switchOff(const Words_t& /*words*/) {
    off();
}

struct Command_t {
    const char* name;
    std::size_t words; /**< at least */
    Answer_t (*run)(const Words_t& words);
};

constexpr Command_t COMMANDS[] = {
    {"run", 2, run},       {"keep", 3, keep},         {"link", 3, makeLink}, {"raw", 2, makeRaw},
    {"relay", 2, relay},   {"wait", 2, waitFor},      {"end", 3, end},       {"pid", 2, processId},
    {"read", 2, readFile}, {"terminal", 2, terminal}, {"off", 1, switchOff},
};

Answer_t execute(const std::string& line) {
    const Words_t words = wordsOf(line);
    for (const Command_t& command : COMMANDS) {
        if (!words.empty() && words[0] == command.name && words.size() >= command.words) {
            return command.run(words);
        }
    }
    return {.status = 2, .out = {}, .err = "no such command: " + line + "\n"};
}

void followTable() {
    std::ifstream table("/etc/machine.tab");
    for (std::string line; std::getline(table, line);) {
        const Answer_t answer = line.empty() ? Answer_t{} : execute(line);
        if (answer.status != 0) {
            std::printf("init: %s: status %d\n%s%s", line.c_str(), answer.status, answer.out.c_str(),
                        answer.err.c_str());
            std::fflush(stdout);
        }
    }
}

void serve(int port) {
    std::string input;
    char bytes[4096];
    for (;;) {
        const ssize_t count = read(port, bytes, sizeof bytes);
        if (count <= 0) {
            usleep(10000); // nobody is at the other end yet
            continue;
        }
        input.append(bytes, static_cast<std::size_t>(count));
        for (std::size_t at; (at = input.find('\n')) != std::string::npos;) {
            const Answer_t answer = execute(input.substr(0, at));
            input.erase(0, at + 1);
            const std::string reply = std::to_string(answer.status) + " " + std::to_string(answer.out.size()) + " " +
                                      std::to_string(answer.err.size()) + "\n" + answer.out + answer.err;
            (void)writeAll(port, reply.data(), reply.size());
        }
    }
}

} // namespace

int main() {
    mountAll();
    (void)setenv("PATH", "/usr/sbin:/usr/bin", 1);
    followTable();
    const int port = open(portNamed("agent").c_str(), O_RDWR | O_CLOEXEC);
    if (port < 0) {
        std::perror("the port \"agent\"");
        off();
    }
    serve(port);
}
