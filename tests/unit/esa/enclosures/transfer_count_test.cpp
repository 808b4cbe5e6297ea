/** How many transfers a chassis costs: an initialisation, a healthy poll, a status page of a healthy enclosure. */
#include <algorithm>

#include "driver_test.h"
#include "messaging/dispatch.h"
#include "polled_chassis.h"

namespace {

struct Count {
    int type;
    std::size_t initialisation;
    std::size_t poll;
    std::size_t statusPage;
};

const Count COUNTS[] = {{2, 38, 26, 46}, {3, 31, 10, 12}, {4, 210, 38, 94}, {5, 31, 10, 11}, {6, 23, 11, 18}};

class TransferCount : public DriverTest, public testing::WithParamInterface<Count> {
protected:
    static const PolledChassis& chassis() {
        return *std::find_if(polledChassis.begin(), polledChassis.end(),
                             [](const PolledChassis& one) { return one.type == GetParam().type; });
    }

    std::size_t transfers() {
        const std::size_t count = fakeBus.takeTransfers().size();
        discard();
        return count;
    }
};

TEST_P(TransferCount, IsWhatTheRulesNeedAndNoMore) {
    startCold(GetParam().type);
    recordAddresses(chassis());
    show(chassis(), {});
    ASSERT_EQ(esaChassis().init(), 0);
    EXPECT_EQ(transfers(), GetParam().initialisation);
    for (int i = 0; i < 4; ++i) {
        esaChassis().processPollTimeout();
    }
    discard();
    esaChassis().processPollTimeout();
    EXPECT_EQ(transfers(), GetParam().poll);
    const MMSG_t& message = request(18, 0x1C, 34, 72);
    const Bytes command = {0x1C, 0x80, 0x02, 0x00, 0x10, 0x00};
    std::copy(command.begin(), command.end(), esaControl.esaInMsg + 64);
    esaProcMmsgMsg(message);
    EXPECT_EQ(transfers(), GetParam().statusPage);
}

INSTANTIATE_TEST_SUITE_P(EveryChassis, TransferCount, testing::ValuesIn(COUNTS));

} // namespace
