/** The only way to the I2C bus. */
#pragma once

#include "core/control_block.h"

/**
 * One transfer of `dataLen` bytes (1 to 255) to or from register `regAddr` of the device at 7-bit address `i2cAddr`.
 * ESA_E_GENERR_I2C_UNAVAILABLE while the bus is marked unusable (nothing is transferred), ESA_E_GENERR when the
 * transfer fails; what a failed read leaves in the buffer is undefined. Neither retries nor traces.
 */
ESA_CODE_e esaWriteI2CData(U8_t i2cAddr, U8_t regAddr, const U8_t* writeDataPtr, int dataLen);
ESA_CODE_e esaReadI2CData(U8_t i2cAddr, U8_t regAddr, U8_t* readDataPtr, int dataLen);

/** Transfers that failed so far, wherever their results went: for who has to know whether all was done. */
extern U32_t esaFailedTransfers;
/** Those of them that no device acknowledged: nobody is there. */
extern U32_t esaRefusedTransfers;

/**
 * Reads one byte whether the bus is marked usable or not, and marks it usable when the device answers. Returns
 * whether it does; the trace line of a device that does not is the caller's.
 */
bool esaProbeI2C(U8_t i2cAddr, U8_t regAddr, U8_t* value);
