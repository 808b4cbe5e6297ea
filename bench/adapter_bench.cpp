/**
 * What a status request costs: through socket, dispatch, page builder and an instant bus, beside a bare echo of the
 * same message sizes between two processes in the same run. Started by bench/run, which gives it a /dev/enc-0.
 */
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "exchange.h"
#include "latency.h"
#include "processes.h"

namespace {

constexpr unsigned WARM_UP = 2000;

unsigned requests = 20000;

void printRow(const char* what, const Latency_t& l, const Latency_t* echo) {
    std::printf("%-46s %9.1f %9.1f %9.1f %12.0f", what, l.median, l.p99, l.p999, l.perSecond);
    if (echo != nullptr) {
        std::printf("   %5.2f", echo->median / l.median);
    }
    std::printf("\n");
}

void printHeading(const char* title) {
    std::printf("\n%-46s %9s %9s %9s %12s   %s\n", title, "p50 us", "p99 us", "p99.9 us", "per second",
                "of echo (p50)");
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
    return childThatRepeats(pinned, [fd] { return echoOnce(fd); });
}

Latency_t measureTrips(int fd) {
    U8_t bytes[REPLY_SIZE] = {};
    return measure(WARM_UP, requests, [&] {
        if (send(fd, bytes, REQUEST_SIZE, 0) != REQUEST_SIZE) {
            fail("send");
        }
        readWhole(fd, bytes, REPLY_SIZE);
    });
}

/** A bare echo of the same sizes between this process and a child. */
Latency_t measureEcho(bool pinned) {
    const Ends_t link = connectedPair();
    const pid_t echo = startEcho(link[1], pinned);
    const Latency_t latency = measureTrips(link[0]);
    stop(echo);
    std::for_each(link.begin(), link.end(), close);
    return latency;
}

/** The same with a process between the two that only hands the bytes on: the least that any switch costs. */
Latency_t measureRelayedEcho() {
    const Ends_t near = connectedPair();
    const Ends_t far = connectedPair();
    pinToOneProcessor(true);
    const pid_t middle = childThatRepeats(
        true, [=] { return relay(near[1], far[0], REQUEST_SIZE) && relay(far[0], near[1], REPLY_SIZE); });
    const pid_t echo = startEcho(far[1], true);
    const Latency_t latency = measureTrips(near[0]);
    pinToOneProcessor(false);
    stop(middle);
    stop(echo);
    std::for_each(near.begin(), near.end(), close);
    std::for_each(far.begin(), far.end(), close);
    return latency;
}

/** The adapter with this process as its switch: connected and past its lamp test. */
int acceptAdapter(int listener, const Request_t& request) {
    const int fd = accept(listener, nullptr, nullptr);
    settle(fd, request);
    return fd;
}

void reportMemory(const Adapter_t& adapter) {
    std::printf("\nResident %ld kB, anonymous %ld kB, peak %ld kB\n", procNumber(adapter.pid, "smaps_rollup", "Rss:"),
                procNumber(adapter.pid, "smaps_rollup", "Anonymous:"), procNumber(adapter.pid, "status", "VmHWM:"));
}

/** Eleven passes of the loop poll once: eleven refused messages cost a poll, eleven requests cost one as well. */
void reportTransfers(int fd, const Request_t& request, const Adapter_t& adapter) {
    Request_t refused(request);
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

void reportIdle(const Adapter_t& adapter, unsigned seconds) {
    const long ticks = processorTicks(adapter.pid);
    const long voluntary = procNumber(adapter.pid, "status", "voluntary_ctxt_switches:");
    sleep(seconds);
    const double milliseconds =
        static_cast<double>(processorTicks(adapter.pid) - ticks) * 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK));
    std::printf("Idle for %u s: %ld wake-ups, %.0f ms of processor time\n", seconds,
                procNumber(adapter.pid, "status", "voluntary_ctxt_switches:") - voluntary, milliseconds);
}

/** Instructions of an adapter that starts, answers so many requests and ends. */
double instructionsOfARun(int listener, const Request_t& request, unsigned count, Counters_t* counters) {
    const std::string file = place.folder + "/callgrind.out";
    Adapter_t adapter(false, counters);
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
void reportInstructions(int listener, const Request_t& request, Counters_t* counters) {
    constexpr unsigned FEW = 1100;
    constexpr unsigned MANY = 5500;
    const double few = instructionsOfARun(listener, request, FEW, counters);
    const double many = instructionsOfARun(listener, request, MANY, counters);
    std::printf("Instructions per status request, its share of a poll included: %.0f\n", (many - few) / (MANY - FEW));
}

void benchDirect(Counters_t* counters, unsigned idleSeconds) {
    const Request_t request(MMSG_E_EPID_SNMPMP);
    const int listener = listenAt("esadapter");
    {
        Adapter_t adapter(false, counters);
        adapter.start();
        const int fd = acceptAdapter(listener, request);
        const unsigned long allocations = counters->allocations.load();
        for (bool pinned : {true, false}) {
            pinToOneProcessor(pinned);
            pinProcess(adapter.pid, pinned);
            printHeading(pinned ? "Pinned to one processor" : "Free to move");
            const Latency_t echo = measureEcho(pinned);
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
    Adapter_t traced(true, counters);
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

Latency_t measureSwitched(pid_t behind, pid_t messageSwitch) {
    U8_t endpoint = 0;
    const int fd = connectPeer(&endpoint);
    const Request_t request(endpoint);
    settle(fd, request);
    pinToOneProcessor(true);
    pinProcess(behind, true);
    pinProcess(messageSwitch, true);
    const Latency_t latency = measure(WARM_UP, requests, [&] { roundTrip(fd, request); });
    pinToOneProcessor(false);
    close(fd);
    return latency;
}

void benchSwitched(Counters_t* counters) {
    printHeading("Through msm, pinned");
    unlink((place.folder + "/esadapter").c_str());
    const pid_t messageSwitch = spawn({place.programs + "/msm", "--directory", place.folder, "--quiet", "--rate", "0"});
    close(connectTo("startup"));
    const pid_t echoProcess = startSwitchedEcho();
    const Latency_t echo = measureRelayedEcho();
    printRow("echo through a process that hands bytes on", echo, nullptr);
    printRow("echo through msm", measureSwitched(echoProcess, messageSwitch), &echo);
    stop(echoProcess);
    {
        Adapter_t adapter(false, counters);
        adapter.start();
        printRow("status request through msm", measureSwitched(adapter.pid, messageSwitch), &echo);
    }
    stop(messageSwitch);
}

Counters_t* shareCounters() {
    const std::string path = place.folder + "/counters";
    const int file = open(path.c_str(), O_RDWR | O_CREAT, 0600);
    if (file < 0 || ftruncate(file, sizeof(Counters_t)) != 0) {
        fail(path);
    }
    void* shared = mmap(nullptr, sizeof(Counters_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return static_cast<Counters_t*>(shared);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: adapter_bench BIN-DIRECTORY INSTANT-DIRECTORY [REQUESTS [IDLE-SECONDS]]\n");
        return 1;
    }
    place.programs = argv[1];
    place.instant = argv[2];
    requests = argc > 3 ? static_cast<unsigned>(std::atoi(argv[3])) : requests;
    const unsigned idleSeconds = argc > 4 ? static_cast<unsigned>(std::atoi(argv[4])) : 0;
    std::signal(SIGPIPE, SIG_IGN);
    char pattern[] = "/tmp/esa-bench-XXXXXX";
    place.folder = mkdtemp(pattern);
    int status = 0;
    try {
        Counters_t* counters = shareCounters();
        benchDirect(counters, idleSeconds);
        benchSwitched(counters);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "adapter_bench: %s\n", error.what());
        status = 1;
    }
    std::filesystem::remove_all(place.folder);
    return status;
}
