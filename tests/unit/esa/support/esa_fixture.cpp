#include "esa_fixture.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <sstream>

#include "stream.h"
#include "trace.h"

namespace {

constexpr const char* MODULES[] = {"ESA"};

} // namespace

EsaTest::EsaTest() {
    params.version = 15;
    std::strncpy(params.logDirectory, folder.path().c_str(), sizeof(params.logDirectory) - 1);
    std::strncpy(params.mmsgDirectory, folder.path().c_str(), sizeof(params.mmsgDirectory) - 1);
    oMpuParams = &params;
    TRACE__init(&params, "esa_%02d.log", 1, MODULES);
    (void)TRACE__setTraceLevel(0, 0x10);

    wireClear(esaControl);
    const std::array<int, 2> ends = testsupport::connectedPair();
    esaControl.socketFdMSM = ends[0];
    esaControl.i2cFileFd = 99;
    esaControl.enclosureType = VORAN_E_CHASSIS_NONE;
    switchFd = ends[1];
    fakeBus = {};
    fakeEventLog.clear();
    onFakeSleep = nullptr;
}

EsaTest::~EsaTest() {
    TRACE__done();
    close(switchFd);
    close(esaControl.socketFdMSM);
}

void EsaTest::startChassis(int type, U32_t alarmState) {
    const Chassis_t& chassis = esaFindChassis(static_cast<VORAN_E_CHASSIS_t>(type));
    ASSERT_EQ(chassis.type, type);
    esaControl.enclosureType = chassis.type;
    esaControl.i2cAddressVsc055 = chassis.vsc055Address;
    std::memcpy(esaControl.i2cAddressLM75, chassis.lm75Address, sizeof(chassis.lm75Address));
    esaControl.i2cAddressW83782d = chassis.w83782dAddress;
    esaSetDimensions(chassis.dimensions);
    esaControl.i2cConnected = 1;
    esaControl.fanFaultRpmLimit = 2000;
    esaControl.powerSupplyStatus = 0x3;
    esaControl.alarmState = alarmState;
}

std::vector<Bytes_t> EsaTest::takeMessages() {
    Bytes_t stream;
    U8_t piece[8192];
    ssize_t got = 0;
    while ((got = recv(switchFd, piece, sizeof(piece), MSG_DONTWAIT)) > 0) {
        stream.insert(stream.end(), piece, piece + got);
    }
    std::vector<Bytes_t> messages;
    std::size_t at = 0;
    while (at + 64 <= stream.size()) {
        const std::size_t length = testsupport::lengthOf(std::span(stream).subspan(at));
        if (length < 64 || at + length > stream.size()) {
            ADD_FAILURE() << "the stream does not hold whole messages";
            break;
        }
        messages.emplace_back(stream.begin() + static_cast<long>(at), stream.begin() + static_cast<long>(at + length));
        at += length;
    }
    EXPECT_EQ(at, stream.size()) << "bytes behind the last message";
    return messages;
}

std::vector<std::string> EsaTest::takeMessageNames() {
    std::vector<std::string> names;
    for (const Bytes_t& message : takeMessages()) {
        names.push_back(testsupport::messageName(message));
    }
    return names;
}

std::vector<std::string> EsaTest::takeTrace() {
    const std::string log = folder.read("esa_01.log");
    std::istringstream fresh(log.substr(traceRead));
    traceRead = log.size();
    std::vector<std::string> lines;
    for (std::string line; std::getline(fresh, line);) {
        lines.push_back(line);
    }
    return lines;
}

MMSG_t& EsaTest::request(int protocol, U32_t type, int requestor, int size) {
    Bytes_t header =
        testsupport::message({static_cast<unsigned>(requestor), static_cast<unsigned>(protocol), type, 0, {33}});
    testsupport::put16(header, 10, static_cast<unsigned>(size));
    std::memset(esaControl.esaInMsg, 0, sizeof(esaControl.esaInMsg));
    std::memcpy(esaControl.esaInMsg, header.data(), header.size());
    return wireAt<MMSG_t>(static_cast<void*>(esaControl.esaInMsg));
}
