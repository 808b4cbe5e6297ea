/** Status page of the VSC055 backplane: every transfer in order, and each of them failing. */
#include <gmock/gmock.h>

#include <cstring>

#include "enclosures/vsc055.h"
#include "esa_fixture.h"
#include "messaging/dispatch.h"

using testing::ElementsAre;

namespace {

using Lines = std::vector<std::string>;

class Vsc055Page : public EsaTest {
protected:
    /** A healthy enclosure at 30, 31 and 32 degrees, its fans at 6000 RPM. */
    void start(int type) {
        startChassis(type, 3);
        wireClear(esaControl.vitesse);
        esaControl.vitesse.vsc055GPD[4] = 0x50;
        esaControl.compositeFaultStatus = 0;
        fakeBus.heal();
        fakeBus.set(0x41, 0x04, 0x80);
        for (int reg : {0x32, 0x36, 0x3A}) {
            fakeBus.set(0x41, reg, type == 3 ? 50 : 100);
        }
        fakeBus.set(0x4C, 0x00, 30);
        fakeBus.set(0x4B, 0x00, 31);
        fakeBus.set(0x4A, 0x00, 32);
    }

    /** Asks for the status page; the messages that go out ahead of the reply, and the reply behind its header. */
    std::string askForPage(Lines& before) {
        const Bytes command = unhex("1C 80 02 00 10 00 00 00");
        const MMSG_t& mmsg = request(18, 28, 28, 72);
        std::memcpy(esaControl.esaInMsg + 64, command.data(), command.size());
        esaProcMmsgMsg(mmsg);
        const std::vector<Bytes> messages = takeMessages();
        before.clear();
        for (std::size_t i = 0; i + 1 < messages.size(); ++i) {
            const Bytes& message = messages[i];
            before.push_back(message.size() == 300 ? hex(&message[211], 5) : hex(&message[12], 4));
        }
        return messages.empty() || messages.back().size() < 64
                   ? ""
                   : hex(messages.back().data() + 64, messages.back().size() - 64);
    }
};

constexpr const char* LED = "0C 00 00 0E";
constexpr const char* EMAIL = "0C 00 00 10";
constexpr const char* SUPPLY_WARNING = "02 03 01 00 06";

/** The page of an enclosure, without its last byte, which never goes out. */
std::string pageOf(const Lines& supplies, const Lines& fans, const Lines& sensors) {
    std::string page = supplies.size() == 3 ? "00 02 00 00 80 00 00 00 00 " : "00 02 00 00 7C 00 00 00 00 ";
    page += "00 00 00 00 01 00 00 00 01 01 00 00 01 02 00 00 01 03 00 00 01 04 00 00 01 05 00 00 01 06 00 00 "
            "01 07 00 00 01 08 00 00 01 09 00 00 01 0A 00 00 01 0B 00 00 01 0C 00 00 01 0D 00 00 01 0E 00 00 "
            "01 0F 00 00 ";
    for (const Lines& list : {supplies, fans, sensors}) {
        page += "00 00 00 00 ";
        for (const std::string& record : list) {
            page += record + " ";
        }
    }
    return page + "00 00 00 00 00 00 00";
}

const Lines GOOD_FANS = {"00 80 58 E0", "00 80 58 E0", "00 80 58 E0"};
const Lines GOOD_SENSORS = {"00 00 32 00", "00 00 33 00", "00 00 34 00"};

Lines goodSupplies(int type) {
    return Lines(type == 3 ? 3 : 2, "01 00 00 01");
}

Lines healthyTransfers(int type) {
    Lines transfers(type == 3 ? 3 : 2, "R 41 04");
    transfers.insert(transfers.end(), {"R 41 32", "R 41 36", "R 41 3A", "R 4C 00", "R 4C 00", "R 4B 00", "R 4B 00",
                                       "R 4A 00", "R 4A 00"});
    return transfers;
}

} // namespace

TEST_F(Vsc055Page, HealthyEnclosureIsReadOnceForEverySupplyAndSendsNothingElse) {
    for (int type : {3, 5}) {
        SCOPED_TRACE(type);
        start(type);
        Lines before;
        EXPECT_EQ(askForPage(before), pageOf(goodSupplies(type), GOOD_FANS, GOOD_SENSORS));
        EXPECT_EQ(before, Lines{});
        EXPECT_EQ(fakeBus.takeTransfers(), healthyTransfers(type));
    }
}

TEST_F(Vsc055Page, FailedSupplyInputIsABadSupplyUntilTheNextOneIsRead) {
    for (int type : {3, 5}) {
        const std::size_t supplies = type == 3 ? 3 : 2;
        for (unsigned failing = 0; failing < supplies; ++failing) {
            SCOPED_TRACE(testing::Message() << "type " << type << " supply " << failing);
            start(type);
            fakeBus.failTransfer(failing);
            Lines records = goodSupplies(type);
            records[failing] = "05 00 00 03";
            Lines before;
            EXPECT_EQ(askForPage(before), pageOf(records, GOOD_FANS, GOOD_SENSORS));

            // The alarm sounds when the fault is found and falls silent when the next supply clears it.
            const bool last = failing + 1 == supplies;
            Lines transfers = healthyTransfers(type);
            transfers[failing] += " !";
            transfers.insert(transfers.begin() + failing + 1, "W 41 04 58");
            if (!last) {
                transfers.insert(transfers.begin() + failing + 3, "W 41 04 50");
            }
            EXPECT_EQ(fakeBus.takeTransfers(), transfers);
            EXPECT_EQ(before, last ? (Lines{LED, EMAIL, SUPPLY_WARNING}) : (Lines{LED, EMAIL, LED, SUPPLY_WARNING}));
            EXPECT_EQ(esaControl.powerSupplyStatus, last ? 0x1U : 0x3U);
            EXPECT_EQ(esaControl.compositeFaultStatus, last ? 0x80000002U : 0U);
        }
    }
}

TEST_F(Vsc055Page, FanThatCannotBeReadShowsNoSpeedAndTheHighestSpeedCode) {
    for (int type : {3, 5}) {
        const unsigned first = type == 3 ? 3 : 2;
        for (unsigned fan = 0; fan < 3; ++fan) {
            SCOPED_TRACE(testing::Message() << "type " << type << " fan " << fan);
            start(type);
            fakeBus.failTransfer(first + fan);
            Lines records = GOOD_FANS;
            records[fan] = "00 00 00 E0";
            Lines before;
            EXPECT_EQ(askForPage(before), pageOf(goodSupplies(type), records, GOOD_SENSORS));
            EXPECT_EQ(before, Lines{});
            EXPECT_EQ(esaControl.fanFaultStatus, 0U) << "only the poll marks these fans";
            EXPECT_EQ(fakeBus.takeTransfers().size(), healthyTransfers(type).size());
        }
    }
}

TEST_F(Vsc055Page, StoppedFanIsShownOff) {
    start(5);
    fakeBus.set(0x41, 0x36, 0);
    Lines before;
    EXPECT_EQ(askForPage(before), pageOf(goodSupplies(5), {"00 80 58 E0", "00 00 00 08", "00 80 58 E0"}, GOOD_SENSORS));
}

TEST_F(Vsc055Page, SensorThatCannotBeReadShowsNoTemperature) {
    for (int type : {3, 5}) {
        const unsigned first = type == 3 ? 6 : 5;
        for (unsigned transfer = 0; transfer < 6; ++transfer) {
            SCOPED_TRACE(testing::Message() << "type " << type << " transfer " << transfer);
            start(type);
            fakeBus.failTransfer(first + transfer);
            Lines records = GOOD_SENSORS;
            records[transfer / 2] = "00 00 00 00";
            Lines before;
            EXPECT_EQ(askForPage(before), pageOf(goodSupplies(type), GOOD_FANS, records));
            EXPECT_EQ(before, Lines{});
            EXPECT_EQ(esaControl.temperatureSensor[transfer / 2], 32767);
            EXPECT_EQ(fakeBus.takeTransfers().size(), healthyTransfers(type).size() - (transfer % 2 == 0 ? 1 : 0));
        }
    }
}

TEST_F(Vsc055Page, RedundancyThatHasComeBackIsAWarningToo) {
    start(5);
    esaControl.powerSupplyStatus = 0x1;
    esaControl.compositeFaultStatus = 0x80000002;
    Lines before;
    EXPECT_EQ(askForPage(before), pageOf(goodSupplies(5), GOOD_FANS, GOOD_SENSORS));
    EXPECT_EQ(before, (Lines{LED, SUPPLY_WARNING}));
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
}
