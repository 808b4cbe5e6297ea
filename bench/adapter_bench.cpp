/**
 * What a status request costs: through socket, dispatch, page builder and an instant bus, beside a bare echo of the
 * same message sizes between two processes in the same run. Started by bench/run, which gives it a /dev/enc-0.
 */
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "counters.h"
#include "latency.h"
#include "mmsg.h"
#include "ses_mesgs.h"

namespace {

constexpr int CHASSIS = 5;
constexpr unsigned REQUEST_SIZE = 72;
constexpr unsigned REPLY_SIZE = 192; // status page of chassis type 5
constexpr unsigned WARM_UP = 2000;

std::string binDir;
std::string instantDir;
std::string folder;
unsigned requests = 20000;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

/* ------------------------------------------------------------------------------------------ processes */

pid_t spawn(const std::vector<std::string>& words,
            const std::vector<std::pair<std::string, std::string>>& environment) {
    const pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDOUT_FILENO);
    std::vector<char*> argv;
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

void stop(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

void call(const std::vector<std::string>& words) {
    int status = 0;
    waitpid(spawn(words, {}), &status, 0);
    if (status != 0) {
        throw std::runtime_error(words[0] + " " + words[1] + " failed");
    }
}

/* -------------------------------------------------------------------------------------------- sockets */

sockaddr_un addressOf(const std::string& name) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s/%s", folder.c_str(), name.c_str());
    return address;
}

int listenAt(const std::string& name) {
    const sockaddr_un address = addressOf(name);
    unlink(address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 || listen(fd, 1) != 0) {
        fail(address.sun_path);
    }
    return fd;
}

int connectTo(const std::string& name) {
    const sockaddr_un address = addressOf(name);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    for (int i = 0; i < 200; ++i) {
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            return fd;
        }
        usleep(20000);
    }
    fail(address.sun_path);
}

void readWhole(int fd, U8_t* bytes, std::size_t size) {
    if (recv(fd, bytes, size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
        fail("recv");
    }
}

/** Takes one message off the socket; returns its length. */
unsigned readMessage(int fd, U8_t* bytes) {
    readWhole(fd, bytes, MMSG_K_HEADER_SIZE);
    const unsigned length = wireAt<MMCH_t>(static_cast<const void*>(bytes)).mmsg_length;
    if (length > MMSG_K_HEADER_SIZE) {
        readWhole(fd, bytes + MMSG_K_HEADER_SIZE, length - MMSG_K_HEADER_SIZE);
    }
    return length;
}

struct Request {
    U8_t bytes[REQUEST_SIZE] = {};

    explicit Request(U8_t requestor) {
        auto& mmch = wireAt<MMCH_t>(static_cast<void*>(bytes));
        mmch.message_type = MSG_E_TYPE_MMSG;
        mmch.mmch_version = MMCH_K_VERSION;
        mmch.mmsg_length = REQUEST_SIZE;
        mmch.opcode.request.protocol = MMSG_E_PROTOCOL_SES;
        mmch.opcode.request.type = SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND;
        mmch.requestor = requestor;
        mmch.dest_ep = MMSG_E_EPID_ES_ADAPTERMP;
        mmsgAddRecipient(mmch.recipient_loc_bm, MMSG_E_EPID_ES_ADAPTERMP);
        auto& command = wireAt<RcvDiagResCommand_t>(static_cast<void*>(bytes + MMSG_K_HEADER_SIZE));
        command.operationCode = SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND;
        command.pcv = 1;
        command.pageCode = SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE;
        command.allocationLength = 4000;
    }
};

void sendRequest(int fd, const Request& request) {
    if (send(fd, request.bytes, REQUEST_SIZE, 0) != REQUEST_SIZE) {
        fail("send");
    }
}

/** A first round trip: events that come before the reply are dropped. */
void settle(int fd, const Request& request) {
    sendRequest(fd, request);
    U8_t reply[MMSG_K_MAX_SIZE];
    while (readMessage(fd, reply) != REPLY_SIZE) {
    }
}

/** A round trip when nothing changes in the enclosure any more: the next bytes are the reply, read like an echo's. */
void roundTrip(int fd, const Request& request) {
    sendRequest(fd, request);
    U8_t reply[REPLY_SIZE];
    readWhole(fd, reply, sizeof(reply));
}

/* --------------------------------------------------------------------------------------- the adapter */

class Adapter {
public:
    Adapter(bool tracing, Counters* shared) : counters(shared) {
        std::ofstream(folder + "/mpu.conf") << "Version = 15\nChassisType = Quadra\nMmsgDirectory = " << folder
                                            << "\nLogDirectory = " << folder << "\n";
        call({binDir + "/mpuparams", "create", "--key", key, "--config", folder + "/mpu.conf"});
        std::vector<std::string> set = {
            binDir + "/mpuparams", "set", "--key", key, "chassisType=" + std::to_string(CHASSIS), "flags+=RcpComplete"};
        if (tracing) {
            set.push_back("flags+=CmapTracingEnabled");
        }
        call(set);
    }
    Adapter(const Adapter&) = delete;
    Adapter& operator=(const Adapter&) = delete;
    ~Adapter() {
        stop(pid);
        call({binDir + "/mpuparams", "delete", "--key", key});
    }

    /** `under`: the words of a tool that runs the adapter. */
    void start(std::vector<std::string> under = {}) {
        under.insert(under.end(), {binDir + "/esa", key});
        pid = spawn(under, {{"LD_LIBRARY_PATH", instantDir}, {"ESA_BENCH_COUNTERS", folder + "/counters"}});
    }

    std::string key = std::to_string(0x46000000 + getpid());
    pid_t pid = -1;
    Counters* counters;
};

/** Lines of /proc/PID/FILE that start with one of the names. */
long procNumber(pid_t pid, const char* file, const std::string& name) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/" + file);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(name, 0) == 0) {
            return std::atol(line.c_str() + name.size());
        }
    }
    return -1;
}

/** Processor time of a process, in clock ticks. */
long processorTicks(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::stringstream text;
    text << in.rdbuf();
    std::istringstream fields(text.str().substr(text.str().rfind(')') + 2));
    std::vector<long> numbers;
    std::string word;
    while (fields >> word) {
        numbers.push_back(std::atol(word.c_str()));
    }
    return numbers[11] + numbers[12];
}

/* -------------------------------------------------------------------------------------------- reports */

void printRow(const char* what, const Latency& l, const Latency* echo) {
    std::printf("%-46s %9.1f %9.1f %9.1f %12.0f", what, l.median, l.p99, l.p999, l.perSecond);
    if (echo != nullptr) {
        std::printf("   %5.2f", echo->median / l.median);
    }
    std::printf("\n");
}

/** Hands every message of one size on from one socket to the other, until one of them closes. */
bool relay(int from, int to, std::size_t size) {
    U8_t bytes[REPLY_SIZE];
    return recv(from, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size) &&
           send(to, bytes, size, 0) == static_cast<ssize_t>(size);
}

void printHeading(const char* title) {
    std::printf("\n%-46s %9s %9s %9s %12s   %s\n", title, "p50 us", "p99 us", "p99.9 us", "per second",
                "of echo (p50)");
}

using Ends = std::array<int, 2>;

Ends connectedPair() {
    Ends ends;
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
        fail("socketpair");
    }
    return ends;
}

/** A child process that does this until it says no. */
template <typename Step>
pid_t childThatRepeats(bool pinned, Step step) {
    const pid_t child = fork();
    if (child == 0) {
        while (step()) {
        }
        _exit(0);
    }
    pinProcess(child, pinned);
    return child;
}

pid_t startEcho(int fd, bool pinned) {
    return childThatRepeats(pinned, [fd] {
        U8_t bytes[REPLY_SIZE] = {};
        return recv(fd, bytes, REQUEST_SIZE, MSG_WAITALL) == REQUEST_SIZE &&
               send(fd, bytes, REPLY_SIZE, 0) == REPLY_SIZE;
    });
}

Latency measureTrips(int fd) {
    U8_t bytes[REPLY_SIZE] = {};
    return measure(WARM_UP, requests, [&] {
        if (send(fd, bytes, REQUEST_SIZE, 0) != REQUEST_SIZE) {
            fail("send");
        }
        readWhole(fd, bytes, REPLY_SIZE);
    });
}

/** A bare echo of the same sizes between this process and a child. */
Latency measureEcho(bool pinned) {
    const Ends link = connectedPair();
    const pid_t echo = startEcho(link[1], pinned);
    const Latency latency = measureTrips(link[0]);
    stop(echo);
    std::for_each(link.begin(), link.end(), close);
    return latency;
}

/** The same with a process between the two that only hands the bytes on: the least that any switch costs. */
Latency measureRelayedEcho() {
    const Ends near = connectedPair();
    const Ends far = connectedPair();
    pinToOneProcessor(true);
    const pid_t middle = childThatRepeats(
        true, [=] { return relay(near[1], far[0], REQUEST_SIZE) && relay(far[0], near[1], REPLY_SIZE); });
    const pid_t echo = startEcho(far[1], true);
    const Latency latency = measureTrips(near[0]);
    pinToOneProcessor(false);
    stop(middle);
    stop(echo);
    std::for_each(near.begin(), near.end(), close);
    std::for_each(far.begin(), far.end(), close);
    return latency;
}

/** The adapter with this process as its switch: connected and past its lamp test. */
int acceptAdapter(int listener, const Request& request) {
    const int fd = accept(listener, nullptr, nullptr);
    settle(fd, request);
    return fd;
}

void reportMemory(const Adapter& adapter) {
    std::printf("\nResident %ld kB, anonymous %ld kB, peak %ld kB\n", procNumber(adapter.pid, "smaps_rollup", "Rss:"),
                procNumber(adapter.pid, "smaps_rollup", "Anonymous:"), procNumber(adapter.pid, "status", "VmHWM:"));
}

/** Eleven passes of the loop poll once: eleven refused messages cost a poll, eleven requests cost one as well. */
void reportTransfers(int fd, const Request& request, const Adapter& adapter) {
    Request refused(request);
    refused.bytes[12] = 0;
    const auto transfers = [&] { return adapter.counters->transfers.load(); };
    const auto refuse = [&] {
        for (int i = 0; i < 11; ++i) {
            sendRequest(fd, refused);
        }
        usleep(200000);
    };
    const unsigned long start = transfers();
    refuse();
    const unsigned long poll = transfers() - start;
    for (int i = 0; i < 11; ++i) {
        roundTrip(fd, request);
    }
    usleep(100000);
    std::printf("I2C transfers: %lu a poll, %lu a status page\n", poll, (transfers() - start - 2 * poll) / 11);
}

void reportIdle(const Adapter& adapter, unsigned seconds) {
    const long ticks = processorTicks(adapter.pid);
    const long voluntary = procNumber(adapter.pid, "status", "voluntary_ctxt_switches:");
    sleep(seconds);
    const double milliseconds =
        static_cast<double>(processorTicks(adapter.pid) - ticks) * 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
    std::printf("Idle for %u s: %ld wake-ups, %.0f ms of processor time\n", seconds,
                procNumber(adapter.pid, "status", "voluntary_ctxt_switches:") - voluntary, milliseconds);
}

/** Instructions of an adapter that starts, answers so many requests and ends. */
double instructionsOfARun(int listener, const Request& request, unsigned count, Counters* counters) {
    const std::string file = folder + "/callgrind.out";
    Adapter adapter(false, counters);
    adapter.start({"/usr/bin/valgrind", "--quiet", "--tool=callgrind", "--callgrind-out-file=" + file});
    const int fd = acceptAdapter(listener, request);
    for (unsigned i = 0; i < count; ++i) {
        roundTrip(fd, request);
    }
    kill(adapter.pid, SIGTERM);
    waitpid(adapter.pid, nullptr, 0);
    close(fd);
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("totals: ", 0) == 0) {
            return std::atof(line.c_str() + 8);
        }
    }
    throw std::runtime_error("callgrind left no count");
}

/** The difference of two runs leaves the start out. Every eleventh pass of the loop polls: its share is in the figure.
 */
void reportInstructions(int listener, const Request& request, Counters* counters) {
    constexpr unsigned FEW = 1100;
    constexpr unsigned MANY = 5500;
    const double few = instructionsOfARun(listener, request, FEW, counters);
    const double many = instructionsOfARun(listener, request, MANY, counters);
    std::printf("Instructions per status request, its share of a poll included: %.0f\n", (many - few) / (MANY - FEW));
}

void benchDirect(Counters* counters, unsigned idleSeconds) {
    const Request request(MMSG_E_EPID_SNMPMP);
    const int listener = listenAt("esadapter");
    {
        Adapter adapter(false, counters);
        adapter.start();
        const int fd = acceptAdapter(listener, request);
        const unsigned long allocations = counters->allocations.load();
        for (bool pinned : {true, false}) {
            pinToOneProcessor(pinned);
            pinProcess(adapter.pid, pinned);
            printHeading(pinned ? "Pinned to one processor" : "Free to move");
            const Latency echo = measureEcho(pinned);
            printRow("echo between two processes", echo, nullptr);
            printRow("status request, tracing off", measure(WARM_UP, requests, [&] { roundTrip(fd, request); }), &echo);
        }
        reportMemory(adapter);
        reportTransfers(fd, request, adapter);
        std::printf("Heap allocations after start-up: %lu\n", counters->allocations.load() - allocations);
        if (idleSeconds > 0) {
            reportIdle(adapter, idleSeconds);
        }
        close(fd);
    }
    reportInstructions(listener, request, counters);
    Adapter traced(true, counters);
    traced.start();
    const int fd = acceptAdapter(listener, request);
    pinToOneProcessor(true);
    pinProcess(traced.pid, true);
    printHeading("Tracing on, pinned");
    printRow("status request, every message printed",
             measure(WARM_UP / 20, requests / 20, [&] { roundTrip(fd, request); }), nullptr);
    pinToOneProcessor(false);
    close(fd);
    close(listener);
}

/** A process in the adapter's place at the switch, which answers without doing anything. */
pid_t startSwitchedEcho() {
    const pid_t child = fork();
    if (child == 0) {
        const int fd = connectTo("esadapter");
        U8_t bytes[MMSG_K_MAX_SIZE] = {};
        for (;;) {
            (void)readMessage(fd, bytes);
            auto& mmch = wireAt<MMCH_t>(static_cast<void*>(bytes));
            const U8_t requestor = mmch.requestor;
            std::memset(mmch.recipient_loc_bm, 0, sizeof(mmch.recipient_loc_bm));
            mmsgAddRecipient(mmch.recipient_loc_bm, requestor);
            mmch.mmsg_length = REPLY_SIZE;
            mmch.requestor = MMSG_E_EPID_ES_ADAPTERMP;
            if (send(fd, bytes, REPLY_SIZE, 0) != REPLY_SIZE) {
                _exit(0);
            }
        }
    }
    return child;
}

/** Connects as a peer of the switch; the greeting says which endpoint this is. */
int connectPeer(U8_t* endpoint) {
    const int fd = connectTo("peer");
    U8_t greeting[MMSG_K_MAX_SIZE];
    (void)readMessage(fd, greeting);
    *endpoint = wireAt<MMCH_t>(static_cast<const void*>(greeting)).dest_ep;
    return fd;
}

Latency measureSwitched(pid_t behind, pid_t messageSwitch) {
    U8_t endpoint = 0;
    const int fd = connectPeer(&endpoint);
    const Request request(endpoint);
    settle(fd, request);
    pinToOneProcessor(true);
    pinProcess(behind, true);
    pinProcess(messageSwitch, true);
    const Latency latency = measure(WARM_UP, requests, [&] { roundTrip(fd, request); });
    pinToOneProcessor(false);
    close(fd);
    return latency;
}

void benchSwitched(Counters* counters) {
    printHeading("Through msm, pinned");
    unlink((folder + "/esadapter").c_str());
    const pid_t messageSwitch = spawn({binDir + "/msm", "--directory", folder, "--quiet", "--rate", "0"}, {});
    close(connectTo("startup"));
    const pid_t echoProcess = startSwitchedEcho();
    const Latency echo = measureRelayedEcho();
    printRow("echo through a process that hands bytes on", echo, nullptr);
    printRow("echo through msm", measureSwitched(echoProcess, messageSwitch), &echo);
    stop(echoProcess);
    {
        Adapter adapter(false, counters);
        adapter.start();
        printRow("status request through msm", measureSwitched(adapter.pid, messageSwitch), &echo);
    }
    stop(messageSwitch);
}

Counters* shareCounters() {
    const std::string path = folder + "/counters";
    const int file = open(path.c_str(), O_RDWR | O_CREAT, 0600);
    if (file < 0 || ftruncate(file, sizeof(Counters)) != 0) {
        fail(path);
    }
    void* shared = mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return static_cast<Counters*>(shared);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: adapter_bench BIN-DIRECTORY INSTANT-DIRECTORY [REQUESTS [IDLE-SECONDS]]\n");
        return 1;
    }
    binDir = argv[1];
    instantDir = argv[2];
    requests = argc > 3 ? static_cast<unsigned>(std::atoi(argv[3])) : requests;
    const unsigned idleSeconds = argc > 4 ? static_cast<unsigned>(std::atoi(argv[4])) : 0;
    std::signal(SIGPIPE, SIG_IGN);
    char pattern[] = "/tmp/esa-bench-XXXXXX";
    folder = mkdtemp(pattern);
    int status = 0;
    try {
        Counters* counters = shareCounters();
        benchDirect(counters, idleSeconds);
        benchSwitched(counters);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "adapter_bench: %s\n", error.what());
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
