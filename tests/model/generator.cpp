#include "generator.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>

#include "messages.h"
#include "registers.h"

namespace model {
namespace {

constexpr unsigned PASSES_A_POLL = 11;
constexpr unsigned MOST_PASSES = 60;
constexpr unsigned TRANSFERS_AT_ONCE = 60;

/** Degrees at and beside every threshold. */
constexpr std::initializer_list<std::uint8_t> DEGREES = {0,  1,  2,  25, 26, 30,  31,  32,  34,  35,  36,
                                                         37, 38, 39, 40, 44, 45,  46,  50,  54,  55,  56,
                                                         59, 60, 61, 62, 90, 100, 127, 128, 201, 254, 255};
/** Tachometer counts: no pulses, overflow, speeds at 2000 RPM with each divisor, speeds that do not fit 16 bits. */
constexpr std::initializer_list<std::uint8_t> TACHOMETER = {0,   1,   2,   3,   9,   10,  17,  18,  19,  74, 75,
                                                            100, 128, 149, 150, 151, 152, 168, 169, 254, 255};
/** Counts of the judged rails at their limits. */
constexpr std::initializer_list<std::uint8_t> RAILS = {0,   1,   167, 168, 177, 178, 186,
                                                       197, 204, 205, 217, 218, 254, 255};

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

/** Builds one life. */
class Biography_t {
public:
    Biography_t(Random_t& theRandom, const Book_t& theBook, std::uint8_t chassis, bool tracing)
        : random(theRandom), book(theBook) {
        life.chassis = chassis;
        life.flags = (tracing ? TRACING : 0) | (random.chance(10) ? 0x02FFFF7FU & ~TRACING : 0);
    }

    Life_t write() {
        circumstances();
        if (random.chance(20)) {
            startInTrouble();
        }
        const unsigned scenes = 1 + random.below(9);
        for (unsigned i = 0; i < scenes && passed < MOST_PASSES; ++i) {
            scene();
        }
        return std::move(life);
    }

private:
    void circumstances() {
        life.rcp = random.chance(80) ? 0 : random.below(21);
        life.bugCheckEnds = random.chance(15);
        if (random.chance(4)) {
            life.attach = random.pick({Attach_e::ABSENT, Attach_e::UNMAPPABLE, Attach_e::OTHER_VERSION});
        }
        if (random.chance(4)) {
            life.arguments = words(random.pick({"", "esa", "/a/esa 99", "esa/ 100", "esa abc", "/esa 0x64", "esa 0143",
                                                "esa 0144 1", "esa -200", "esa 2147483647", "esa 100x"}));
        }
        if (random.chance(8)) {
            life.socketFd = random.pick({0, 3, 1023, 1024, 70000});
            life.deviceFd = random.pick({0, 3, 1024, 2147483647});
        }
        if (random.chance(8)) {
            const unsigned length = random.pick<unsigned>({0, 1, 96, 97, 98, 107, 108, 127, 128});
            life.directory = std::string(length, 'd');
        }
    }

    void startInTrouble() {
        switch (random.below(4)) {
        case 0:
            systemFailure(random.pick({Call_e::SOCKET, Call_e::CONNECT, Call_e::OPEN, Call_e::SEND}), 0);
            break;
        case 1:
            for (unsigned i = 1 + random.below(3); i > 0; --i) {
                const unsigned after = random.below(120);
                add(fail(Call_e::TRANSFER, after, transferOutcome()));
            }
            break;
        case 2:
            for (unsigned i = 1 + random.below(3); i > 0; --i) {
                death();
            }
            break;
        default:
            disturb();
            break;
        }
    }

    void scene() {
        for (unsigned i = random.below(3); i > 0; --i) {
            trouble();
        }
        for (unsigned i = random.chance(50) ? 1 + random.below(2) : 0; i > 0; --i) {
            send();
        }
        goOn(random.pick<unsigned>({1, 1, 2, PASSES_A_POLL, PASSES_A_POLL, PASSES_A_POLL, 2 * PASSES_A_POLL}));
    }

    void trouble() {
        const unsigned kind = random.below(100);
        if (kind < 45) {
            disturb();
        } else if (kind < 60) {
            heal();
        } else if (kind < 80) {
            failingTransfers();
        } else if (kind < 87) {
            death();
        } else if (kind < 97) {
            const Call_e call =
                random.pick({Call_e::SELECT, Call_e::RECEIVE, Call_e::RECEIVE, Call_e::SEND, Call_e::SEND});
            systemFailure(call, random.below(call == Call_e::SELECT ? 3 : 4));
        } else if (kind < 99) {
            add({.kind = Step_t::FLAGS, .value = random.pick<std::uint32_t>({0, RCP_COMPLETE, TRACING, 0xFFFFFFFF})});
        } else {
            add({.kind = Step_t::CLOSE});
        }
    }

    void send() {
        Bytes_t message = randomMessage(random, life.chassis);
        if (random.chance(10)) { // two or more in one go
            const Bytes_t next = randomMessage(random, life.chassis);
            message.insert(message.end(), next.begin(), next.end());
        }
        while (random.chance(12) && message.size() > 1) {
            const auto cut = static_cast<std::ptrdiff_t>(
                1 + random.below(static_cast<unsigned>(std::min<std::size_t>(message.size() - 1, 100))));
            add(put({message.begin(), message.begin() + cut}));
            message.erase(message.begin(), message.begin() + cut);
            goOn(random.below(3));
        }
        add(put(std::move(message)));
    }

    void goOn(unsigned count) {
        if (count > 0) {
            add(pass(count));
            passed += count;
        }
    }

    std::uint8_t valueFor(std::uint8_t address, unsigned reg) {
        if (random.chance(8)) {
            return random.pick<std::uint8_t>({0, 1, 0x7F, 0x80, 0xFE, 0xFF});
        }
        switch (chipAt(address)) {
        case Chip_e::SENSOR:
            return random.pick(DEGREES);
        case Chip_e::MONITOR:
            return reg == 0x27 ? random.pick(DEGREES) : reg >= 0x28 ? random.pick(TACHOMETER) : random.pick(RAILS);
        case Chip_e::CONTROLLER:
            return reg >= 0x30         ? random.pick(TACHOMETER)
                   : random.chance(60) ? static_cast<std::uint8_t>(~(1U << random.below(8)))
                                       : random.byte();
        case Chip_e::NONE:
            break;
        }
        return random.byte();
    }

    /** One register, or all that are of the same kind: every sensor, every fan, one register of every chip. */
    void disturb() {
        if (book.read.empty()) {
            return;
        }
        const auto [address, reg] = random.pick(book.read);
        const std::uint8_t value = valueFor(address, reg);
        const bool alarmController = address == ALARM_CONTROLLER_CHIP && reg == 5;
        if (random.chance(60) || alarmController) {
            add(setRegister(address, alarmController ? ALARM_CONTROLLER : reg,
                            alarmController ? random.below(8) : unsigned{value}));
            if (chipAt(address) == Chip_e::SENSOR && random.chance(20)) {
                add(setRegister(address, 1, 0x80)); // and a half
            }
            return;
        }
        const bool alike = random.chance(50);
        for (const auto& [otherAddress, otherReg] : book.read) {
            const bool sameKind =
                chipAt(otherAddress) == chipAt(address) && (otherReg == reg || (reg >= 0x28 && otherReg >= 0x28));
            if (sameKind && random.chance(80)) {
                add(setRegister(otherAddress, otherReg, alike ? value : valueFor(otherAddress, otherReg)));
            }
        }
    }

    /** Either the bus, or the enclosure, is well again. */
    void heal() {
        if (random.chance(50)) {
            add({.kind = Step_t::HEAL});
            return;
        }
        const Step_t* last = nullptr;
        for (const Step_t& step : life.steps) {
            last = step.kind == Step_t::REGISTER ? &step : last;
        }
        if (last == nullptr) {
            return;
        }
        const Step_t changed = *last; // which adding may move
        add(setRegister(changed.address, *changed.reg, healthyValue(changed.address, *changed.reg)));
    }

    static std::uint8_t healthyValue(std::uint8_t address, unsigned reg) {
        return Registers_t()
            .read(address, reg == 0 && chipAt(address) == Chip_e::SENSOR ? 0x100U : reg, 1, true)
            .front();
    }

    Outcome_t transferOutcome() {
        if (random.chance(75)) {
            return result(-1);
        }
        return random.pick({result(0), result(-2), result(-5), asked(-1), asked(1), result(255), result(-256),
                            result(-65536), result(0x7FFFFFFF)});
    }

    void failingTransfers() {
        const Call_e call =
            random.pick({Call_e::TRANSFER, Call_e::TRANSFER, Call_e::TRANSFER, Call_e::READ, Call_e::WRITE});
        for (unsigned i = random.pick<unsigned>({1, 1, 2, 3}); i > 0; --i) {
            const auto span = random.pick<unsigned>({4, 16, TRANSFERS_AT_ONCE});
            const unsigned after = random.below(span);
            add(fail(call, after, transferOutcome()));
        }
    }

    void death() {
        const auto& places = random.chance(30) && !book.written.empty() ? book.written : book.read;
        if (places.empty()) {
            return;
        }
        const auto [address, reg] = random.pick(places);
        const auto itsRegister = random.chance(60) ? std::optional(reg) : std::nullopt;
        add(dead(address, itsRegister, transferOutcome()));
    }

    void systemFailure(Call_e call, unsigned after) {
        add(fail(call, after, systemOutcome(call)));
        if (random.chance(25)) {
            add(fail(call, after + 1, systemOutcome(call)));
        }
    }

    Outcome_t systemOutcome(Call_e call) {
        if (random.chance(50)) {
            return result(-1);
        }
        if (call == Call_e::SELECT) {
            return random.pick({result(0), result(1), result(2), result(-2)});
        }
        if (call == Call_e::RECEIVE || call == Call_e::SEND) {
            return random.pick({result(0), result(1), result(-2), asked(-1), asked(-8), asked(-256), asked(256),
                                asked(1), asked(-65536)});
        }
        return random.pick({result(-2), result(0), result(1), result(-256)});
    }

    void add(Step_t step) { life.steps.push_back(std::move(step)); }

    Random_t& random;
    const Book_t& book;
    Life_t life;
    unsigned passed = 0;
};

} // namespace

Life_t eventfulLife(std::uint8_t chassis) {
    Life_t life;
    life.chassis = chassis;
    life.flags = 0;
    life.steps = {pass(PASSES_A_POLL), put(receiveDiagnostic(2, 4000)), pass(PASSES_A_POLL)};
    for (const std::uint32_t fill : {0x80000004U, 0x80000002U, 0x80000080U}) {
        life.steps.push_back(put(controlPage(countsOf(chassis), fill)));
        life.steps.push_back(put(receiveDiagnostic(2, 4000)));
        life.steps.push_back(pass(PASSES_A_POLL));
    }
    return life;
}

Book_t learn(std::uint8_t chassis, const Side_t& side) {
    const Life_t life = eventfulLife(chassis);
    SimulatedWorld_t world(life);
    side(life, world);
    return {{world.read.begin(), world.read.end()},
            {world.readLater.begin(), world.readLater.end()},
            {world.written.begin(), world.written.end()}};
}

const Book_t& Generator_t::bookOf(std::uint8_t chassis) const {
    const auto [book, isNew] = books.try_emplace(chassis);
    if (isNew) {
        book->second = learn(chassis, watched);
    }
    return book->second;
}

Life_t Generator_t::life(std::uint64_t seed) const {
    Random_t random(seed);
    const std::uint8_t chassis =
        random.chance(90) ? random.pick<std::uint8_t>({2, 3, 4, 5, 6}) : random.pick<std::uint8_t>({0, 1, 7, 255});
    return life(seed, chassis, random.chance(60));
}

Life_t Generator_t::life(std::uint64_t seed, std::uint8_t chassis, bool tracing) const {
    Random_t random(seed * 0x9E3779B97F4A7C15U + chassis * 2U + (tracing ? 1U : 0U));
    return Biography_t(random, bookOf(chassis), chassis, tracing).write();
}

} // namespace model
