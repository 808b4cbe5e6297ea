// soak: the adapter under load for long, against the simulated enclosure, with every message and transfer checked.

#include "processes.h"
#include "rollover.h"
#include "traffic.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace {

using namespace soak;
using Clock = std::chrono::steady_clock;

constexpr Chassis kChassis[] = {{"vsc055", 5, 2}, {"quadra", 3, 3}};

struct Options {
    std::uint64_t messages = 1000000;
    std::uint64_t polls = 10000;
    std::string chassis = "vsc055";
    unsigned minutes = 20;
    unsigned seed = 1;
    std::filesystem::path binaries;
    std::filesystem::path folder;
};

unsigned failures = 0;
unsigned successes = 0;

void check(bool right, const std::string& what) {
    std::printf("%s %s\n", right ? "PASS" : "FAIL", what.c_str());
    std::fflush(stdout);
    ++(right ? successes : failures);
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string text(const Holdings& held) {
    return std::to_string(held.resident) + " KB resident, " + std::to_string(held.anonymous) + " KB anonymous, " +
           std::to_string(held.descriptors) + " descriptors";
}

void checkHoldings(const Holdings& before, const Holdings& after, const std::string& when) {
    std::printf("  %s, before: %s\n  %s, after:  %s\n", when.c_str(), text(before).c_str(), when.c_str(),
                text(after).c_str());
    check(after.anonymous <= before.anonymous, when + ": no anonymous memory more than before");
    check(after.descriptors == before.descriptors, when + ": as many descriptors as before");
}

void printCounts(const Traffic& traffic, double seconds) {
    const Counts& counts = traffic.counts();
    std::printf("  %llu messages, %llu polls, %llu changes of the enclosure (%llu of them bus failures), %.1f s\n",
                static_cast<unsigned long long>(counts.messages), static_cast<unsigned long long>(traffic.polls()),
                static_cast<unsigned long long>(counts.changes), static_cast<unsigned long long>(counts.busFaults),
                seconds);
    std::printf("  times that this machine was too slow to foretell the polls: %llu\n",
                static_cast<unsigned long long>(counts.stalls));
    for (const auto* kinds : {&counts.sent, &counts.received}) {
        std::printf("  %s\n", kinds == &counts.sent ? "sent to the adapter:" : "from the adapter, each expected:");
        for (const auto& [kind, count] : *kinds) {
            std::printf("    %-24s %10llu\n", kind.c_str(), static_cast<unsigned long long>(count));
        }
    }
}

/// The run that counts messages and polls; tracing off, as it is in service.
void load(const Options& options, const Chassis& chassis, Clock::time_point deadline) {
    Programs programs(options.binaries, options.folder / "load", chassis, false);
    AdapterSocket adapter(programs.folder());
    Simulator simulator(programs.controlSocket());
    Traffic traffic(chassis, adapter, simulator, options.seed);
    programs.startAdapter();
    const Clock::time_point start = Clock::now();
    traffic.begin();
    std::printf("  started: %s\n", text(programs.adapterHoldings()).c_str());

    std::optional<Holdings> warm;
    Clock::time_point told = start;
    while (traffic.counts().messages < options.messages || traffic.polls() < options.polls) {
        if (Clock::now() > deadline) {
            throw Mismatch("the time is over after " + std::to_string(traffic.counts().messages) + " messages and " +
                           std::to_string(traffic.polls()) + " polls\n");
        }
        traffic.round();
        if (!warm && traffic.counts().messages >= options.messages / 10) {
            warm = programs.adapterHoldings();
        }
        if (secondsSince(told) >= 10) {
            told = Clock::now();
            std::printf("  %4.0f s: %llu messages, %llu polls; %s\n", secondsSince(start),
                        static_cast<unsigned long long>(traffic.counts().messages),
                        static_cast<unsigned long long>(traffic.polls()), text(programs.adapterHoldings()).c_str());
            std::fflush(stdout);
        }
    }
    printCounts(traffic, secondsSince(start));
    check(true, "every message and event of the adapter was the expected one, in its order, none lost or doubled");
    check(true, "every round made exactly the transfers its polls and pages need");
    check(programs.adapterRuns(), "the adapter still runs");
    checkHoldings(*warm, programs.adapterHoldings(), "load");
    check(std::filesystem::file_size(programs.log(1)) == 0, "nothing was traced");
    check(!std::filesystem::exists(programs.folder() / "log" / "altevents.jsonl"), "no critical error was reported");
}

/// The run that writes logs.
void logs(const Options& options, const Chassis& chassis, Clock::time_point deadline) {
    Programs programs(options.binaries, options.folder / "logs", chassis, true);
    AdapterSocket adapter(programs.folder());
    Simulator simulator(programs.controlSocket());
    Traffic traffic(chassis, adapter, simulator, options.seed + 1);
    programs.startAdapter();
    const Clock::time_point start = Clock::now();
    traffic.begin();
    const Rollover result = turnLogsOver(programs, traffic, deadline);
    std::printf("  traced: %llu messages, %llu polls, %.1f s\n",
                static_cast<unsigned long long>(traffic.counts().messages),
                static_cast<unsigned long long>(traffic.polls()), secondsSince(start));
    std::printf("  lines in esa_01.log: %llu, in esa_02.log: %llu\n",
                static_cast<unsigned long long>(result.linesOfFirst),
                static_cast<unsigned long long>(result.linesOfSecond));
    // The line that finds its log too large is the first of the next one.
    check(result.linesOfFirst == 99999 && result.linesOfSecond == 100000, "logs turned over at every 100000th line");
    check(result.sizeOfFirst == 2000000000, "a log of 2000000000 bytes was left for the next one, and kept");
    checkHoldings(result.before, result.after, "logs");
}

void run(const Options& options) {
    const auto* chassis = std::find_if(std::begin(kChassis), std::end(kChassis),
                                       [&options](const Chassis& one) { return options.chassis == one.name; });
    const Clock::time_point deadline = Clock::now() + std::chrono::minutes(options.minutes);
    for (const auto part : {load, logs}) {
        try {
            part(options, *chassis, deadline);
        } catch (const std::exception& failure) {
            check(false, failure.what());
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("The adapter under load for long.", "tests/soak/run");
    Options options;
    app.add_option("--messages", options.messages, "messages to the adapter, at least")
        ->check(CLI::Range(1000, 1000000000))
        ->capture_default_str();
    app.add_option("--polls", options.polls, "polls of the enclosure, at least; there is one in 11 messages")
        ->check(CLI::Range(0, 100000000))
        ->capture_default_str();
    app.add_option("--chassis", options.chassis, "the enclosure")
        ->check(CLI::IsMember({"vsc055", "quadra"}))
        ->capture_default_str();
    app.add_option("--minutes", options.minutes, "time after which what is not done counts as failed")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "of the random messages and faults")->capture_default_str();
    app.add_option("--programs", options.binaries, "folder of esa, encsim and mpuparams")->required();
    app.add_option("--folder", options.folder, "folder for sockets and logs")->required();
    CLI11_PARSE(app, argc, argv);
    std::printf("soak: %s, %llu messages and %llu polls at least, seed %u\n", options.chassis.c_str(),
                static_cast<unsigned long long>(options.messages), static_cast<unsigned long long>(options.polls),
                options.seed);
    run(options);
    std::printf("%u passed, %u failed\n", successes, failures);
    return failures == 0 ? 0 : 1;
}
