/** Keys, flags and value names of the platform's text configuration file. */
#include "mpu_gbl.h"
#include "nonxml.h"

const NonXML_Enums_t iCharMode[5] = {
    {"Driver", 1}, {"ISS", 2}, {"StubServer", 3}, {"StubClient", 4}, {nullptr, 0},
};

const NonXML_Enums_t haccMode[5] = {
    {"StandAlone", 1}, {"DualSim", 2}, {"eBlade", 3}, {"Default", 4}, {nullptr, 0},
};

// The other chassis cannot be named in the file: their products write the parameter block from a binary image.
const NonXML_Enums_t chassisType[4] = {
    {"None", VORAN_E_CHASSIS_NONE},
    {"Xyratex2U12ATX", VORAN_E_CHASSIS_XYRATEX_2U12ATX},
    {"Quadra", VORAN_E_CHASSIS_TELMA_QUADRA},
    {nullptr, 0},
};

const NonXML_Enums_t portConfig[3] = {{"1gige", 1}, {"10gige", 2}, {nullptr, 0}};

const NonXML_Enums_t trueFalse[3] = {{"True", 1}, {"False", 0}, {nullptr, 0}};

const NonXML_Flag_t nonXML_Flags[15] = {
    {"OtherBladePresent", MPU_K_FLAG_OTHER_BLADE_PRESENT},
    {"RestartRecovery", MPU_K_FLAG_RESTART_RECOVERY},
    {"BatterySafe", MPU_K_FLAG_BATTERY_SAFE},
    {"CacheValid", MPU_K_FLAG_CACHE_VALID},
    {"ResetAsserted", MPU_K_FLAG_RESET_ASSERTED},
    {"BatteryPresent", MPU_K_FLAG_BATTERY_PRESENT},
    {"DisableBreakpoint", MPU_K_FLAG_DISABLE_BREAKPOINT},
    {"InitializeDrives", MPU_K_FLAG_INITIALIZE_DRIVES},
    {"DisableTimeouts", MPU_K_FLAG_DISABLE_TIMEOUTS},
    {"ClearPersistence", MPU_K_FLAG_CLEAR_PERSISTENCE},
    {"MgtPortNotInited", MPU_K_FLAG_MGT_PORT_NOT_INITED},
    {"ReduceEvents", MPU_K_FLAG_REDUCE_EVENTS},
    {"CmapTracingEnabled", MPU_K_FLAG_TRACING_ENABLED},
    {"CmapHaTracingEnabled", MPU_K_FLAG_HA_TRACING_ENABLED},
    {nullptr, 0},
};

namespace {

constexpr NonXML_types_e U32 = NONXML_E_TYPE_U32;
constexpr NonXML_types_e ENUM = NONXML_E_TYPE_ENUM;
constexpr NonXML_types_e U8 = NONXML_E_TYPE_U8;
constexpr NonXML_types_e U16 = NONXML_E_TYPE_U16;
constexpr NonXML_types_e STRING = NONXML_E_TYPE_STRING;
constexpr NonXML_types_e BSTRING = NONXML_E_TYPE_BSTRING;
constexpr NonXML_types_e MACADDR = NONXML_E_TYPE_MACADDR;
constexpr NonXML_types_e IPADDR = NONXML_E_TYPE_IPADDR;
constexpr NonXML_types_e VERSION = NONXML_E_TYPE_VERSION;
constexpr NonXML_types_e ADAPTERS = NONXML_E_TYPE_ADAPTERS;
constexpr NonXML_types_e SIZE = NONXML_E_TYPE_SIZE;

} // namespace

#define AT(field) offsetof(MPU_PARAMS_t, field)
const NonXML_Tables_t nonXML_Tables = {
    {{"Unknown", 0}, {"Ignore", 1}, {"WriteThrough", 2}, {"Quiesce", 3}, {"UPSPresent", 4}},
    {
        {"Version", U32, AT(version), 4, 1, nullptr},
        {"Flags", U32, AT(flags), 4, 1, nullptr},
        {"Slot", U32, AT(slotId), 4, 1, nullptr},
        {"iCharMode", ENUM, AT(iCharMode), 1, 1, iCharMode},
        {"NumberOfPorts", U8, AT(numPorts), 1, 1, nullptr},
        {"IssIpAddress", IPADDR, AT(issIpAddress), 4, 1, nullptr},
        {"NumberOfBusses", U8, AT(numBusses), 1, 1, nullptr},
        {"NumberOfAdapters", U8, AT(numAdapters), 1, 1, nullptr},
        {"BatteryMgtPolicy", ENUM, AT(batteryMgtPolicy), 1, 1, nonXML_Tables.batteryPolicy},
        {"MpuSoftwareVersion", VERSION, AT(mpuVer), 8, 1, nullptr},
        {"Q4xFirmwareVersion", VERSION, AT(q4xVer), 8, 1, nullptr},
        {"AsicDeviceId", U16, AT(asicDeviceId), 2, 1, nullptr},
        {"PciVendorId", U16, AT(pciVendorId), 2, 1, nullptr},
        {"AsicRevision", U16, AT(asicRevision), 2, 1, nullptr},
        {"HaccMode", ENUM, AT(haccMode), 1, 1, haccMode},
        {"ChassisType", ENUM, AT(chassisType), 1, 1, chassisType},
        {"SerialValue", U32, AT(serialNo), 4, 1, nullptr},
        {"OUINumber", U32, AT(ouiNo), 4, 1, nullptr},
        // A blank-filled text takes `size` bytes and knows no index: the product id keeps its first character only.
        {"ProductIdString", BSTRING, AT(mfgProductIdStr), 1, 4, nullptr},
        {"BoardRevNumber", BSTRING, AT(mfgBoardRevStr), 4, 4, nullptr},
        {"SystemMemorySize", SIZE, AT(smSize), 4, 1, nullptr},
        {"BufferMemorySize", SIZE, AT(bmSize), 4, 1, nullptr},
        {"HaccStartingIpAddress", IPADDR, AT(haccStartingIpAddress), 4, 1, nullptr},
        {"HaccNetmask", IPADDR, AT(haccNetmask), 4, 1, nullptr},
        {"MgtPortIpAddress", IPADDR, AT(mgtPortIpAddress), 4, 1, nullptr},
        {"MgtPortNetmask", IPADDR, AT(mgtPortNetmask), 4, 1, nullptr},
        {"SerialNumber", STRING, AT(serialStr), 64, 1, nullptr},
        {"ChassisSerialNumber", STRING, AT(chassisSN), 64, 1, nullptr},
        {"MacAddress", MACADDR, AT(macAddress), 8, 8, nullptr},
        {"MmsgDirectory", STRING, AT(mmsgDirectory), 128, 1, nullptr},
        {"NvramDirectory", STRING, AT(nvramDirectory), 128, 1, nullptr},
        {"LogDirectory", STRING, AT(logDirectory), 128, 1, nullptr},
        {"portConfiguration", ENUM, AT(portConfig), 1, 8, portConfig},
        {"VendorId", BSTRING, AT(vendorId), 8, 1, nullptr},
        {"ProductId", BSTRING, AT(productId), 16, 1, nullptr},
        {"RevisionLevel", BSTRING, AT(revisionLvl), 4, 1, nullptr},
        {"Bus", ENUM, AT(bus), 1, 2, trueFalse},
        {"Adapter", ADAPTERS, AT(adapters), 4, 2, nullptr},
        {nullptr, U32, 0, 0, 0, nullptr},
    },
};
#undef AT
