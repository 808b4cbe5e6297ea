/** The three requests to Startup, byte for byte. */
#include <gmock/gmock.h>

#include <cstring>

#include "event_message.h"
#include "policy/composite_fault.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

using StartupRequests = EsaTest;

/** Bytes 8 to 63, four words a line. */
constexpr const char* LED_ON = "0E 01 00 40 0C 00 00 0E 21 00 00 00 00 04 00 00 "
                               "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                               "00 00 00 00 00 00 00 02 00 00 00 02 00 00 00 00 "
                               "00 00 00 00 00 00 00 00";
constexpr const char* LED_OFF = "0E 01 00 40 0C 00 00 0E 21 00 00 00 00 04 00 00 "
                                "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                "00 00 00 00 00 00 00 02 00 00 00 01 00 00 00 00 "
                                "00 00 00 00 00 00 00 00";
constexpr const char* EMAIL = "0E 01 00 40 0C 00 00 10 21 00 00 00 00 04 00 00 "
                              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                              "00 00 00 00 00 00 00 00";
constexpr const char* SHUTDOWN = "0E 01 00 40 0D 00 00 01 21 00 00 00 00 04 00 00 "
                                 "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                                 "00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00 "
                                 "00 00 00 00 00 00 00 00";

/** The send buffer's own address, in 32 bits, twice. */
std::string links() {
    const auto address = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
    return hexWords(std::array<U32_t, 2>{address, address});
}

} // namespace

TEST_F(StartupRequests, EachIsABareHeaderWhateverTheBufferHeld) {
    struct {
        const char* name;
        S32_t (*send)();
        const char* expected;
    } const requests[] = {
        {"LED on", [] { return esaSendCompositeFaultMmsgToStartup(-1); }, LED_ON},
        {"LED off", [] { return esaSendCompositeFaultMmsgToStartup(0); }, LED_OFF},
        {"e-mail", esaSendEmailNotificationMmsgToStartup, EMAIL},
        {"shutdown", esaSendOrderlyShutdownMmsgToStartup, SHUTDOWN},
    };
    for (const auto& request : requests) {
        SCOPED_TRACE(request.name);
        std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));
        EXPECT_EQ(request.send(), 64);
        const std::vector<Bytes_t> messages = takeMessages();
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_EQ(hex(messages[0]), links() + " " + request.expected);
        EXPECT_EQ(esaControl.esaWorkSpace[64], 0xA5) << "the buffer behind the message was touched";
    }
}

TEST_F(StartupRequests, LedIsSwitchedByTheLowEightBitsOfTheStatus) {
    for (S32_t status : {-1, 1, 2, 255, 0x1FF, 128}) {
        SCOPED_TRACE(status);
        (void)esaSendCompositeFaultMmsgToStartup(status);
        EXPECT_EQ(behindLinks(takeMessages().at(0)), LED_ON);
    }
    for (S32_t status : {0, 0x100, -256}) {
        SCOPED_TRACE(status);
        (void)esaSendCompositeFaultMmsgToStartup(status);
        EXPECT_EQ(behindLinks(takeMessages().at(0)), LED_OFF);
    }
}
