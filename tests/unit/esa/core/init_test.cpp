/** What start-up leaves in the control block, which system calls it makes, and what it traces. */
#include "core/i2c.h"
#include "esainit.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "core_test.h"
#include "wire.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** The processors number this option differently. */
const std::string LOW_WATER_MARK = "setsockopt 1 " + std::to_string(SO_RCVLOWAT) + " 4064";

class Init : public CoreTest {
protected:
    Init() {
        close(esaControl.socketFdMSM); // start-up makes its own
        std::memset(static_cast<void*>(&esaControl), 0xA5, sizeof(esaControl));
        listener.emplace(directory + "/esadapter");
        systemCalls.calls.clear();
        systemCalls.deviceFd = 77;
    }

    std::string connected() const {
        return "Enclosure Services Adapter connects to MSM with socket [" + std::to_string(esaControl.socketFdMSM) +
               "]";
    }

    /** Puts a directory into the block that fills the whole field with `size` characters. */
    void setDirectory(std::size_t size) {
        std::memset(params.mmsgDirectory, 0, sizeof(params.mmsgDirectory));
        std::memset(params.mmsgDirectory, 'd', size);
    }

    std::string socketPath() const {
        const sockaddr_un& address = esaControl.socketAddressMSM;
        return {address.sun_path, strnlen(address.sun_path, sizeof(address.sun_path))};
    }

    std::optional<SwitchSocket> listener;
};

} // namespace

TEST_F(Init, PutsTheWholeControlBlockIntoItsStartState) {
    params.chassisType = 1;
    esaInit();
    EXPECT_EQ(esaControl.esaDebug, 1);
    EXPECT_EQ(esaControl.enclosureType, 1);
    EXPECT_EQ(esaControl.elementTypeMaxNumber, 5);
    EXPECT_EQ(esaControl.deviceMaxNumber, 16);
    EXPECT_EQ(esaControl.powerSupplyMaxNumber, 3);
    EXPECT_EQ(esaControl.coolingMaxNumber, 8);
    EXPECT_EQ(esaControl.temperatureSensorMaxNumber, 4);
    EXPECT_EQ(esaControl.audibleAlarmMaxNumber, 1);
    EXPECT_EQ(hex(esaControl.sesTypeDescriptorList, 5), "01 02 03 04 06");
    EXPECT_EQ(esaControl.pollTimeout.sec, 10U);
    EXPECT_EQ(esaControl.pollTimeout.usec, 0U);
    EXPECT_GT(esaControl.socketFdMSM, 2);
    EXPECT_EQ(esaControl.i2cFileFd, 77);
    EXPECT_EQ(esaControl.socketAddressMSM.sun_family, 1);
    EXPECT_EQ(socketPath(), directory + "/esadapter");

    // Nothing else is set: with these fields cleared, the block is empty.
    const int fd = esaControl.socketFdMSM;
    esaControl.esaDebug = 0;
    esaControl.enclosureType = 0;
    esaControl.elementTypeMaxNumber = esaControl.deviceMaxNumber = esaControl.powerSupplyMaxNumber = 0;
    esaControl.coolingMaxNumber = esaControl.temperatureSensorMaxNumber = esaControl.audibleAlarmMaxNumber = 0;
    std::memset(esaControl.sesTypeDescriptorList, 0, 5);
    esaControl.pollTimeout = {};
    esaControl.socketFdMSM = esaControl.i2cFileFd = 0;
    std::memset(&esaControl.socketAddressMSM, 0, sizeof(esaControl.socketAddressMSM));
    const auto* bytes = reinterpret_cast<const U8_t*>(&esaControl);
    EXPECT_EQ(std::count(bytes, bytes + sizeof(esaControl), 0), static_cast<long>(sizeof(esaControl)));
    esaControl.socketFdMSM = fd;
    EXPECT_THAT(fakeEventLog, IsEmpty());
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
}

TEST_F(Init, ConnectsFirstThenOpensTheDeviceAndTracesInThatOrder) {
    params.chassisType = 5;
    esaInit();
    EXPECT_THAT(systemCalls.calls,
                ElementsAre("socket 1 1 0", LOW_WATER_MARK, "connect 1 " + directory + "/esadapter 110",
                            testing::StartsWith("open /dev/enc-0 0x")));
    const unsigned long flags = std::stoul(systemCalls.calls.back().substr(16), nullptr, 16);
    EXPECT_EQ(flags & 0x3, 2U) << "for reading and writing";
    EXPECT_EQ(flags & 0x100, 0x100U) << "never as the controlling terminal";
    EXPECT_THAT(takeTrace(), ElementsAre("esaDebug set to TRUE", connected(), "oMpuParams->chassisType = [5]",
                                         "esaControl.enclosureType = [VORAN_E_CHASSIS_VORAN_VSC055]"));
    const int accepted = listener->accept();
    EXPECT_GE(accepted, 0);
    close(accepted);
}

TEST_F(Init, EveryChassisTypeSetsItsTypeAndAddressesAndNoOthers) {
    struct {
        int type;
        int enclosure;
        const char* addresses; // VSC055, four LM75, W83782D
        const char* name;
    } const cases[] = {
        {0, 1, "00 00 00 00 00 00", "VORAN_E_CHASSIS_NONE"},
        {1, 1, "00 00 00 00 00 00", "VORAN_E_CHASSIS_NONE"},
        {2, 2, "63 00 00 00 00 00", "VORAN_E_CHASSIS_XYRATEX_2U12ATX"},
        {3, 3, "41 4C 4B 4A 00 00", "VORAN_E_CHASSIS_TELMA_QUADRA"},
        {4, 4, "00 00 00 00 00 00", "VORAN_E_CHASSIS_CHENBRO_3U16ATX"},
        {5, 5, "41 4C 4B 4A 00 00", "VORAN_E_CHASSIS_VORAN_VSC055"},
        {6, 6, "00 00 00 00 00 28", "VORAN_E_CHASSIS_VORAN_W83782D"},
        {7, 1, "00 00 00 00 00 00", "VORAN_E_CHASSIS_NONE"},
        {8, 1, "00 00 00 00 00 00", "VORAN_E_CHASSIS_NONE"},
        {128, 1, "00 00 00 00 00 00", "VORAN_E_CHASSIS_NONE"},
        {255, 1, "00 00 00 00 00 00", "VORAN_E_CHASSIS_NONE"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.type);
        params.chassisType = static_cast<U8_t>(test.type);
        esaInit();
        EXPECT_EQ(esaControl.enclosureType, test.enclosure);
        const auto* lm75 = esaControl.i2cAddressLM75;
        EXPECT_EQ(
            hex(Bytes{esaControl.i2cAddressVsc055, lm75[0], lm75[1], lm75[2], lm75[3], esaControl.i2cAddressW83782d}),
            test.addresses);
        EXPECT_EQ(esaControl.i2cConnected, 0) << "only the chassis' own initialiser knows";
        EXPECT_EQ(esaControl.deviceMaxNumber, 16) << "the counts stay the default ones here";
        EXPECT_EQ(esaControl.coolingMaxNumber, 8);
        EXPECT_THAT(takeTrace(), ElementsAre("esaDebug set to TRUE", connected(),
                                             "oMpuParams->chassisType = [" + std::to_string(test.type) + "]",
                                             std::string("esaControl.enclosureType = [") + test.name + "]"));
        close(listener->accept());
        close(esaControl.socketFdMSM);
    }
    EXPECT_THAT(fakeEventLog, IsEmpty());
}

TEST_F(Init, MissingDeviceLeavesTheChassisAtNoneWithoutAnError) {
    params.chassisType = 5;
    systemCalls.deviceFd = -1;
    esaInit();
    EXPECT_EQ(esaControl.enclosureType, 1);
    EXPECT_EQ(esaControl.i2cFileFd, -1);
    EXPECT_EQ(esaControl.i2cAddressVsc055, 0);
    EXPECT_EQ(hex(esaControl.i2cAddressLM75, 4), "00 00 00 00");
    EXPECT_THAT(takeTrace(), ElementsAre("esaDebug set to TRUE", connected(), "Failed to open the i2c device."));
    EXPECT_THAT(fakeEventLog, IsEmpty());
}

TEST_F(Init, DeviceWithDescriptorZeroIsADevice) {
    params.chassisType = 6;
    systemCalls.deviceFd = 0;
    esaInit();
    EXPECT_EQ(esaControl.i2cFileFd, 0);
    EXPECT_EQ(esaControl.enclosureType, 6);
}

TEST_F(Init, SocketThatCannotBeMadeIsACriticalErrorAndStartUpGoesOn) {
    params.chassisType = 2;
    systemCalls.socketError = EMFILE;
    esaInit();
    EXPECT_EQ(esaControl.socketFdMSM, -1);
    ASSERT_EQ(fakeEventLog.size(), 8U); // the socket, and then the connection that needs it
    EXPECT_EQ(errorMessage(0), "Linux socket function fails for ESA socket!");
    EXPECT_EQ(errorFunction(0), "esaInit()");
    EXPECT_EQ(errorMessage(1), "Linux connect function fails for MSM/ESA socket!");
    EXPECT_EQ(errorFunction(1), "esaInit()");
    EXPECT_EQ(textAt(fakeEventLog[0].bytes, 152), "esainit.cpp");
    EXPECT_EQ(esaControl.enclosureType, 2);
    EXPECT_THAT(takeTrace(), Contains("Enclosure Services Adapter connects to MSM with socket [-1]"));
}

TEST_F(Init, SocketWithDescriptorZeroIsNoError) {
    params.chassisType = 1;
    const int kept = dup(0);
    close(0); // the next socket gets the lowest free descriptor
    esaInit();
    EXPECT_EQ(esaControl.socketFdMSM, 0);
    EXPECT_THAT(fakeEventLog, IsEmpty());
    esaControl.socketFdMSM = dup(0);
    if (kept >= 0) {
        dup2(kept, 0);
        close(kept);
    }
}

TEST_F(Init, SwitchThatIsNotThereIsACriticalErrorAndIsNotTriedAgain) {
    params.chassisType = 4;
    listener.reset();
    esaInit();
    ASSERT_EQ(fakeEventLog.size(), 4U);
    EXPECT_EQ(errorMessage(0), "Linux connect function fails for MSM/ESA socket!");
    EXPECT_EQ(errorFunction(0), "esaInit()");
    EXPECT_THAT(systemCalls.calls,
                ElementsAre("socket 1 1 0", LOW_WATER_MARK, "connect 1 " + directory + "/esadapter 110",
                            testing::StartsWith("open /dev/enc-0 ")));
    const std::vector<std::string> trace = takeTrace();
    EXPECT_THAT(trace, Contains("| Message:   Linux connect function fails for MSM/ESA socket!"));
    EXPECT_THAT(trace, Contains(connected()));
    EXPECT_EQ(esaControl.enclosureType, 4);
}

TEST_F(Init, LowWaterMarkThatCannotBeSetIsNoError) {
    params.chassisType = 1;
    systemCalls.setsockoptError = EINVAL;
    esaInit();
    EXPECT_THAT(fakeEventLog, IsEmpty());
    EXPECT_THAT(takeTrace(), Contains(connected()));
}

TEST_F(Init, PathIsTheDirectoryAndTheNameForAllThatFits) {
    params.chassisType = 1;
    struct {
        std::size_t directory;
        std::size_t path;
        const char* end;
    } const cases[] = {
        {0, 10, "/esadapter"},   {1, 11, "d/esadapter"}, {96, 106, "d/esadapter"}, {97, 107, "d/esadapter"},
        {98, 107, "d/esadapte"}, {106, 107, "dd/"},      {107, 107, "ddd"},        {108, 107, "ddd"},
        {127, 107, "ddd"},       {128, 107, "ddd"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.directory);
        setDirectory(test.directory);
        params.nvramDirectory[0] = 'N'; // what follows a directory without a terminator
        esaInit();
        const std::string path = socketPath();
        EXPECT_EQ(path.size(), test.path);
        EXPECT_THAT(path, testing::EndsWith(test.end));
        EXPECT_EQ(path.find_first_not_of('d'),
                  std::min<std::size_t>(test.directory, 107) == 107 ? std::string::npos : test.directory);
        EXPECT_EQ(esaControl.socketAddressMSM.sun_path[107], '\0');
        EXPECT_EQ(esaControl.i2cFileFd, 77) << "nothing behind the path was overwritten";
        close(esaControl.socketFdMSM);
    }
}

TEST_F(Init, TracesNothingWhileTracingIsOff) {
    trace(false);
    params.chassisType = 3;
    esaInit();
    trace(true);
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_EQ(esaControl.enclosureType, 3);
}

namespace {

using I2cAccess = CoreTest;

} // namespace

TEST_F(I2cAccess, BusThatIsMarkedUnusableIsNotTouched) {
    U8_t data[2] = {0x11, 0x22};
    esaControl.i2cConnected = 0;
    EXPECT_EQ(esaReadI2CData(0x41, 0x10, data, 1), 1);
    EXPECT_EQ(esaWriteI2CData(0x41, 0x10, data, 1), 1);
    EXPECT_EQ(hex(data, 2), "11 22");
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(I2cAccess, TransfersGoToTheDeviceTheRegisterAndTheLengthAsked) {
    esaControl.i2cConnected = 1;
    fakeBus.set(0x4C, 0x00, 0x1E);
    fakeBus.set(0x4C, 0x01, 0x80);
    U8_t data[3] = {};
    EXPECT_EQ(esaReadI2CData(0x4C, 0x00, data, 2), 0);
    EXPECT_EQ(hex(data, 3), "1E 80 00");
    const U8_t out[] = {0x50, 0x51, 0x52};
    EXPECT_EQ(esaWriteI2CData(0x63, 0x98, out, 3), 0);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 4C 00 x2", "W 63 98 50 51 52"));
    EXPECT_THAT(takeTrace(), IsEmpty());
}

TEST_F(I2cAccess, FailedTransferIsReportedOnceAndNotTriedAgain) {
    esaControl.i2cConnected = 1;
    fakeBus.failDevice(0x28);
    U8_t data[1] = {0x33};
    EXPECT_EQ(esaReadI2CData(0x28, 0x20, data, 1), -1);
    EXPECT_EQ(esaWriteI2CData(0x28, 0x40, data, 1), -1);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 28 20 !", "W 28 40 33 !"));
    EXPECT_THAT(takeTrace(), IsEmpty());
    EXPECT_THAT(fakeSleeps, IsEmpty());
    EXPECT_EQ(esaControl.i2cConnected, 1);
}
