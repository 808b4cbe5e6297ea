/** Messages that the switch does not take: every sender, every way in which a send can go wrong. */
#include <gmock/gmock.h>

#include <cerrno>

#include "core_test.h"
#include "messaging/dispatch.h"
#include "policy/composite_fault.h"
#include "policy/events.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Send : public CoreTest {
protected:
    Send() { startChassis(5); }
};

void answerReceiveDiagnostic() {
    const U8_t payload[] = {0x1C, 0x80, 0x01, 0x00, 0xFF, 0xFF, 0x00, 0x00};
    std::memcpy(esaControl.esaInMsg + 64, payload, sizeof(payload));
    esaProcMmsgMsg(wireAt<MMSG_t>(static_cast<const void*>(esaControl.esaInMsg)));
}

struct Sender {
    const char* name;
    void (*send)();
    int length;
    const char* file;
    const char* function;
};

const Sender SENDERS[] = {
    {"notice", [] { esaSendStartupNotice(); }, 64, "esamain.cpp", "main()"},
    {"LED", [] { (void)esaSendCompositeFaultMmsgToStartup(-1); }, 64, "composite_fault.cpp",
     "esaSendCompositeFaultMmsgToStartup()"},
    {"e-mail", [] { (void)esaSendEmailNotificationMmsgToStartup(); }, 64, "composite_fault.cpp",
     "esaSendEmailNotificationMmsgToStartup()"},
    {"shutdown", [] { (void)esaSendOrderlyShutdownMmsgToStartup(); }, 64, "composite_fault.cpp",
     "esaSendEventMmsgToEmp()"},
    {"event", [] { (void)esaSendFanFaultEvent(EMP_E_TYPE_WARNING); }, 300, "events.cpp", "esaSendEventMmsgToEmp()"},
    {"reply", answerReceiveDiagnostic, 132, "reply.cpp", "esaSndDiagPage()"},
    {"test message", [] { (void)esaTestMsg(28, 2); }, 72, "test_message.cpp", "esaTestMsg()"},
};

} // namespace

TEST_F(Send, WholeMessageGoesOutInOneCallWithoutFlags) {
    for (const Sender& sender : SENDERS) {
        SCOPED_TRACE(sender.name);
        systemCalls.sends.clear();
        (void)request(18, 28, 25, 72);
        sender.send();
        EXPECT_THAT(systemCalls.sends, ElementsAre(std::to_string(sender.length) + " 0x0"));
        EXPECT_THAT(fakeEventLog, IsEmpty());
        EXPECT_EQ(takeMessages().size(), 1U);
    }
}

TEST_F(Send, ThatFailsOrTakesAPartOnlyIsACriticalErrorOfItsSenderAndIsNotTriedAgain) {
    for (const Sender& sender : SENDERS) {
        for (int error : {EPIPE, ECONNRESET, EAGAIN, EINTR, ENOBUFS, EMSGSIZE, 0}) {
            for (int shortage : {1, sender.length - 1, sender.length}) {
                if (error != 0 && shortage != 1) {
                    continue; // a call that fails takes nothing
                }
                SCOPED_TRACE(testing::Message() << sender.name << " " << error << " " << shortage);
                systemCalls.sends.clear();
                systemCalls.sendError = error;
                systemCalls.sendShortage = shortage;
                fakeEventLog.clear();
                (void)request(18, 28, 25, 72);
                sender.send();
                EXPECT_THAT(systemCalls.sends, ElementsAre(std::to_string(sender.length) + " 0x0"));
                ASSERT_EQ(fakeEventLog.size(), 4U);
                EXPECT_EQ(errorMessage(0),
                          "Linux send function fails, sendSize = [" + std::to_string(sender.length) + "] is wrong");
                EXPECT_EQ(errorFunction(0), sender.function);
                EXPECT_EQ(textAt(fakeEventLog[0].bytes, 152), sender.file);
                EXPECT_EQ(fakeEventLog[3].action, -1) << "the platform is asked to end the process";
            }
        }
    }
}

TEST_F(Send, ThatFailsInEveryCallOfAPollRollsNothingBackAndTheNextPollsGoOn) {
    systemCalls.sendError = EPIPE;
    fakeBus.set(0x41, 0x04, 0x00); // no redundancy
    esaChassis().processPollTimeout();
    EXPECT_EQ(systemCalls.sends.size(), 5U) << "LED, e-mail, supplies, fans, e-mail";
    EXPECT_EQ(fakeEventLog.size(), 20U);
    EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000006U);
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x1U);
    EXPECT_EQ(esaControl.fanFaultStatus, 0x7U);
    EXPECT_EQ(esaControl.alarmState, 1U);

    systemCalls.sendError = 0;
    esaChassis().processPollTimeout();
    EXPECT_THAT(takeMessages(), IsEmpty()) << "what could not be sent is not sent later";
    fakeBus.set(0x41, 0x04, 0x80);
    for (int reg : {0x32, 0x36, 0x3A}) {
        fakeBus.set(0x41, reg, 100);
    }
    esaChassis().processPollTimeout();
    EXPECT_THAT(takeMessageNames(), ElementsAre("event 6/1", "event 7/2", "led-off"));
    EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
    EXPECT_EQ(fakeEventLog.size(), 20U);
}
