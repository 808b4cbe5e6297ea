#include "esainit.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "core/control_block.h"
#include "core/fault.h"
#include "core/operation.h"
#include "enclosure_bus.h"
#include "policy/chassis.h"

namespace {

constexpr U16_t TRACE_LEVEL_WITHOUT_DEBUG = 0xC00F;

constexpr U8_t SES_TYPES[] = {
    SES_K_ELEMENT_TYPE_DEVICE,        SES_K_ELEMENT_TYPE_POWER_SUPPLY,
    SES_K_ELEMENT_TYPE_COOLING,       SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR,
    SES_K_ELEMENT_TYPE_AUDIBLE_ALARM,
};
static_assert(sizeof(SES_TYPES) == sizeof(esaControl.sesTypeDescriptorList));
static_assert(ESA_E_FAN_NOT_AVAILABLE == 0, "no fan is available in a cleared block");

void setDefaults() {
    wireClear(esaControl);
    esaControl.esaDebug = 1;
    if (esaControl.esaDebug == 0) {
        // Never taken: a build without debugging sets the switch above to 0.
        TRACE__setTraceLevel(TRC_E_MOD_ESA, TRACE_LEVEL_WITHOUT_DEBUG);
    }
    esaControl.enclosureType = noChassis.type;
    esaSetDimensions(noChassis.dimensions);
    esaControl.pollTimeout = ESA_K_POLL_TIMEOUT;
    ESA_TRACE("esaDebug set to TRUE");
    std::memcpy(esaControl.sesTypeDescriptorList, SES_TYPES, sizeof(SES_TYPES));
}

/** The directory may fill its whole field, without a terminator. */
void setSocketAddress(sockaddr_un& address) {
    const std::size_t directory = strnlen(oMpuParams->mmsgDirectory, sizeof(oMpuParams->mmsgDirectory));
    CHAR_t path[sizeof(oMpuParams->mmsgDirectory) + sizeof(MMSG_K_ADAPTER_SOCKET)];
    std::memcpy(path, oMpuParams->mmsgDirectory, directory);
    std::memcpy(path + directory, MMSG_K_ADAPTER_SOCKET, sizeof(MMSG_K_ADAPTER_SOCKET));
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, strnlen(path, sizeof(address.sun_path) - 1));
}

void connectToSwitch() {
    esaControl.socketFdMSM = socket(AF_UNIX, SOCK_STREAM, 0);
    if (esaControl.socketFdMSM < 0) {
        esaFault(ESA_CALL_SITE("esaInit()"), "Linux socket function fails for ESA socket!");
    }
    // A message is then read whole by one call, however many pieces it comes in.
    const int wholeMessage = MMSG_K_MAX_SIZE;
    (void)setsockopt(esaControl.socketFdMSM, SOL_SOCKET, SO_RCVLOWAT, &wholeMessage, sizeof(wholeMessage));

    setSocketAddress(esaControl.socketAddressMSM);
    const auto* address = reinterpret_cast<const sockaddr*>(&esaControl.socketAddressMSM);
    if (connect(esaControl.socketFdMSM, address, sizeof(esaControl.socketAddressMSM)) < 0) {
        esaFault(ESA_CALL_SITE("esaInit()"), "Linux connect function fails for MSM/ESA socket!");
    }
    ESA_TRACE("Enclosure Services Adapter connects to MSM with socket [%d]", esaControl.socketFdMSM);
}

void recordChassis() {
    ESA_TRACE("oMpuParams->chassisType = [%d]", oMpuParams->chassisType);
    const Chassis_t& chassis = esaFindChassis(oMpuParams->chassisType);
    esaServeChassis(chassis);
    ESA_TRACE("esaControl.enclosureType = [%s]", chassis.typeName);
}

} // namespace

void esaInit() {
    ESA_OPERATION();
    setDefaults();
    connectToSwitch();
    // The device may be a terminal (a serial bridge): it must not become the daemon's own, nor wait for a carrier.
    esaControl.i2cFileFd = open(BUS_K_DEVICE, O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (esaControl.i2cFileFd < 0) {
        ESA_TRACE("Failed to open the i2c device.");
        return;
    }
    recordChassis();
}
