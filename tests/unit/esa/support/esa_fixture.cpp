#include "esa_fixture.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "trace.h"

namespace {

constexpr const char* MODULES[] = {"ESA"};

U32_t word(const Bytes& bytes, std::size_t at) {
    return static_cast<U32_t>(bytes[at] << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3]);
}

std::string nameOf(const Bytes& message) {
    const int protocol = message[12];
    const U32_t type = word(message, 12) & 0xFFFFFFU;
    if (protocol == 12 && type == 14) {
        return word(message, 48) == 2 ? "led-on" : "led-off";
    }
    if (protocol == 12 && type == 16) {
        return "email";
    }
    if (protocol == 12 && type == 1) {
        return "init";
    }
    if (protocol == 13 && type == 1) {
        return "shutdown";
    }
    if (protocol == 8 && type == 1) {
        return "event " + std::to_string(message[214] << 8 | message[215]) + "/" + std::to_string(message[211]);
    }
    return "reply " + std::to_string(message.size());
}

} // namespace

EsaTest::EsaTest() {
    char pattern[] = "/tmp/esa-unit-XXXXXX";
    directory = mkdtemp(pattern);
    params.version = 15;
    std::strncpy(params.logDirectory, directory.c_str(), sizeof(params.logDirectory) - 1);
    std::strncpy(params.mmsgDirectory, directory.c_str(), sizeof(params.mmsgDirectory) - 1);
    oMpuParams = &params;
    TRACE__init(&params, "esa_%02d.log", 1, MODULES);
    trace(true);

    wireClear(esaControl);
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
        std::abort();
    }
    esaControl.socketFdMSM = fds[0];
    esaControl.i2cFileFd = 99;
    esaControl.enclosureType = VORAN_E_CHASSIS_NONE;
    switchFd = fds[1];
    fakeBus = {};
    fakeEventLog.clear();
    fakeSleeps.clear();
    onFakeSleep = nullptr;
}

EsaTest::~EsaTest() {
    TRACE__done();
    close(switchFd);
    close(esaControl.socketFdMSM);
    std::filesystem::remove_all(directory);
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

std::vector<Bytes> EsaTest::takeMessages() {
    Bytes stream;
    U8_t piece[8192];
    ssize_t got = 0;
    while ((got = recv(switchFd, piece, sizeof(piece), MSG_DONTWAIT)) > 0) {
        stream.insert(stream.end(), piece, piece + got);
    }
    std::vector<Bytes> messages;
    std::size_t at = 0;
    while (at + 64 <= stream.size()) {
        const std::size_t length = static_cast<std::size_t>(stream[at + 10] << 8 | stream[at + 11]);
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
    for (const Bytes& message : takeMessages()) {
        names.push_back(nameOf(message));
    }
    return names;
}

std::vector<std::string> EsaTest::takeTrace() {
    std::ifstream log(directory + "/esa_01.log", std::ios::binary);
    log.seekg(static_cast<std::streamoff>(traceRead));
    std::stringstream fresh;
    fresh << log.rdbuf();
    traceRead += fresh.str().size();
    std::vector<std::string> lines;
    for (std::string line; std::getline(fresh, line);) {
        lines.push_back(line);
    }
    return lines;
}

void EsaTest::trace(bool on) {
    (void)TRACE__setTraceLevel(0, on ? 0x10 : 0);
}

std::string EsaTest::hex(const void* bytes, std::size_t size) {
    std::string text;
    char two[4];
    for (std::size_t i = 0; i < size; ++i) {
        std::snprintf(two, sizeof(two), "%02X ", static_cast<const U8_t*>(bytes)[i]);
        text += two;
    }
    if (!text.empty()) {
        text.pop_back();
    }
    return text;
}

std::string EsaTest::hex(const Bytes& bytes) {
    return hex(bytes.data(), bytes.size());
}

Bytes EsaTest::unhex(const std::string& text) {
    Bytes bytes;
    std::string digits;
    for (char c : text) {
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
            digits += c;
        }
    }
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<U8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

MMSG_t& EsaTest::request(int protocol, U32_t type, int requestor, int size) {
    std::memset(esaControl.esaInMsg, 0, sizeof(esaControl.esaInMsg));
    U8_t* bytes = esaControl.esaInMsg;
    bytes[8] = 14;
    bytes[9] = 1;
    bytes[10] = static_cast<U8_t>(size >> 8);
    bytes[11] = static_cast<U8_t>(size);
    bytes[12] = static_cast<U8_t>(protocol);
    bytes[13] = static_cast<U8_t>(type >> 16);
    bytes[14] = static_cast<U8_t>(type >> 8);
    bytes[15] = static_cast<U8_t>(type);
    bytes[16] = static_cast<U8_t>(requestor);
    bytes[27] = 0x02;
    return wireAt<MMSG_t>(static_cast<void*>(bytes));
}
