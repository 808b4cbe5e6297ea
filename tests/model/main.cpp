/** Random lives for as long as one likes. */
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "comparison.h"
#include "generator.h"
#include "real_adapter.h"
#include "shrinker.h"

using namespace model;

namespace {

struct Options_t {
    double seconds = 3600;
    std::uint64_t first = 1;
    std::uint64_t count = UINT64_MAX;
    std::string replay;
    bool functions = false;
    bool print = false;
};

int usage() {
    (void)std::fputs("usage: lives [--seconds N] [--first SEED] [--seed SEED] [--functions]\n"
                     "       lives --replay FILE [--print]\n",
                     stderr);
    return 2;
}

bool parse(int argc, char* argv[], Options_t& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--functions") {
            options.functions = true;
        } else if (name == "--print") {
            options.print = true;
        } else if (i + 1 == argc) {
            return false;
        } else if (name == "--seconds") {
            options.seconds = std::atof(argv[++i]);
        } else if (name == "--first" || name == "--seed") {
            options.first = std::strtoull(argv[++i], nullptr, 10);
            options.count = name == "--seed" ? 1 : options.count;
        } else if (name == "--replay") {
            options.replay = argv[++i];
        } else {
            return false;
        }
    }
    return true;
}

std::size_t passesOf(const Life_t& life) {
    std::size_t passes = 0;
    for (const Step_t& step : life.steps) {
        passes += step.kind == Step_t::PASS ? step.count : 0;
    }
    return passes;
}

void report(const Life_t& life) {
    const Life_t small = shrink(life, [&](const Life_t& one) { return compare(one, liveModel, liveReal).has_value(); });
    std::printf("--- the shortest life that differs\n%s--- how it differs\n%s", toText(small).c_str(),
                compare(small, liveModel, liveReal).value_or("not any more\n").c_str());
}

int replay(const Options_t& options) {
    std::string error;
    const std::optional<Life_t> life = lifeFromFile(options.replay, error);
    if (!life) {
        std::printf("%s: %s\n", options.replay.c_str(), error.c_str());
        return 2;
    }
    if (options.print) {
        for (const Entry_t& entry : streamOf(*life, liveReal)) {
            std::printf("%s\n", toText(entry).c_str());
        }
    }
    const auto different = compare(*life, liveModel, liveReal);
    std::printf("%s\n", different.value_or("equal").c_str());
    return different ? 1 : 0;
}

void printFunctions(const FunctionPairs_t& pairs) {
    for (const auto& [names, count] : pairs) {
        if (names.first != names.second) {
            std::printf("%10lu  model %-45s adapter %s\n", count, names.first.c_str(), names.second.c_str());
        }
    }
}

int live(const Options_t& options) {
    const Generator_t generator(liveReal);
    FunctionPairs_t pairs;
    std::size_t lives = 0, passes = 0, entries = 0;
    int status = 0;
    const auto start = std::chrono::steady_clock::now();
    const std::chrono::duration<double> limit(options.seconds);
    for (std::uint64_t seed = options.first; lives < options.count && std::chrono::steady_clock::now() - start < limit;
         ++seed) {
        const Life_t life = generator.life(seed);
        const std::vector<Entry_t> foretold = streamOf(life, liveModel), found = streamOf(life, liveReal);
        ++lives;
        passes += passesOf(life);
        entries += found.size();
        if (options.functions) {
            countFunctions(foretold, found, pairs);
        }
        if (difference(foretold, found, options.functions ? Functions_e::IGNORED : Functions_e::COMPARED)) {
            std::printf("seed %llu differs\n", static_cast<unsigned long long>(seed));
            report(life);
            status = 1;
            break;
        }
    }
    printFunctions(pairs);
    std::printf("%zu lives, %zu passes, %zu entries compared, %.1f s of processor time: %s\n", lives, passes, entries,
                static_cast<double>(std::clock()) / CLOCKS_PER_SEC, status == 0 ? "all equal" : "a difference");
    return status;
}

} // namespace

int main(int argc, char* argv[]) {
    Options_t options;
    if (!parse(argc, argv, options)) {
        return usage();
    }
    return options.replay.empty() ? live(options) : replay(options);
}
