#include "arguments.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "chassis_list.h"

namespace {

constexpr long MAX_SECONDS = 3600;
constexpr long MAX_KEY = INT32_MAX;
constexpr CHAR_t MEMORY[] = "/chassis";

bool readNumber(const CHAR_t* text, long least, long most, long& number) {
    CHAR_t* end = nullptr;
    number = std::strtol(text, &end, 0);
    return end != text && *end == '\0' && number >= least && number <= most;
}

bool refuse(const CHAR_t* what, const CHAR_t* word) {
    (void)std::fprintf(stderr, "esafailsafe: %s, not '%s'; try esafailsafe --help\n", what, word);
    return false;
}

/** The value of the option `name`, in this word or the next; nullptr when the word is another. */
const CHAR_t* optionValue(const CHAR_t* name, char* argv[], int& at) {
    const std::size_t length = std::strlen(name);
    if (std::strncmp(argv[at], name, length) != 0) {
        return nullptr;
    }
    if (argv[at][length] == '=') {
        return argv[at] + length + 1;
    }
    // The list of words ends with a null.
    return argv[at][length] == '\0' && argv[at + 1] != nullptr ? argv[++at] : nullptr;
}

bool readWord(char* argv[], int& at, FailSafeArguments_t& arguments) {
    const CHAR_t* word = argv[at];
    if (std::strcmp(word, "--help") == 0) {
        arguments.wantsHelp = true;
        return true;
    }
    if (std::strcmp(word, "--version") == 0) {
        arguments.wantsVersion = true;
        return true;
    }
    if (std::strcmp(word, "--prepare") == 0) {
        arguments.prepare = true;
        return true;
    }
    if (const CHAR_t* chassis = optionValue("--chassis", argv, at); chassis != nullptr) {
        arguments.chassis = chassis;
        return true;
    }
    if (const CHAR_t* text = optionValue("--seconds", argv, at); text != nullptr) {
        long seconds = 0;
        if (!readNumber(text, 0, MAX_SECONDS, seconds)) {
            return refuse("--seconds takes a number from 0 to 3600", text);
        }
        arguments.seconds = static_cast<unsigned>(seconds);
        return true;
    }
    if (const CHAR_t* text = optionValue("--watch", argv, at); text != nullptr) {
        return readNumber(text, 2, MAX_KEY, arguments.watched) || refuse("--watch takes the number of a process", text);
    }
    if (word[0] == '-' || arguments.key != nullptr) {
        return refuse("takes one key, --chassis NAME, --seconds N, --prepare and --watch PID", word);
    }
    arguments.key = word;
    return true;
}

/** A file of one digit, opened in the program's own folder; -1 when there is no such folder or file. */
int openMemory(int flags) {
    const CHAR_t* folder = std::getenv("STATE_DIRECTORY");
    std::array<CHAR_t, 256> path{};
    if (folder == nullptr || std::strlen(folder) + sizeof(MEMORY) > path.size()) {
        return -1;
    }
    (void)std::snprintf(path.data(), path.size(), "%s%s", folder, MEMORY);
    return open(path.data(), flags | O_NOFOLLOW | O_CLOEXEC, 0640);
}

/** The chassis type last remembered; 0 for none. */
VORAN_E_CHASSIS_t rememberedChassis() {
    CHAR_t digit = '0';
    const int memory = openMemory(O_RDONLY);
    const bool known = memory >= 0 && read(memory, &digit, 1) == 1;
    if (memory >= 0) {
        (void)close(memory);
    }
    return known && findChassis(digit - '0') != nullptr ? static_cast<VORAN_E_CHASSIS_t>(digit - '0') : 0;
}

} // namespace

bool readArguments(int argc, char* argv[], FailSafeArguments_t& arguments) {
    for (int at = 1; at < argc; ++at) {
        if (!readWord(argv, at, arguments)) {
            return false;
        }
    }
    if (arguments.wantsHelp || arguments.wantsVersion) {
        return true;
    }
    if ((arguments.key == nullptr) == (arguments.chassis == nullptr)) {
        (void)std::fputs(
            "esafailsafe: takes either the parameter block's key or --chassis NAME; try esafailsafe --help\n", stderr);
        return false;
    }
    return true;
}

VORAN_E_CHASSIS_t chassisOf(const FailSafeArguments_t& arguments) {
    if (arguments.chassis != nullptr) {
        const ChassisFacts_t* facts = findChassis(std::string_view(arguments.chassis));
        if (facts == nullptr) {
            (void)std::fprintf(stderr, "esafailsafe: --chassis takes %s, not '%s'; try esafailsafe --help\n",
                               FAIL_SAFE_K_CHASSIS_NAMES, arguments.chassis);
            return 0;
        }
        return facts->type;
    }
    long key = 0;
    if (!readNumber(arguments.key, MPU_K_LEAST_KEY, MAX_KEY, key)) {
        (void)refuse("the parameter block's key is a number of at least 100", arguments.key);
        return 0;
    }
    const MPU_PARAMS_t* block = MPU_getMpuParams(static_cast<int>(key));
    if (const VORAN_E_CHASSIS_t type = block == nullptr ? rememberedChassis() : 0; type != 0) {
        (void)std::fprintf(
            stderr, "esafailsafe: there is no parameter block of key %ld; taking the chassis of the last\n", key);
        return type;
    }
    if (block == nullptr) {
        (void)std::fprintf(
            stderr, "esafailsafe: there is no parameter block of key %ld; name the enclosure by --chassis\n", key);
        return 0;
    }
    return block->chassisType;
}

void rememberChassis(VORAN_E_CHASSIS_t type) {
    if (type == rememberedChassis()) {
        return;
    }
    const std::array<CHAR_t, 2> line{static_cast<CHAR_t>('0' + type), '\n'};
    if (const int memory = openMemory(O_WRONLY | O_CREAT); memory >= 0) {
        (void)!write(memory, line.data(), line.size()); // on a full disk the block still has it
        (void)close(memory);
    }
}
