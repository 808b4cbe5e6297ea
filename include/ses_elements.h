/** SCSI Enclosure Services over MMSG: the records of elements in the status page and in the control page. */
#pragma once

#include "wire.h"

/** Bytes of every record below. */
inline constexpr U32_t SES_K_ELEMENT_SIZE = 4;

/** What a temperature's byte adds to the degrees Celsius. */
inline constexpr S16_t SES_K_TEMPERATURE_OFFSET = 20;

/** Limits of a temperature's flags in degrees Celsius: a reading on a limit is on its good side. */
inline constexpr S16_t SES_K_UNDER_TEMPERATURE_FAILURE = 0;
inline constexpr S16_t SES_K_UNDER_TEMPERATURE_WARNING = 1;
inline constexpr S16_t SES_K_OVER_TEMPERATURE_WARNING = 55;
inline constexpr S16_t SES_K_OVER_TEMPERATURE_FAILURE = 60;

/** A fan below this speed is faulty, in RPM; in every enclosure. */
inline constexpr U32_t SES_K_FAN_FAULT_RPM_LIMIT = 2000;

/** Value of an element's whole commonStatus byte; the standard's PRDFAIL, DISABLED and SWAP bits stay zero. */
enum SesElementStatusCode_e : U8_t {
    SES_E_ELEMENT_STATUS_CODE_UNSUPPORTED = 0,
    SES_E_ELEMENT_STATUS_CODE_OK = 1,
    SES_E_ELEMENT_STATUS_CODE_CRITICAL = 2,
    SES_E_ELEMENT_STATUS_CODE_NONCRITICAL = 3,
    SES_E_ELEMENT_STATUS_CODE_UNRECOVERABLE = 4,
    SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED = 5,
    SES_E_ELEMENT_STATUS_CODE_UNKNOWN = 6,
    SES_E_ELEMENT_STATUS_CODE_NOT_AVAILABLE = 7,
};

/** CoolingElementCont_t::requestedSpeedCode. */
enum SesFanRequestedSpeedCode_e : U8_t {
    SES_E_FAN_REQUESTED_RESERVED = 0,
    SES_E_FAN_REQUESTED_LOWEST_SPEED = 1,
    SES_E_FAN_REQUESTED_SECOND_LOWEST_SPEED = 2,
    SES_E_FAN_REQUESTED_SPEED_3 = 3,
    SES_E_FAN_REQUESTED_SPEED_4 = 4,
    SES_E_FAN_REQUESTED_SPEED_5 = 5,
    SES_E_FAN_REQUESTED_INTERMEDIATE_SPEED = 6,
    SES_E_FAN_REQUESTED_HIGHEST_SPEED = 7,
};

/** CoolingElementStat_t::actualSpeedCode. */
enum SesFanActualSpeedCode_e : U8_t {
    SES_E_FAN_ACTUAL_STOP = 0,
    SES_E_FAN_ACTUAL_LOWEST_SPEED = 1,
    SES_E_FAN_ACTUAL_SECOND_LOWEST_SPEED = 2,
    SES_E_FAN_ACTUAL_THIRD_LOWEST_SPEED = 3,
    SES_E_FAN_ACTUAL_INTERMEDIATE_SPEED = 4,
    SES_E_FAN_ACTUAL_THIRD_HIGHEST_SPEED = 5,
    SES_E_FAN_ACTUAL_SECOND_HIGHEST_SPEED = 6,
    SES_E_FAN_ACTUAL_HIGHEST_SPEED = 7,
};

/** Bit of a control list's overall word (its last byte) and of a record's commonControl: act on it. */
inline constexpr U8_t SES_K_CONTROL_SELECT = 0x80;

/* -------------------------------------------------------------------------------- element status records */

struct DeviceElementStat_t {
    U8_t commonStatus; /**< SesElementStatusCode_e, here and in the records below */
    U8_t slotAddress;
    union {
        bits_t<0x80> report;
        bits_t<0x40> ident;
        bits_t<0x20> rmv;
        bits_t<0x10> readyToInsert;
        bits_t<0x08> enclosureBypB;
        bits_t<0x04> enclosureBypA;
        bits_t<0x02> doNotRemove;
        bits_t<0x01> appClientBypA;
    };
    union {
        bits_t<0x80> deviceBypB;
        bits_t<0x40> deviceBypA;
        bits_t<0x20> BypB;
        bits_t<0x10> BypA;
        bits_t<0x08> deviceOff;
        bits_t<0x04> faultReqstd;
        bits_t<0x02> faultSensed;
        bits_t<0x01> appClientBypB;
    };
};
WIRE_RECORD(DeviceElementStat_t, 4);

struct PowerSupplyElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> ident;
    };
    union {
        bits_t<0x80> rsvd1;
        bits_t<0x40> dcOverCurrent;
        bits_t<0x20> dcUnderVoltage;
        bits_t<0x10> dcOverVoltage;
        bits_t<0x0F> reserved2;
    };
    union {
        bits_t<0x80> dcFail;
        bits_t<0x40> acFail;
        bits_t<0x20> tempWarn;
        bits_t<0x10> ovrtmpFail;
        bits_t<0x08> off;
        bits_t<0x04> rqstedOn;
        bits_t<0x02> fail;
        bits_t<0x01> rsvd2;
    };
};
WIRE_RECORD(PowerSupplyElementStat_t, 4);

struct CoolingElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xC0> actualFanSpeedMsb; /**< upper two bits of the 10-bit speed, unit 10 RPM */
        bits_t<0x3E> reserved;
        bits_t<0x01> ident;
    };
    U8_t actualFanSpeed; /**< lower eight bits of the speed */
    union {
        bits_t<0xE0> actualSpeedCode; /**< SesFanActualSpeedCode_e */
        bits_t<0x10> rsvd1;
        bits_t<0x08> off;
        bits_t<0x04> rqstedOn;
        bits_t<0x02> fail;
        bits_t<0x01> rsvd2;
    };
};
WIRE_RECORD(CoolingElementStat_t, 4);

struct TemperatureSensorElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> ident;
    };
    U8_t temperature; /**< degrees Celsius plus 20; 0 means no reading */
    union {
        bits_t<0x80> utWarning;
        bits_t<0x40> utFailure;
        bits_t<0x20> otWarning;
        bits_t<0x10> otFailure;
        bits_t<0x0F> reserved2;
    };
};
WIRE_RECORD(TemperatureSensorElementStat_t, 4);

struct AudibleAlarmElementStat_t {
    U8_t commonStatus;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> ident;
    };
    U8_t reserved2;
    union {
        bits_t<0x80> unrecov;
        bits_t<0x40> crit;
        bits_t<0x20> nonCrit;
        bits_t<0x10> info;
        bits_t<0x08> remind;
        bits_t<0x04> rsvd;
        bits_t<0x02> muted;
        bits_t<0x01> rqstMute;
    };
};
WIRE_RECORD(AudibleAlarmElementStat_t, 4);

/* ------------------------------------------------------------------------------- element control records */

struct DeviceElementCont_t {
    U8_t commonControl;
    U8_t reserved1;
    union {
        bits_t<0x80> reserved2;
        bits_t<0x40> rqstIdent;
        bits_t<0x20> rqstRemove;
        bits_t<0x10> rqstInsert;
        bits_t<0x0C> reserved3;
        bits_t<0x02> doNotRemove;
        bits_t<0x01> rqstActive;
    };
    union {
        bits_t<0xC0> reserved4;
        bits_t<0x20> enableBypB;
        bits_t<0x10> enableBypA;
        bits_t<0x08> deviceOff;
        bits_t<0x04> rqstFault;
        bits_t<0x03> reserved5;
    };
};
WIRE_RECORD(DeviceElementCont_t, 4);

struct PowerSupplyElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2;
    union {
        bits_t<0xF8> reserved3;
        bits_t<0x04> rqstOn;
        bits_t<0x02> rqstFail;
        bits_t<0x01> rsvd;
    };
};
WIRE_RECORD(PowerSupplyElementCont_t, 4);

struct CoolingElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2;
    union {
        bits_t<0xE0> requestedSpeedCode; /**< SesFanRequestedSpeedCode_e */
        bits_t<0x18> reserved3;
        bits_t<0x04> rqstOn;
        bits_t<0x02> rqstFail;
        bits_t<0x01> rsvd;
    };
};
WIRE_RECORD(CoolingElementCont_t, 4);

struct TemperatureSensorElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2[2];
};
WIRE_RECORD(TemperatureSensorElementCont_t, 4);

struct AudibleAlarmElementCont_t {
    U8_t commonControl;
    union {
        bits_t<0xFE> reserved1;
        bits_t<0x01> rqstIdent;
    };
    U8_t reserved2;
    union {
        bits_t<0x80> unrecov;
        bits_t<0x40> crit;
        bits_t<0x20> nonCrit;
        bits_t<0x10> info;
        bits_t<0x08> setRemind;
        bits_t<0x04> rsvd1;
        bits_t<0x02> setMute;
        bits_t<0x01> rsvd2;
    };
};
WIRE_RECORD(AudibleAlarmElementCont_t, 4);
