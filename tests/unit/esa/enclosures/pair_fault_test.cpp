/**
 * Every pair of failing transfers of a poll, on every chassis and in every situation in which a poll writes something:
 * all transfers, messages and remembered values of that poll are the predicted ones, and so are those of the healthy
 * polls behind it, after which nothing is left of the failures.
 */
#include <algorithm>
#include <cstddef>

#include "driver_test.h"
#include "polled_chassis.h"

namespace {

/** Where a pair of transfers fails: in a poll that finds `during`, behind one that found `before`. */
struct Situation {
    const char* name;
    PolledInputs before;
    unsigned alarmBefore; /**< of the Xyratex enclosure itself */
    PolledInputs during;
    unsigned alarmDuring;
    bool givesBack = false; /**< `during` switches off what `before` has switched on */
};

const PolledInputs ALL_WELL = {};
const PolledInputs ALL_BAD = {"hot", true, 0x2};
const PolledInputs HOT = {"hot"};
const PolledInputs OVERHEATED = {"overheated"};

const Situation SITUATIONS[] = {
    {"AllStaysWell", ALL_WELL, 0, ALL_WELL, 0},
    {"AllGoesBad", ALL_WELL, 0, ALL_BAD, 0},
    {"AllStaysBad", ALL_BAD, 0, ALL_BAD, 0},
    {"AllComesBack", ALL_BAD, 0, ALL_WELL, 0, true},
    {"GetsHot", ALL_WELL, 0, HOT, 0},
    {"StaysOverheated", OVERHEATED, 0, OVERHEATED, 0},
    {"CoolsDown", OVERHEATED, 0, ALL_WELL, 0, true},
};

/** The Xyratex enclosure's own alarm in each of its states. Its reminder is ended by the poll that sees it. */
const Situation ALARM_SITUATIONS[] = {
    {"FaultAlarmComes", ALL_WELL, 0, ALL_WELL, 1},    {"FaultAlarmStays", ALL_WELL, 1, ALL_WELL, 1},
    {"ReminderComes", ALL_WELL, 0, ALL_WELL, 2},      {"ReminderFollowsFault", ALL_WELL, 1, ALL_WELL, 2},
    {"MuteComes", ALL_WELL, 0, ALL_WELL, 3},          {"MuteStays", ALL_WELL, 3, ALL_WELL, 3},
    {"CriticalAlarmComes", ALL_WELL, 0, ALL_WELL, 4}, {"CriticalAlarmStays", ALL_WELL, 4, ALL_WELL, 4},
    {"State7Stays", ALL_WELL, 7, ALL_WELL, 7},        {"AlarmComesWithTheFault", ALL_WELL, 0, ALL_BAD, 1},
    {"ReminderOfTheFault", ALL_BAD, 1, ALL_BAD, 2},   {"AlarmEndsWithTheFault", ALL_BAD, 1, ALL_WELL, 0, true},
};

struct Case {
    const PolledChassis* chassis;
    const Situation* situation;
};

void PrintTo(const Case& one, std::ostream* out) {
    *out << one.chassis->name << one.situation->name;
}

std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const PolledChassis& chassis : polledChassis) {
        for (const Situation& situation : SITUATIONS) {
            cases.push_back({&chassis, &situation});
        }
        if (chassis.type == 2) {
            for (const Situation& situation : ALARM_SITUATIONS) {
                cases.push_back({&chassis, &situation});
            }
        }
    }
    return cases;
}

/** What the chips hold, by "device register": the writes that succeeded. */
using Outputs = std::map<std::string, std::string>;

void follow(Outputs& outputs, const Lines& transfers) {
    for (const std::string& line : transfers) {
        if (line[0] == 'W' && line.back() != '!') {
            outputs[line.substr(2, 5)] = line.substr(8);
        }
    }
}

/** Every byte, padding included: the block has no assignment of its own. */
void copyControl(EsaControl_t& to, const EsaControl_t& from) {
    std::memcpy(static_cast<void*>(&to), &from, sizeof(to));
}

class PairFault : public DriverTest, public testing::WithParamInterface<Case> {
protected:
    PairFault() : chassis(*GetParam().chassis), situation(*GetParam().situation), model(chassis) { trace(false); }

    /** Initialises the chassis and polls it until its loads have settled. */
    void initialise() {
        startCold(chassis.type);
        recordAddresses(chassis);
        show(chassis, ALL_WELL);
        ASSERT_EQ(esaChassis().init(), 0);
        for (int i = 0; i < 4; ++i) {
            esaChassis().processPollTimeout();
        }
        follow(settledOutputs, fakeBus.takeTransfers());
        discard();
        copyControl(settled, esaControl);
        ASSERT_EQ(stateOfAdapter(), model.state());
    }

    [[nodiscard]] std::string stateOfAdapter() const {
        const auto sensors = static_cast<std::ptrdiff_t>(chassis.sensors);
        const auto driven = static_cast<std::ptrdiff_t>(chassis.loads.at(100).size());
        return PollModel::stateText(
            esaControl.powerSupplyStatus, esaControl.compositeFaultStatus, esaControl.fanFaultStatus,
            esaControl.alarmState, esaControl.temperatureSensorAverage,
            {esaControl.temperatureSensor, esaControl.temperatureSensor + sensors},
            {std::begin(esaControl.temperatureReportStatus), std::end(esaControl.temperatureReportStatus)},
            {esaControl.fanPwmLoad, esaControl.fanPwmLoad + driven});
    }

    /** One poll of the adapter beside the predicted one. */
    void poll(const PolledInputs& inputs, const std::set<unsigned>& failing = {}) {
        model.poll(inputs, failing);
        show(chassis, inputs);
        fakeBus.heal();
        fakeBus.queues.clear();
        fakeBus.queue(0x63, 0x05, model.alarmAnswers);
        for (unsigned transfer : failing) {
            fakeBus.failTransfer(transfer);
        }
        esaChassis().processPollTimeout();
        EXPECT_EQ(fakeBus.takeTransfers(), model.transfers);
        EXPECT_EQ(takeReports(), model.reports);
        EXPECT_EQ(stateOfAdapter(), model.state());
        follow(outputs, model.transfers);
    }

    /** The first healthy poll finds every element good again; only loads may still be on their way down. */
    void expectElementsGood() {
        EXPECT_EQ(esaControl.powerSupplyStatus, settled.powerSupplyStatus);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
        EXPECT_EQ(esaControl.fanFaultStatus, 0U);
        EXPECT_EQ(hex(esaControl.temperatureSensor, sizeof(settled.temperatureSensor)),
                  hex(settled.temperatureSensor, sizeof(settled.temperatureSensor)));
        EXPECT_EQ(esaControl.temperatureSensorAverage, settled.temperatureSensorAverage);
        EXPECT_EQ(esaControl.i2cConnected, 1);
    }

    /** Nothing in the control block tells that a transfer ever failed. The Xyratex alarm is the enclosure's. */
    void expectNothingLeft() {
        EXPECT_EQ(esaControl.alarmState, chassis.type == 2 ? model.enclosureAlarm : 3U);
        esaControl.alarmState = settled.alarmState;
        constexpr std::size_t buffers = offsetof(EsaControl_t, esaInMsg);
        constexpr std::size_t behind = offsetof(EsaControl_t, vitesse);
        EXPECT_EQ(std::memcmp(&esaControl, &settled, buffers), 0);
        EXPECT_EQ(std::memcmp(&esaControl.vitesse, &settled.vitesse, sizeof(EsaControl_t) - behind), 0);
    }

    /**
     * The chips hold what they held. What an enclosure gets back for good, the alarm's silence or an LED, is written
     * once: where that very write fails, the output stays as it was.
     */
    void expectOutputs(const Lines& faulty) {
        for (const auto& [output, value] : settledOutputs) {
            const auto lost = std::find_if(faulty.begin(), faulty.end(), [&output = output](const std::string& line) {
                return line.back() == '!' && line.compare(0, 7, "W " + output) == 0;
            });
            if (lost == faulty.end() || !situation.givesBack) {
                EXPECT_EQ(outputs[output], value) << output;
            }
        }
    }

    /** Whether no earlier pair has left the same behind, in the control block, the chips and the enclosure. */
    bool leavesSomethingNew() {
        std::string left = std::to_string(model.enclosureAlarm);
        for (const auto& [output, value] : outputs) {
            left += value;
        }
        left.append(reinterpret_cast<const char*>(&esaControl), offsetof(EsaControl_t, esaInMsg));
        left.append(reinterpret_cast<const char*>(&esaControl.vitesse),
                    sizeof(EsaControl_t) - offsetof(EsaControl_t, vitesse));
        return seen.insert(left).second;
    }

    void tryPair(unsigned first, unsigned second) {
        poll(situation.during, {first, second});
        const Lines faulty = model.transfers;
        EXPECT_EQ(std::count_if(faulty.begin(), faulty.end(), [](const auto& line) { return line.back() == '!'; }), 2);
        if (!leavesSomethingNew()) {
            return; // the healthy polls behind it are the same again
        }
        poll(ALL_WELL);
        expectElementsGood();
        for (int i = 0; i < 3; ++i) {
            poll(ALL_WELL);
        }
        expectNothingLeft();
        expectOutputs(faulty);
    }

    const PolledChassis& chassis;
    const Situation& situation;
    PollModel model;
    EsaControl_t settled = {};
    Outputs settledOutputs;
    Outputs outputs;
    std::set<std::string> seen;
};

} // namespace

TEST_P(PairFault, EveryPairHasItsOutcomeAndHealthyPollsForgetIt) {
    ASSERT_NO_FATAL_FAILURE(initialise());
    outputs = settledOutputs;
    model.enclosureAlarm = situation.alarmBefore;
    poll(situation.before);
    model.enclosureAlarm = situation.alarmDuring;
    EsaControl_t controlBefore = {};
    copyControl(controlBefore, esaControl);
    const Outputs outputsBefore = outputs;
    const PollModel before = model;
    PollModel probe = before;
    probe.poll(situation.during);
    const std::size_t firsts = probe.transfers.size();
    ASSERT_FALSE(HasFailure());
    for (unsigned first = 0; first < firsts; ++first) {
        // A failure changes which transfers follow it.
        probe = before;
        probe.poll(situation.during, {first});
        for (unsigned second = first + 1; second < probe.transfers.size(); ++second) {
            SCOPED_TRACE(testing::Message() << "transfers " << first << " and " << second);
            copyControl(esaControl, controlBefore);
            outputs = outputsBefore;
            model = before;
            tryPair(first, second);
            ASSERT_FALSE(HasFailure());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, PairFault, testing::ValuesIn(allCases()), [](const auto& one) {
    return std::string(one.param.chassis->name) + one.param.situation->name;
});

TEST(PairFaultChassis, AreThoseOfTheTable) {
    std::vector<int> types;
    for (const Chassis_t* row : chassisTable) {
        types.push_back(row->type);
    }
    EXPECT_THAT(types, testing::ElementsAre(2, 3, 4, 5, 6));
    ASSERT_EQ(polledChassis.size(), types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        EXPECT_EQ(polledChassis[i].type, types[i]);
    }
}
