/** The composite fault manager with causes and outcomes that no check hands it. */
#include "policy/composite_fault.h"

#include "esa_fixture.h"

using CompositeFault = EsaTest;

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
        EXPECT_EQ(esaManageCompositeFault(0x4, outcome.status), outcome.sets ? 64 : 0);
        EXPECT_EQ(esaControl.compositeFaultStatus, outcome.sets ? 0x80000004U : 0U);
        EXPECT_EQ(takeMessages().size(), outcome.sets ? 2U : 0U);
        esaControl.compositeFaultStatus = 0x80000004U;
        EXPECT_EQ(esaManageCompositeFault(0x4, outcome.status), outcome.clears ? 64 : 0);
        EXPECT_EQ(esaControl.compositeFaultStatus, outcome.clears ? 0U : 0x80000004U);
        EXPECT_EQ(takeMessages().size(), outcome.clears ? 1U : 0U);
        EXPECT_EQ(esaSendCompositeFaultMmsgToStartup(outcome.status), 64);
        EXPECT_EQ(takeMessageNames(), (Lines_t{outcome.clears ? "led-off" : "led-on"}));
    }
}

TEST_F(CompositeFault, LastCauseLeavesALedAloneThatIsNotOn) {
    startChassis(2);
    esaControl.compositeFaultStatus = 0x4;
    EXPECT_EQ(esaManageCompositeFault(0x4, 0), 0);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_EQ(takeMessageNames(), Lines_t{});
}

TEST_F(CompositeFault, TracesTheLowestOfSeveralCauses) {
    startChassis(2);
    struct {
        U32_t map;
        const char* text;
    } const names[] = {
        {0x1F, "This Fault bit is [POWER_SUPPLY_VOLTAGE_TOLERANCE]"},
        {0x1E, "This Fault bit is [POWER_SUPPLY_REDUNDANCY]"},
        {0x1C, "This Fault bit is [FAN]"},
        {0x18, "This Fault bit is [TEMPERATURE_OVERHEAT]"},
        {0x10, "This Fault bit is [I2C_BUS_FAULT]"},
    };
    for (const auto& name : names) {
        esaManageCompositeFault(name.map, 0);
        EXPECT_EQ(takeTrace(), (Lines_t{name.text, text("This Fault bit [0x%x] does NOT exist currently.", name.map),
                                        text("The Fault bit [0x%x] is already clear.", name.map)}));
    }
    esaManageCompositeFault(0x20, 0);
    EXPECT_EQ(takeTrace(),
              (Lines_t{"This Fault bit [0x20] does NOT exist currently.", "The Fault bit [0x20] is already clear."}))
        << "a cause without a name";
}
