#include "policy/composite_fault.h"

#include <gmock/gmock.h>

#include "esa_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** What the alarm of a chassis sees of the manager: the transfers that sound it and those that silence it. */
struct AlarmCase_t {
    int type;
    Lines_t sounding;
    Lines_t silencing;
};

const AlarmCase_t ALARMS[] = {
    {2, {}, {}},
    {3, {"W 41 04 08"}, {"W 41 04 00"}},
    {4,
     {"W 28 40 00", "W 2A 40 00", "W 2C 40 00", "W 30 40 00"},
     {"W 28 40 40", "W 2A 40 40", "W 2C 40 40", "W 30 40 40"}},
    {5, {"W 41 04 08"}, {"W 41 04 00"}},
    {6, {"W 28 40 00"}, {"W 28 40 40"}},
};

constexpr U32_t CAUSES[] = {0x1, 0x2, 0x4, 0x8, 0x10};

class CompositeFault : public EsaTest {
protected:
    /** Puts an enclosure without a row, of types 1 or above 6, into service. */
    void startWithoutChassis(int type, U32_t alarmState) {
        startChassis(5, alarmState);
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
    }
};

} // namespace

TEST_F(CompositeFault, FirstCauseLightsTheLedLastOneClearsItAndEachNewOneSendsAnEmail) {
    startChassis(2, 0);
    esaManageCompositeFault(0x4, -1);
    esaManageCompositeFault(0x8, -1);
    esaManageCompositeFault(0x4, 0);
    EXPECT_THAT(takeMessageNames(), ElementsAre("led-on", "email", "email"));
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000008U);
    esaManageCompositeFault(0x8, 0);
    EXPECT_THAT(takeMessageNames(), ElementsAre("led-off"));
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
}

TEST_F(CompositeFault, SequenceSendsTheSameMessagesOnEveryChassisAndMovesOnlyBackplaneAlarms) {
    for (const AlarmCase_t& alarm : ALARMS) {
        SCOPED_TRACE(alarm.type);
        startChassis(alarm.type, 3);
        wireClear(esaControl.vitesse);
        esaManageCompositeFault(0x4, -1);
        EXPECT_THAT(takeMessageNames(), ElementsAre("led-on", "email"));
        EXPECT_EQ(fakeBus.takeTransfers(), alarm.sounding);
        EXPECT_EQ(esaControl.alarmState, alarm.type == 2 ? 3U : 1U);

        esaManageCompositeFault(0x8, -1);
        EXPECT_THAT(takeMessageNames(), ElementsAre("email"));
        esaManageCompositeFault(0x4, 0);
        EXPECT_THAT(takeMessageNames(), IsEmpty());
        EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000008U);

        esaManageCompositeFault(0x8, 0);
        EXPECT_THAT(takeMessageNames(), ElementsAre("led-off"));
        EXPECT_EQ(fakeBus.takeTransfers(), alarm.silencing);
        EXPECT_EQ(esaControl.alarmState, 3U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    }
}

TEST_F(CompositeFault, OnlyAMutedAlarmStartsToSound) {
    for (U32_t state = 0; state <= 8; ++state) {
        SCOPED_TRACE(state);
        startChassis(5, state);
        esaControl.compositeFaultStatus = 0;
        esaManageCompositeFault(0x1, -1);
        EXPECT_EQ(esaControl.alarmState, state == 3 ? 1U : state);
        EXPECT_EQ(fakeBus.takeTransfers(), state == 3 ? Lines_t{"W 41 04 08"} : Lines_t{});
    }
}

TEST_F(CompositeFault, OnlyTheLowEightBitsOfTheOutcomeCount) {
    struct {
        S32_t status;
        bool sets;
        bool clears;
    } const outcomes[] = {
        {0, false, true},   {0x100, false, true}, {-256, false, true},   {-1, true, false},
        {255, true, false}, {0x1FF, true, false}, {1, false, false},     {254, false, false},
        {-2, false, false}, {2, false, false},    {0x101, false, false},
    };
    for (const auto& outcome : outcomes) {
        SCOPED_TRACE(outcome.status);
        startChassis(2);
        esaControl.compositeFaultStatus = 0;
        esaManageCompositeFault(0x4, outcome.status);
        EXPECT_EQ(esaControl.compositeFaultStatus, outcome.sets ? 0x80000004U : 0U);
        EXPECT_EQ(takeMessages().size(), outcome.sets ? 2U : 0U);
        esaControl.compositeFaultStatus = 0x80000004U;
        esaManageCompositeFault(0x4, outcome.status);
        EXPECT_EQ(esaControl.compositeFaultStatus, outcome.clears ? 0U : 0x80000004U);
        EXPECT_EQ(takeMessages().size(), outcome.clears ? 1U : 0U);
    }
}

TEST_F(CompositeFault, ReturnsWhatTheLastMessageReturned) {
    startChassis(5, 3);
    EXPECT_EQ(esaManageCompositeFault(0x4, 0), 0);
    EXPECT_EQ(esaManageCompositeFault(0x4, -1), 64);
    EXPECT_EQ(esaManageCompositeFault(0x4, -1), 0);
    EXPECT_EQ(esaManageCompositeFault(0x8, -1), 64);
    EXPECT_EQ(esaManageCompositeFault(0x8, 0), 0);
    EXPECT_EQ(esaManageCompositeFault(0x4, 0), 64);
}

TEST_F(CompositeFault, TracesEveryCauseByNameTheLowestFirst) {
    startChassis(2);
    struct {
        U32_t map;
        const char* text;
    } const names[] = {
        {0x1, "This Fault bit is [POWER_SUPPLY_VOLTAGE_TOLERANCE]"},
        {0x2, "This Fault bit is [POWER_SUPPLY_REDUNDANCY]"},
        {0x4, "This Fault bit is [FAN]"},
        {0x8, "This Fault bit is [TEMPERATURE_OVERHEAT]"},
        {0x10, "This Fault bit is [I2C_BUS_FAULT]"},
        {0x1F, "This Fault bit is [POWER_SUPPLY_VOLTAGE_TOLERANCE]"},
        {0x1E, "This Fault bit is [POWER_SUPPLY_REDUNDANCY]"},
        {0x1C, "This Fault bit is [FAN]"},
        {0x18, "This Fault bit is [TEMPERATURE_OVERHEAT]"},
    };
    for (const auto& name : names) {
        SCOPED_TRACE(name.map);
        esaManageCompositeFault(name.map, 0);
        char absent[64];
        char clear[64];
        std::snprintf(absent, sizeof(absent), "This Fault bit [0x%x] does NOT exist currently.", name.map);
        std::snprintf(clear, sizeof(clear), "The Fault bit [0x%x] is already clear.", name.map);
        EXPECT_THAT(takeTrace(), ElementsAre(name.text, absent, clear));
    }
}
