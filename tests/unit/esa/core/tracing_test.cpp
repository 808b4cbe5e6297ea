// Tracing is switched on in the field to find faults: it must not move them. The adapter lives through the same
// random enclosure and the same random messages twice, with tracing and without.
#include <gmock/gmock.h>

#include <random>

#include "esa_fixture.h"
#include "messaging/dispatch.h"
#include "policy/composite_fault.h"
#include "policy/fans.h"
#include "trace.h"

namespace {

constexpr unsigned LIVES = 40;

/** Everything that leaves the adapter, in order. */
using Story = std::vector<std::string>;

/** How often the enclosure's registers hold what a healthy enclosure's do, of 256. */
constexpr unsigned HEALTH[] = {0, 128, 240, 256};

class Tracing : public EsaTest, public testing::WithParamInterface<int> {
protected:
    unsigned pick(unsigned count) { return static_cast<unsigned>(random_() % count); }

    template <typename T, std::size_t N>
    T oneOf(const T (&values)[N]) {
        return values[pick(N)];
    }

    /** A new adapter in a new enclosure; the seed decides all that happens to it. */
    void begin(unsigned seed, bool traced) {
        random_.seed(seed);
        trace(traced);
        const S32_t socket = esaControl.socketFdMSM;
        wireClear(esaControl);
        esaControl.socketFdMSM = socket;
        startChassis(GetParam());
        fakeBus = {};
        fakeEventLog.clear();
        fakeSleeps.clear();
        const unsigned health = oneOf(HEALTH);
        const U8_t healthy = oneOf({U8_t{0x00}, U8_t{0x1E}, U8_t{0x30}, U8_t{0x80}, U8_t{0xC0}, U8_t{0xFF}});
        fakeBus.otherwise = [this, health, healthy] {
            return pick(256) < health ? healthy : static_cast<U8_t>(pick(256));
        };
        for (unsigned failures = pick(3) * pick(40); failures > 0; --failures) {
            fakeBus.failTransfer(pick(400));
        }
    }

    void message() {
        const int protocol = oneOf({18, 18, 18, 18, 12, 7});
        const U32_t type = oneOf({0x1CU, 0x1CU, 0x1DU, 0x1DU, 0x1DU, 0x05U});
        MMSG_t& mmsg = request(protocol, type, oneOf({18, 33, 34, 20}), oneOf({192, 192, 192, 64, 63, 4065}));
        U8_t* bytes = esaControl.esaInMsg;
        for (std::size_t i = MMSG_K_HEADER_SIZE; i < 300; ++i) {
            bytes[i] = static_cast<U8_t>(pick(256));
        }
        bytes[17] = oneOf({U8_t{0}, U8_t{0}, U8_t{0}, U8_t{0x40}});
        bytes[39] = oneOf({U8_t{0}, U8_t{1}});
        bytes[27] = oneOf({U8_t{2}, U8_t{2}, U8_t{2}, U8_t{0}});
        bytes[64] = static_cast<U8_t>(type);
        bytes[type == 0x1D ? 72 : 66] = oneOf({U8_t{1}, U8_t{2}, U8_t{2}, U8_t{2}, U8_t{0}, U8_t{9}});
        esaProcMmsgMsg(mmsg);
    }

    /** Operations that no message and no poll reaches with these arguments. */
    void operations() {
        const Chassis_t& chassis = esaChassis();
        for (const int drive : {-1, 0, 15, 16, 99}) {
            (void)chassis.setDriveFaultLed(drive);
            (void)chassis.clearDriveFaultLed(drive);
            (void)chassis.isDrivePresent(drive);
        }
        for (U8_t state = 0; state < 9; ++state) {
            chassis.setAlarm(static_cast<EsaAlarmState_e>(state));
            U16_t rpm = 0;
            (void)chassis.fanReadSpeed(state, &rpm);
            chassis.policyLoadPwm(state, oneOf({U8_t{25}, U8_t{50}, U8_t{75}, U8_t{100}, U8_t{33}}));
        }
        (void)esaManageCompositeFault(1U << pick(6), oneOf({0, -1, 1}));
    }

    void step() {
        switch (pick(8)) {
        case 0:
            (void)esaChassis().init();
            break;
        case 1:
            operations();
            break;
        case 2:
            (void)esaTestMsg(oneOf({U8_t{0x1C}, U8_t{0x1D}, U8_t{0x1D}, U8_t{5}}), oneOf({U8_t{1}, U8_t{2}, U8_t{7}}));
            break;
        case 3:
        case 4:
            esaChassis().processPollTimeout();
            break;
        default:
            message();
        }
    }

    Story live(unsigned seed, bool traced) {
        begin(seed, traced);
        Story story;
        for (int i = 0; i < 12; ++i) {
            step();
            for (const Bytes& sent : takeMessages()) {
                // The header's list links hold the address of the work space, which is the same in both lives.
                story.push_back(hex(sent));
            }
        }
        for (std::string& transfer : fakeBus.takeTransfers()) {
            story.push_back(std::move(transfer));
        }
        for (const unsigned long long microseconds : fakeSleeps) {
            story.push_back("sleep " + std::to_string(microseconds));
        }
        story.push_back("faults " + std::to_string(esaControl.compositeFaultStatus));
        return story;
    }

private:
    std::mt19937 random_;
};

TEST_P(Tracing, ChangesNothingButTheTraceLog) {
    (void)takeTrace();
    for (unsigned seed = 0; seed < LIVES; ++seed) {
        const Story untraced = live(seed, false);
        EXPECT_TRUE(takeTrace().empty()) << "seed " << seed;
        const Story traced = live(seed, true);
        EXPECT_FALSE(takeTrace().empty()) << "seed " << seed;
        ASSERT_EQ(untraced, traced) << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryChassis, Tracing, testing::Values(2, 3, 4, 5, 6));

using OperationNames = EsaTest;

TEST_F(OperationNames, StandInEveryLineThatAnOperationOrItsHelpersTrace) {
    startChassis(5);
    (void)TRACE__setTraceLevel(0, 0x4010); // function names
    (void)takeTrace();
    fakeBus.set(0x41, 0x04, 0x80);
    esaControl.pollTimeout = {0, 0};
    esaControl.selectTimeout = {1, 0};
    esaProcessPollTimeout();
    std::vector<std::string> names;
    for (const std::string& line : takeTrace()) {
        if (const std::string name = line.substr(0, line.find(':')); names.empty() || names.back() != name) {
            names.push_back(name);
        }
    }
    EXPECT_THAT(names, testing::ElementsAre("esaVsc055ReadPowerRedundancyFail", "esaManageCompositeFault",
                                            "esaVsc055ProcessPollTimeout", "esaVsc055FanReadSpeed",
                                            "esaReadFanFailStatus", "esaVsc055FanReadSpeed", "esaReadFanFailStatus",
                                            "esaVsc055FanReadSpeed", "esaReadFanFailStatus", "esaManageCompositeFault",
                                            "esaSendCompositeFaultMmsgToStart", "esaVsc055SetAlarmStateBackplane",
                                            "esaSendEmailNotificationMmsgToSt", "esaVsc055ProcessPollTimeout",
                                            "esaVsc055TemperatureFanPolicy", "esaManageCompositeFault",
                                            "esaVsc055ReadAlarmState", "esaVsc055ProcessPollTimeout"));
}

TEST_F(OperationNames, AreMainOutsideOfAllOperations) {
    (void)TRACE__setTraceLevel(0, 0x4010);
    (void)takeTrace();
    params.flags = 0x80;
    esaWaitForRcp();
    for (const std::string& line : takeTrace()) {
        EXPECT_EQ(line.rfind("main:", 0), 0U) << line;
    }
}

} // namespace
