/**
 * The platform library: I2C transfers and the platform's event log. A product brings its own shared object with
 * these functions; nothing else of the platform is visible to the processes that use it.
 */
#pragma once

#include "basetypes.h"
#include "emp_mesgs.h"
#include "mpu_gbl.h"

extern "C" {

/**
 * Reads `length` bytes (1 to 255) that follow register `regAddr` of the device at 7-bit address `i2cAddr` on the
 * bus that `fd` has open. Returns `length`, or -1 when the transfer fails; `data` is then undefined. May block for
 * as long as the bus does. This system's library fails at once while the bus does not answer, locks /dev/enc-0
 * against a second master, and opens it again under the same number when it has gone. Transfers that return are the
 * process's heartbeat for the service manager.
 */
int read_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, U8_t* data, int length);

/** Writes `length` bytes (1 to 255) to register `regAddr` and on. Returns `length`, or -1 when the transfer fails. */
int write_i2c_data(int fd, U8_t i2cAddr, U8_t regAddr, const U8_t* data, int length);

/**
 * Hands an event record (header and the `evStructLength` bytes that follow it) to the platform's event log.
 * `params` may be nullptr.
 */
void altEventLogM(const EmpEvLogHeader_t* record, const MPU_PARAMS_t* params);

/** The same; with `action` -1 (bug check) the record is kept and the process is then ended. */
void altEventLog(const EmpEvLogHeader_t* record, const MPU_PARAMS_t* params, S32_t action);

} // extern "C"

/** `action` of altEventLog() that asks for a bug check. */
inline constexpr S32_t ALT_EVENT_LOG_K_BUGCHECK = -1;
