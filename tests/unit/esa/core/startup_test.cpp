/** The steps between initialisation and the main loop: the notice, the wait, the chassis. */
#include <gmock/gmock.h>

#include <cerrno>

#include "../policy/event_message.h"
#include "core_test.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using StartupNotice = CoreTest;

class RcpWait : public CoreTest {
protected:
    /** Raises the flag in the n-th sleep, counted from 1. */
    void raiseFlagInSleep(unsigned n) {
        onFakeSleep = [this, n](unsigned long long) {
            if (fakeSleeps.size() == n) {
                params.flags |= 0x80;
            }
        };
    }
};

/** How the first transfer of a chassis' initialiser tells whether the chassis is there. */
struct ChassisCase {
    int type;
    const char* done;
    const char* failed;
};

const ChassisCase CHASSIS[] = {
    {2, "Finish initializing for the Xyratex Enclosure.", "Initializing for the Xyratex Enclosure fails."},
    {3, "Finish initializing for the Vsc055 based Enclosure.", "Initializing for the Vsc055 based Enclosure fails."},
    {4, "Finish initializing for the Chenbro Enclosure.", "Initializing for the Chenbro Enclosure fails."},
    {5, "Finish initializing for the Vsc055 based Enclosure.", "Initializing for the Vsc055 based Enclosure fails."},
    {6, "Finish initializing for the W83782d based Enclosure.", "Initializing for the W83782d based Enclosure fails."},
};

using ChassisDispatch = CoreTest;

} // namespace

TEST_F(StartupNotice, IsThisMessage) {
    std::memset(esaControl.esaWorkSpace, 0xEE, 128);
    esaSendStartupNotice();
    const std::vector<Bytes> messages = takeMessages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(behindLinks(messages[0]), "0E 01 00 40 0C 00 00 01 21 00 00 00 00 04 00 00 "
                                        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    const auto own = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
    EXPECT_EQ(wordAt(messages[0], 0), own);
    EXPECT_EQ(wordAt(messages[0], 4), own);
    EXPECT_EQ(esaControl.esaWorkSpace[64], 0xEE) << "a header is all that is built";
    EXPECT_THAT(takeTrace(), ElementsAre("ESA finishes initialization and sends the message to the Startup process."));
}
