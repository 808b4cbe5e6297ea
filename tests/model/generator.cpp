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
        : random_(theRandom), book_(theBook) {
        life_.chassis = chassis;
        life_.flags = (tracing ? TRACING : 0) | (random_.chance(10) ? 0x02FFFF7FU & ~TRACING : 0);
    }

    Life_t write() {
        circumstances();
        if (random_.chance(20)) {
            startInTrouble();
        }
        const unsigned scenes = 1 + random_.below(9);
        for (unsigned i = 0; i < scenes && passed_ < MOST_PASSES; ++i) {
            scene();
        }
        return std::move(life_);
    }

private:
    void circumstances() {
        life_.rcp = random_.chance(80) ? 0 : random_.below(21);
        life_.bugCheckEnds = random_.chance(15);
        if (random_.chance(4)) {
            life_.attach = random_.pick({Attach_e::ABSENT, Attach_e::UNMAPPABLE, Attach_e::OTHER_VERSION});
        }
        if (random_.chance(4)) {
            life_.arguments = words(random_.pick({"", "esa", "/a/esa 99", "esa/ 100", "esa abc", "/esa 0x64",
                                                  "esa 0143", "esa 0144 1", "esa -200", "esa 2147483647", "esa 100x"}));
        }
        if (random_.chance(8)) {
            life_.socketFd = random_.pick({0, 3, 1023, 1024, 70000});
            life_.deviceFd = random_.pick({0, 3, 1024, 2147483647});
        }
        if (random_.chance(8)) {
            const unsigned length = random_.pick<unsigned>({0, 1, 96, 97, 98, 107, 108, 127, 128});
            life_.directory = std::string(length, 'd');
        }
    }

    void startInTrouble() {
        switch (random_.below(4)) {
        case 0:
            systemFailure(random_.pick({Call_e::SOCKET, Call_e::CONNECT, Call_e::OPEN, Call_e::SEND}), 0);
            break;
        case 1:
            for (unsigned i = 1 + random_.below(3); i > 0; --i) {
                const unsigned after = random_.below(120);
                add(fail(Call_e::TRANSFER, after, transferOutcome()));
            }
            break;
        case 2:
            for (unsigned i = 1 + random_.below(3); i > 0; --i) {
                death();
            }
            break;
        default:
            disturb();
            break;
        }
    }

    void scene() {
        for (unsigned i = random_.below(3); i > 0; --i) {
            trouble();
        }
        for (unsigned i = random_.chance(50) ? 1 + random_.below(2) : 0; i > 0; --i) {
            send();
        }
        goOn(random_.pick<unsigned>({1, 1, 2, PASSES_A_POLL, PASSES_A_POLL, PASSES_A_POLL, 2 * PASSES_A_POLL}));
    }

    void trouble() {
        const unsigned kind = random_.below(100);
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
                random_.pick({Call_e::SELECT, Call_e::RECEIVE, Call_e::RECEIVE, Call_e::SEND, Call_e::SEND});
            systemFailure(call, random_.below(call == Call_e::SELECT ? 3 : 4));
        } else if (kind < 99) {
            add({.kind = Step_t::FLAGS, .value = random_.pick<std::uint32_t>({0, RCP_COMPLETE, TRACING, 0xFFFFFFFF})});
        } else {
            add({.kind = Step_t::CLOSE});
        }
    }

    void send() {
        Bytes_t message = randomMessage(random_, life_.chassis);
        if (random_.chance(10)) { // two or more in one go
            const Bytes_t next = randomMessage(random_, life_.chassis);
            message.insert(message.end(), next.begin(), next.end());
        }
        while (random_.chance(12) && message.size() > 1) {
            const auto cut = static_cast<std::ptrdiff_t>(
                1 + random_.below(static_cast<unsigned>(std::min<std::size_t>(message.size() - 1, 100))));
            add(put({message.begin(), message.begin() + cut}));
            message.erase(message.begin(), message.begin() + cut);
            goOn(random_.below(3));
        }
        add(put(std::move(message)));
    }

    void goOn(unsigned count) {
        if (count > 0) {
            add(pass(count));
            passed_ += count;
        }
    }

    std::uint8_t valueFor(std::uint8_t address, unsigned reg) {
        if (random_.chance(8)) {
            return random_.pick<std::uint8_t>({0, 1, 0x7F, 0x80, 0xFE, 0xFF});
        }
        switch (chipAt(address)) {
        case Chip_e::SENSOR:
            return random_.pick(DEGREES);
        case Chip_e::MONITOR:
            return reg == 0x27 ? random_.pick(DEGREES) : reg >= 0x28 ? random_.pick(TACHOMETER) : random_.pick(RAILS);
        case Chip_e::CONTROLLER:
            return reg >= 0x30          ? random_.pick(TACHOMETER)
                   : random_.chance(60) ? static_cast<std::uint8_t>(~(1U << random_.below(8)))
                                        : random_.byte();
        case Chip_e::NONE:
            break;
        }
        return random_.byte();
    }

    /** One register, or all that are of the same kind: every sensor, every fan, one register of every chip. */
    void disturb() {
        if (book_.read.empty()) {
            return;
        }
        const auto [address, reg] = random_.pick(book_.read);
        const std::uint8_t value = valueFor(address, reg);
        const bool alarmController = address == ALARM_CONTROLLER_CHIP && reg == 5;
        if (random_.chance(60) || alarmController) {
            add(setRegister(address, alarmController ? ALARM_CONTROLLER : reg,
                            alarmController ? random_.below(8) : unsigned{value}));
            if (chipAt(address) == Chip_e::SENSOR && random_.chance(20)) {
                add(setRegister(address, 1, 0x80)); // and a half
            }
            return;
        }
        const bool alike = random_.chance(50);
        for (const auto& [otherAddress, otherReg] : book_.read) {
            const bool sameKind =
                chipAt(otherAddress) == chipAt(address) && (otherReg == reg || (reg >= 0x28 && otherReg >= 0x28));
            if (sameKind && random_.chance(80)) {
                add(setRegister(otherAddress, otherReg, alike ? value : valueFor(otherAddress, otherReg)));
            }
        }
    }

    /** Either the bus, or the enclosure, is well again. */
    void heal() {
        if (random_.chance(50)) {
            add({.kind = Step_t::HEAL});
            return;
        }
        const Step_t* last = nullptr;
        for (const Step_t& step : life_.steps) {
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
        if (random_.chance(75)) {
            return result(-1);
        }
        return random_.pick({result(0), result(-2), result(-5), asked(-1), asked(1), result(255), result(-256),
                             result(-65536), result(0x7FFFFFFF)});
    }

    void failingTransfers() {
        const Call_e call =
            random_.pick({Call_e::TRANSFER, Call_e::TRANSFER, Call_e::TRANSFER, Call_e::READ, Call_e::WRITE});
        for (unsigned i = random_.pick<unsigned>({1, 1, 2, 3}); i > 0; --i) {
            const auto span = random_.pick<unsigned>({4, 16, TRANSFERS_AT_ONCE});
            const unsigned after = random_.below(span);
            add(fail(call, after, transferOutcome()));
        }
    }

    void death() {
        const auto& places = random_.chance(30) && !book_.written.empty() ? book_.written : book_.read;
        if (places.empty()) {
            return;
        }
        const auto [address, reg] = random_.pick(places);
        const auto itsRegister = random_.chance(60) ? std::optional(reg) : std::nullopt;
        add(dead(address, itsRegister, transferOutcome()));
    }

    void systemFailure(Call_e call, unsigned after) {
        add(fail(call, after, systemOutcome(call)));
        if (random_.chance(25)) {
            add(fail(call, after + 1, systemOutcome(call)));
        }
    }

    Outcome_t systemOutcome(Call_e call) {
        if (random_.chance(50)) {
            return result(-1);
        }
        if (call == Call_e::SELECT) {
            return random_.pick({result(0), result(1), result(2), result(-2)});
        }
        if (call == Call_e::RECEIVE || call == Call_e::SEND) {
            return random_.pick({result(0), result(1), result(-2), asked(-1), asked(-8), asked(-256), asked(256),
                                 asked(1), asked(-65536)});
        }
        return random_.pick({result(-2), result(0), result(1), result(-256)});
    }

    void add(Step_t step) { life_.steps.push_back(std::move(step)); }

    Random_t& random_;
    const Book_t& book_;
    Life_t life_;
    unsigned passed_ = 0;
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
    const auto [book, isNew] = books_.try_emplace(chassis);
    if (isNew) {
        book->second = learn(chassis, watched_);
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
