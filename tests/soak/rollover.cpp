#include "rollover.h"

#include <fstream>

namespace soak {
namespace {

constexpr std::uintmax_t kTooLarge = 2000000000;
// The size is looked at once in 100000 lines, and a round writes hundreds.
constexpr unsigned kMostRounds = 5000;

/// Lines before the hole in a file that has been made larger than what was written to it.
std::uint64_t linesOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    std::uint64_t lines = 0;
    while (std::getline(file, line)) {
        if (line.find('\0') != std::string::npos) {
            break;
        }
        ++lines;
        if (file.peek() == '\0') {
            break;
        }
    }
    return lines;
}

/// Makes log `number` too large and lets the adapter write until the next one is there; the lines it had by then.
std::uint64_t turnOver(Programs& programs, Traffic& traffic, unsigned number,
                       std::chrono::steady_clock::time_point deadline) {
    std::filesystem::resize_file(programs.log(number), kTooLarge); // a hole: nothing is written
    for (unsigned rounds = 0; !std::filesystem::exists(programs.log(number + 1)); ++rounds) {
        if (rounds == kMostRounds || std::chrono::steady_clock::now() > deadline) {
            throw Mismatch("log " + std::to_string(number) + " is too large, and no other has been begun\n");
        }
        traffic.round();
    }
    return linesOf(programs.log(number));
}

} // namespace

Rollover turnLogsOver(Programs& programs, Traffic& traffic, std::chrono::steady_clock::time_point deadline) {
    Rollover result;
    for (unsigned rounds = 0; rounds < 30; ++rounds) {
        traffic.round();
    }
    result.before = programs.adapterHoldings();
    result.linesOfFirst = turnOver(programs, traffic, 1, deadline);
    result.linesOfSecond = turnOver(programs, traffic, 2, deadline);
    result.sizeOfFirst = std::filesystem::file_size(programs.log(1));
    result.after = programs.adapterHoldings();
    return result;
}

} // namespace soak
