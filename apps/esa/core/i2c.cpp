#include "core/i2c.h"

#include <cerrno>

#include "core/operation.h"
#include "platform.h"

U32_t esaFailedTransfers = 0;
U32_t esaRefusedTransfers = 0;

namespace {

ESA_CODE_e outcome(int result) {
    if (result != -1) {
        return ESA_E_OK;
    }
    ++esaFailedTransfers;
    esaRefusedTransfers += errno == ENXIO || errno == EREMOTEIO ? 1U : 0U; // bus adapters differ in what they say
    return ESA_E_GENERR;
}

} // namespace

ESA_CODE_e esaWriteI2CData(U8_t i2cAddr, U8_t regAddr, const U8_t* writeDataPtr, int dataLen) {
    if (esaControl.i2cConnected == 0) {
        return ESA_E_GENERR_I2C_UNAVAILABLE;
    }
    return outcome(write_i2c_data(esaControl.i2cFileFd, i2cAddr, regAddr, writeDataPtr, dataLen));
}

ESA_CODE_e esaReadI2CData(U8_t i2cAddr, U8_t regAddr, U8_t* readDataPtr, int dataLen) {
    if (esaControl.i2cConnected == 0) {
        return ESA_E_GENERR_I2C_UNAVAILABLE;
    }
    return outcome(read_i2c_data(esaControl.i2cFileFd, i2cAddr, regAddr, readDataPtr, dataLen));
}

bool esaProbeI2C(U8_t i2cAddr, U8_t regAddr, U8_t* value) {
    if (read_i2c_data(esaControl.i2cFileFd, i2cAddr, regAddr, value, 1) == -1) {
        return false;
    }
    ESA_TRACE("Read I2C succeeds. I2C cable is connected");
    esaControl.i2cConnected = 1;
    return true;
}
