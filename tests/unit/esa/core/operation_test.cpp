/** Trace lines stand under the name of the operation that is under way, whatever helper writes them. */
#include "core/operation.h"

#include <gmock/gmock.h>

#include "esa_fixture.h"
#include "messaging/dispatch.h"

using testing::ElementsAre;

namespace {

class OperationNames : public EsaTest {
protected:
    OperationNames() {
        startChassis(5);
        (void)TRACE__setTraceLevel(0, 0x4010); // function names, cut to 32 characters
        (void)takeTrace();
    }

    /** Names in front of the lines since the last call; a run of the same name is one. */
    Lines_t takeNames() {
        Lines_t names;
        for (const std::string& line : takeTrace()) {
            if (const std::string name = line.substr(0, line.find(':')); names.empty() || names.back() != name) {
                names.push_back(name);
            }
        }
        return names;
    }
};

} // namespace

TEST_F(OperationNames, StandInEveryLineOfAPoll) {
    fakeBus.set(0x41, 0x04, 0x80);
    esaControl.pollTimeout = {0, 0};
    esaControl.selectTimeout = {1, 0};
    esaProcessPollTimeout();
    EXPECT_THAT(takeNames(),
                ElementsAre("esaVsc055ReadPowerRedundancyFail", "esaManageCompositeFault",
                            "esaVsc055ProcessPollTimeout", "esaVsc055FanReadSpeed", "esaReadFanFailStatus",
                            "esaVsc055FanReadSpeed", "esaReadFanFailStatus", "esaVsc055FanReadSpeed",
                            "esaReadFanFailStatus", "esaManageCompositeFault", "esaSendCompositeFaultMmsgToStart",
                            "esaVsc055SetAlarmStateBackplane", "esaSendEmailNotificationMmsgToSt",
                            "esaVsc055ProcessPollTimeout", "esaVsc055TemperatureFanPolicy", "esaManageCompositeFault",
                            "esaVsc055ReadAlarmState", "esaVsc055ProcessPollTimeout"));
}

TEST_F(OperationNames, StandInEveryLineOfAMessage) {
    (void)request(18, 28, 25, 72);
    const Bytes_t command = unhex("1C 80 01 00 FF FF");
    std::copy(command.begin(), command.end(), esaControl.esaInMsg + 64);
    esaProcMmsgMsg(wireAt<MMSG_t>(static_cast<const void*>(esaControl.esaInMsg)));
    EXPECT_THAT(takeNames(),
                ElementsAre("esaProcMmsgMsg", "esaMmsgPrint", "esaProcMmsgMsg", "esaSendStatus", "esaMmsgPrint"));
}

TEST_F(OperationNames, AreMainOutsideOfAllOperations) {
    params.flags = 0x80;
    esaWaitForRcp();
    EXPECT_THAT(takeNames(), ElementsAre("main"));
}
