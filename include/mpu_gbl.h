/**
 * The shared parameter block: the settings of every management process, in one System V shared-memory segment,
 * and the smaller CMAP block beside it.
 */
#pragma once

#include <cstddef>
#include <cstdio>

#include "basetypes.h"
#include "osdep.h"

/** Chassis types, as `MPU_PARAMS_t::chassisType` holds them. */
enum VORAN_E_CHASSIS_e : U8_t {
    VORAN_E_CHASSIS_NONE = 1,
#define CHASSIS(number, constant, ...) VORAN_E_CHASSIS_##constant = number,
#include "chassis_list.def"
};
using VORAN_E_CHASSIS_t = U8_t;

using MPU_ICHAR_MODE_t = U8_t;

struct VORAN_VER_t {
    U16_t major;
    U16_t minor;
    U16_t maintNum;
    U16_t buildNum;
};

struct MAC_ADDRESS_t {
    U8_t mac[6]; /**< in the order of transmission */
    U16_t _filler1;
};

/** Layout version that every process of this release expects. */
inline constexpr U32_t MPU_K_PARAMS_VERSION = 15;

/** Keys of the block below this one are refused. */
inline constexpr int MPU_K_LEAST_KEY = 100;

/** Bits of `MPU_PARAMS_t::flags`. */
inline constexpr U32_t MPU_K_FLAG_OTHER_BLADE_PRESENT = 0x2;
inline constexpr U32_t MPU_K_FLAG_RESTART_RECOVERY = 0x4;
inline constexpr U32_t MPU_K_FLAG_BATTERY_SAFE = 0x8;
inline constexpr U32_t MPU_K_FLAG_CACHE_VALID = 0x10;
inline constexpr U32_t MPU_K_FLAG_RESET_ASSERTED = 0x20;
inline constexpr U32_t MPU_K_FLAG_BATTERY_PRESENT = 0x40;
inline constexpr U32_t MPU_K_FLAG_RCP_COMPLETE = 0x80; /**< raised when the run-control sequence is complete */
inline constexpr U32_t MPU_K_FLAG_DISABLE_BREAKPOINT = 0x10000;
inline constexpr U32_t MPU_K_FLAG_INITIALIZE_DRIVES = 0x20000;
inline constexpr U32_t MPU_K_FLAG_DISABLE_TIMEOUTS = 0x40000;
inline constexpr U32_t MPU_K_FLAG_CLEAR_PERSISTENCE = 0x80000;
inline constexpr U32_t MPU_K_FLAG_MGT_PORT_NOT_INITED = 0x100000;
inline constexpr U32_t MPU_K_FLAG_REDUCE_EVENTS = 0x200000;
inline constexpr U32_t MPU_K_FLAG_TRACING_ENABLED = 0x1000000; /**< asks every process to trace */
inline constexpr U32_t MPU_K_FLAG_HA_TRACING_ENABLED = 0x2000000;

/** The parameter block. Integers are in the host's order; the layout is shared by all processes. */
struct MPU_PARAMS_t {
    U32_t version; /**< MPU_K_PARAMS_VERSION */
    U32_t flags;   /**< MPU_K_FLAG_...; other processes raise bits while this one runs */
    U32_t slotId;
    U8_t bladeType;
    U8_t disklineMode;
    MPU_ICHAR_MODE_t iCharMode;
    U8_t numPorts;
    U32_t regBlockOffset[2]; /**< 64-bit value, high word first */
    U32_t regBlockSize[2];   /**< 64-bit value, high word first */
    U16_t otherPresentOffset;
    U8_t otherPresentBlock;
    U8_t otherPresentBit;
    U16_t resetOtherOffset;
    U8_t resetOtherBlock;
    U8_t resetOtherBit;
    U32_t issIpAddress; /**< IPv4, the first part most significant, here and below */
    U8_t numBusses;
    U8_t numAdapters;
    U8_t batteryMgtPolicy;
    U8_t _pad1;
    VORAN_VER_t mpuVer; /**< management software */
    VORAN_VER_t q4xVer; /**< data-path engine's software */
    U16_t asicDeviceId;
    U16_t pciVendorId;
    U16_t asicRevision;
    U8_t haccMode;
    VORAN_E_CHASSIS_t chassisType;
    U32_t serialNo;
    U32_t shmKey;
    U32_t ouiNo;
    U8_t mfgProductIdStr[4];
    U8_t mfgBoardRevStr[4];
    U8_t _pad2[4];
    U32_t smSize; /**< bytes of system memory */
    U32_t bmSize; /**< bytes of buffer memory */
    U32_t haccStartingIpAddress;
    U32_t haccNetmask;
    U32_t mgtPortIpAddress;
    U32_t mgtPortNetmask;
    U8_t serialStr[64];
    U8_t chassisSN[64];
    MAC_ADDRESS_t macAddress[8];
    CHAR_t mmsgDirectory[128]; /**< directory of the message switch's sockets */
    CHAR_t nvramDirectory[128];
    CHAR_t logDirectory[128]; /**< directory of trace logs and the platform's event log */
    U8_t portConfig[8];
    CHAR_t vendorId[8];   /**< blank-filled */
    CHAR_t productId[16]; /**< blank-filled */
    CHAR_t revisionLvl[4];
    U8_t bus[2];
    U8_t _pad3[2];
    U32_t adapters[2];
};
static_assert(sizeof(VORAN_VER_t) == 8 && sizeof(MAC_ADDRESS_t) == 8);
static_assert(sizeof(MPU_PARAMS_t) == 744);
#define MPU_PARAMS_OFFSET(field, offset) static_assert(offsetof(MPU_PARAMS_t, field) == (offset))
MPU_PARAMS_OFFSET(version, 0);
MPU_PARAMS_OFFSET(flags, 4);
MPU_PARAMS_OFFSET(slotId, 8);
MPU_PARAMS_OFFSET(bladeType, 12);
MPU_PARAMS_OFFSET(disklineMode, 13);
MPU_PARAMS_OFFSET(iCharMode, 14);
MPU_PARAMS_OFFSET(numPorts, 15);
MPU_PARAMS_OFFSET(regBlockOffset, 16);
MPU_PARAMS_OFFSET(regBlockSize, 24);
MPU_PARAMS_OFFSET(otherPresentOffset, 32);
MPU_PARAMS_OFFSET(otherPresentBlock, 34);
MPU_PARAMS_OFFSET(otherPresentBit, 35);
MPU_PARAMS_OFFSET(resetOtherOffset, 36);
MPU_PARAMS_OFFSET(resetOtherBlock, 38);
MPU_PARAMS_OFFSET(resetOtherBit, 39);
MPU_PARAMS_OFFSET(issIpAddress, 40);
MPU_PARAMS_OFFSET(numBusses, 44);
MPU_PARAMS_OFFSET(numAdapters, 45);
MPU_PARAMS_OFFSET(batteryMgtPolicy, 46);
MPU_PARAMS_OFFSET(_pad1, 47);
MPU_PARAMS_OFFSET(mpuVer, 48);
MPU_PARAMS_OFFSET(q4xVer, 56);
MPU_PARAMS_OFFSET(asicDeviceId, 64);
MPU_PARAMS_OFFSET(pciVendorId, 66);
MPU_PARAMS_OFFSET(asicRevision, 68);
MPU_PARAMS_OFFSET(haccMode, 70);
MPU_PARAMS_OFFSET(chassisType, 71);
MPU_PARAMS_OFFSET(serialNo, 72);
MPU_PARAMS_OFFSET(shmKey, 76);
MPU_PARAMS_OFFSET(ouiNo, 80);
MPU_PARAMS_OFFSET(mfgProductIdStr, 84);
MPU_PARAMS_OFFSET(mfgBoardRevStr, 88);
MPU_PARAMS_OFFSET(_pad2, 92);
MPU_PARAMS_OFFSET(smSize, 96);
MPU_PARAMS_OFFSET(bmSize, 100);
MPU_PARAMS_OFFSET(haccStartingIpAddress, 104);
MPU_PARAMS_OFFSET(haccNetmask, 108);
MPU_PARAMS_OFFSET(mgtPortIpAddress, 112);
MPU_PARAMS_OFFSET(mgtPortNetmask, 116);
MPU_PARAMS_OFFSET(serialStr, 120);
MPU_PARAMS_OFFSET(chassisSN, 184);
MPU_PARAMS_OFFSET(macAddress, 248);
MPU_PARAMS_OFFSET(mmsgDirectory, 312);
MPU_PARAMS_OFFSET(nvramDirectory, 440);
MPU_PARAMS_OFFSET(logDirectory, 568);
MPU_PARAMS_OFFSET(portConfig, 696);
MPU_PARAMS_OFFSET(vendorId, 704);
MPU_PARAMS_OFFSET(productId, 712);
MPU_PARAMS_OFFSET(revisionLvl, 728);
MPU_PARAMS_OFFSET(bus, 732);
MPU_PARAMS_OFFSET(_pad3, 734);
MPU_PARAMS_OFFSET(adapters, 736);
#undef MPU_PARAMS_OFFSET

/**
 * Attaches the parameter block of `key` read-only. Returns the block, or nullptr after a report on standard error
 * when there is no such segment, it cannot be mapped, or its version is not MPU_K_PARAMS_VERSION. A segment whose owner
 * or maker is neither root nor this process's effective user is one that cannot be opened (EACCES).
 */
[[nodiscard]] const MPU_PARAMS_t* MPU_getMpuParams(int key);

/** The same, and stores the segment's id in `*pShmid` (-1 when there is none). */
[[nodiscard]] const MPU_PARAMS_t* MPU_getMpuParamsAndShmid(S32_t* pShmid, int key);

/** Detaches a block that this process got or created; returns shmdt's result (0, or -1 with errno set). */
int MPU_detachMpuParams(const MPU_PARAMS_t* params);

/** Removes the segment; returns shmctl's result (0, or -1 with errno set). Processes that have it attached keep it. */
int MPU_deleteMpuParams(S32_t shmid);

/**
 * Creates the parameter block of `key` (an older one of that key is replaced) and fills it from the text file
 * that the environment names in NONXML_FILE, or else from a binary image in network byte order: CONFIG_FILE, or
 * configMpu.bin in PROJDIR. Stores the segment's id in `*pShmid`. Returns the attached block, or nullptr after a
 * report on standard error; nothing is left behind then, and `*pShmid` is -1 if a segment had been made.
 *
 * A text file decides about every field, `version` included: what it does not name is 0.
 */
[[nodiscard]] MPU_PARAMS_t* MPU_createMpuParams(S32_t* pShmid, int key);

/**
 * Turns every integer of the block from network byte order into the host's, or back: it is its own inverse. Bytes
 * and texts stay as they are; on a big-endian host nothing changes.
 */
void MPU_swapMpuParams(MPU_PARAMS_t* params);

/* ------------------------------------------------------------------------------------------- CMAP block */

/** Version word of a new CMAP block. */
inline constexpr U32_t MPU_K_CMAP_PARAMS_VERSION = 1;

/** Most that a semaphore can count. */
inline constexpr U32_t MPU_K_SEMAPHORE_MAX = 0x7FFFFFFF;

/**
 * A counting semaphore for every process that maps it. It is one word for the kernel's futex calls: the C library's
 * own semaphore is so large on a 64-bit host that it would not fit into the CMAP block beside the mutex.
 */
struct MPU_SEMAPHORE_t {
    U32_t count; /**< above MPU_K_SEMAPHORE_MAX: destroyed */
};

/** Starts the semaphore at `count`; above MPU_K_SEMAPHORE_MAX the process ends through MPU_BUGCHECK(). Returns 0. */
S32_t mpuSemaphore_Init(MPU_SEMAPHORE_t* semaphore, U32_t count);
/** Ends its use; the process ends through MPU_BUGCHECK() when it was ended already. Returns 0. */
S32_t mpuSemaphore_Done(MPU_SEMAPHORE_t* semaphore);
/** Takes one; blocks while the count is 0. */
void mpuSemaphore_Get(MPU_SEMAPHORE_t* semaphore);
/** Gives one back and wakes one waiter. */
void mpuSemaphore_Put(MPU_SEMAPHORE_t* semaphore);

/** The CMAP block: 52 bytes on every host. Its mutex is reached through MPU_cmapMutex(). */
struct CmapParams_t {
    U32_t version; /**< MPU_K_CMAP_PARAMS_VERSION */
    MPU_SEMAPHORE_t semaphore;
    U32_t mutex[11]; /**< holds an MPU_MUTEX_t, whose own size and alignment differ from host to host */
};
static_assert(sizeof(CmapParams_t) == 52);
static_assert(offsetof(CmapParams_t, version) == 0);
static_assert(offsetof(CmapParams_t, semaphore) == 4);
static_assert(offsetof(CmapParams_t, mutex) == 8);
static_assert(sizeof(MPU_MUTEX_t) <= sizeof(CmapParams_t::mutex));
static_assert(offsetof(CmapParams_t, mutex) % alignof(MPU_MUTEX_t) == 0);

/** The mutex of an attached CMAP block (segments start on a page, so it is aligned). */
inline MPU_MUTEX_t* MPU_cmapMutex(CmapParams_t* params) {
    return reinterpret_cast<MPU_MUTEX_t*>(params->mutex);
}

/** Attaches the CMAP block of `key`, whatever its version. Returns nullptr after a report on standard error. */
[[nodiscard]] CmapParams_t* MPU_getCmapParams(int key);

/** The same, and stores the segment's id in `*pShmid` (-1 when there is none). */
[[nodiscard]] CmapParams_t* MPU_getCmapParamsAndShmid(S32_t* pShmid, int key);

/**
 * Creates the CMAP block of `key` (an older one is replaced): all zero but the version, the semaphore at 0, the
 * mutex free, both usable by every process. Stores the segment's id in `*pShmid`. Returns the attached block, or
 * nullptr after a report on standard error, with no segment left behind.
 */
[[nodiscard]] CmapParams_t* MPU_createCmapParams(S32_t* pShmid, int key);

/** Detaches a CMAP block that this process got or created; returns shmdt's result (0, or -1 with errno set). */
int MPU_detachCmapParams(const CmapParams_t* params);

/**
 * Destroys semaphore and mutex of the CMAP block in the segment `shmid`, whether this process has it attached or not,
 * then removes the segment; returns shmctl's result (0, or -1 with errno set). A mutex that somebody holds, or a
 * semaphore that was destroyed before, ends the process through MPU_BUGCHECK().
 */
int MPU_deleteCmapParams(S32_t shmid);
