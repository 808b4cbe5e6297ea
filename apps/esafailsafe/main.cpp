/**
 * Puts an enclosure that nobody manages into a safe state: run whenever the adapter has ended, and by hand. Also gets
 * it ready for the adapter's start.
 */
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "arguments.h"
#include "enclosure_bus.h"
#include "failsafe.h"
#include "version.h"
#include "watch.h"

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

constexpr CHAR_t HELP[] =
    "usage: esafailsafe KEY | --chassis NAME [--seconds N] [--prepare | --watch PID]\n"
    "\n"
    "Puts every fan of an enclosure to full speed, for when nobody manages it: the service manager runs it whenever "
    "the\n"
    "adapter ends. It needs no switch and waits its turn for the bus.\n"
    "\n"
    "  KEY             key of the parameter block, which says what the chassis is\n"
    "  --chassis NAME  %s\n"
    "  --seconds N     how long a bus that does not answer is tried again: 0 to 3600 (15)\n"
    "  --prepare       instead, before the adapter starts: put out the drive LEDs that it would take for dark, and\n"
    "                  remember the chassis, for a time when the block is gone\n"
    "  --watch PID     instead, beside an adapter: when it had no answer from the bus and the bus answers later, full\n"
    "                  speed, and an end of the adapter, for the service manager to start it again\n"
    "  --help          this text\n"
    "  --version       the version\n"
    "\n"
    "Exit status: 0 all fans at full speed, or no chassis to look after; 1 the bus did not answer; 2 wrong use, or no\n"
    "parameter block.\n";

int report(FailSafe_e result, const Chassis_t& chassis, const FailSafeArguments_t& arguments) {
    const unsigned seconds = arguments.seconds;
    switch (result) {
    case FAIL_SAFE_E_DONE:
        if (!arguments.prepare) {
            (void)std::printf("every fan of %s is at full speed\n", chassis.typeName);
        }
        return EXIT_DONE;
    case FAIL_SAFE_E_NO_DEVICE:
        (void)std::fprintf(stderr, "esafailsafe: %s cannot be opened: %s; tried for %u s, the enclosure is as it was\n",
                           BUS_K_DEVICE, std::strerror(errno), seconds);
        return EXIT_FAILED;
    case FAIL_SAFE_E_NO_ANSWER:
        break;
    }
    (void)std::fprintf(
        stderr,
        "esafailsafe: no full answer on the I2C bus within %u s; see what else has %s open and whether %s is "
        "the right chassis\n",
        seconds, BUS_K_DEVICE, chassis.typeName);
    return EXIT_FAILED;
}

} // namespace

int main(int argc, char* argv[]) {
    FailSafeArguments_t arguments;
    if (!readArguments(argc, argv, arguments)) {
        return EXIT_USAGE;
    }
    if (arguments.wantsHelp) {
        (void)std::printf(HELP, FAIL_SAFE_K_CHASSIS_NAMES);
        return EXIT_DONE;
    }
    if (arguments.wantsVersion) {
        (void)std::printf("esafailsafe %d.%d.%d.%d\n", Version.major, Version.minor, Version.maintenance,
                          Version.build);
        return EXIT_DONE;
    }
    const VORAN_E_CHASSIS_t type = chassisOf(arguments);
    if (type == 0) {
        return EXIT_USAGE;
    }
    const Chassis_t& chassis = esaFindChassis(type);
    if (!chassis.isManaged) {
        (void)std::puts("no chassis to look after");
        return EXIT_DONE;
    }
    if (arguments.watched != 0) {
        watchAdapter(chassis, BUS_K_DEVICE, static_cast<pid_t>(arguments.watched));
        return EXIT_DONE;
    }
    if (arguments.prepare) {
        rememberChassis(type);
    }
    const Attempt_t work = arguments.prepare ? prepareOnce : failSafeOnce;
    return report(failSafe(chassis, BUS_K_DEVICE, arguments.seconds, work), chassis, arguments);
}
