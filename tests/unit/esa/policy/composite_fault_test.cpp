#include "policy/compositefault.h"

#include <gmock/gmock.h>

#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

using CompositeFault = EsaTest;

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
