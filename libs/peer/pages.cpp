#include "pages.h"

#include <algorithm>

#include "ses_mesgs.h"
#include "tachometer.h"

namespace {

// Both replies end one byte before their page does.
constexpr std::size_t BYTES_NOT_SENT = 1;

std::string printable(const U8_t* bytes, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size && bytes[i] != 0; ++i) {
        text += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '?';
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string lengthError(const char* page, std::size_t got, std::size_t wanted) {
    return std::string(page) + " has " + std::to_string(got) + " bytes where its layout needs " +
           std::to_string(wanted);
}

/** The record at the start of `bytes`, zeros standing for what is missing at its end. */
template <typename T>
T recordAt(std::span<const U8_t> bytes) {
    T record;
    wireClear(record);
    std::memcpy(static_cast<void*>(&record), bytes.data(), std::min(bytes.size(), sizeof(T)));
    return record;
}

DriveSlot_t decodeDrive(std::span<const U8_t> bytes) {
    const auto record = recordAt<DeviceElementStat_t>(bytes);
    return {record.commonStatus, record.faultReqstd != 0, record.faultSensed != 0, true};
}

PowerSupply_t decodeSupply(std::span<const U8_t> bytes) {
    const auto record = recordAt<PowerSupplyElementStat_t>(bytes);
    return {record.commonStatus,
            record.dcFail != 0,
            record.acFail != 0,
            record.off != 0,
            record.rqstedOn != 0,
            record.fail != 0,
            true};
}

Fan_t decodeFan(std::span<const U8_t> bytes) {
    const auto record = recordAt<CoolingElementStat_t>(bytes);
    Fan_t fan;
    fan.code = record.commonStatus;
    fan.off = record.off != 0;
    fan.speedCode = record.actualSpeedCode;
    fan.requestedOn = record.rqstedOn != 0;
    fan.fail = record.fail != 0;
    const unsigned rpm = (record.actualFanSpeedMsb * 256U + record.actualFanSpeed) * 10U;
    // A fan that gave no reading is reported as running, at no speed.
    if (rpm != 0 || fan.off) {
        fan.rpm = rpm;
    }
    return fan;
}

TemperatureSensor_t decodeSensor(std::span<const U8_t> bytes) {
    const auto record = recordAt<TemperatureSensorElementStat_t>(bytes);
    TemperatureSensor_t sensor;
    sensor.code = record.commonStatus;
    sensor.underWarning = record.utWarning != 0;
    sensor.underFailure = record.utFailure != 0;
    sensor.overWarning = record.otWarning != 0;
    sensor.overFailure = record.otFailure != 0;
    // -20 degrees is byte 0 too, but with the under-temperature flags.
    const bool flagged = sensor.underWarning || sensor.underFailure || sensor.overWarning || sensor.overFailure;
    if (record.temperature != 0 || flagged) {
        sensor.celsius = record.temperature - SES_K_TEMPERATURE_OFFSET;
    }
    return sensor;
}

Alarm_t decodeAlarm(std::span<const U8_t> bytes) {
    const auto record = recordAt<AudibleAlarmElementStat_t>(bytes);
    Alarm_t alarm{record.commonStatus, std::nullopt};
    if (bytes.size() >= SES_K_ELEMENT_SIZE) {
        alarm.tones = AlarmTones_t{record.unrecov != 0, record.crit != 0,  record.nonCrit != 0, record.info != 0,
                                   record.remind != 0,  record.muted != 0, record.rqstMute != 0};
    }
    return alarm;
}

void decodeElement(EnclosureStatus_t& status, U8_t type, std::span<const U8_t> bytes) {
    switch (type) {
    case SES_K_ELEMENT_TYPE_DEVICE:
        status.drives.push_back(decodeDrive(bytes));
        break;
    case SES_K_ELEMENT_TYPE_POWER_SUPPLY:
        status.supplies.push_back(decodeSupply(bytes));
        break;
    case SES_K_ELEMENT_TYPE_COOLING:
        status.fans.push_back(decodeFan(bytes));
        break;
    case SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR:
        status.sensors.push_back(decodeSensor(bytes));
        break;
    case SES_K_ELEMENT_TYPE_AUDIBLE_ALARM:
        status.alarms.push_back(decodeAlarm(bytes));
        break;
    default:
        break;
    }
}

std::size_t statusPageSize(const Configuration_t& configuration) {
    std::size_t size = sizeof(EncStatDiagPageHdr_t);
    for (const ElementGroup_t& group : configuration.groups) {
        size += SES_K_ELEMENT_SIZE * (1U + group.count);
    }
    return size;
}

} // namespace

unsigned Configuration_t::count(U8_t type) const {
    unsigned total = 0;
    for (const ElementGroup_t& group : groups) {
        total += group.type == type ? group.count : 0U;
    }
    return total;
}

Decoded_t<Configuration_t> decodeConfigurationPage(std::span<const U8_t> page) {
    constexpr std::size_t FIXED_SIZE = sizeof(ConfDiagPageHdr_t) + sizeof(EnclosureDescHdr_t);
    if (page.size() < FIXED_SIZE) {
        return {{}, lengthError("page 1", page.size(), FIXED_SIZE)};
    }
    const auto& header = wireAt<ConfDiagPageHdr_t>(page.data());
    const auto& enclosure = wireAt<EnclosureDescHdr_t>(page.data() + sizeof(ConfDiagPageHdr_t));
    const std::size_t wanted = FIXED_SIZE + sizeof(TypeDescHdr_t) * enclosure.numberElementTypeDescHdrs;
    if (header.pageCode != SES_K_CONFIGURATION_DIAGNOSTIC_PAGE) {
        return {{}, "page code is " + std::to_string(header.pageCode) + " where 1 was asked for"};
    }
    if (header.pageLength + 4U != wanted || page.size() + BYTES_NOT_SENT < wanted) {
        return {{}, lengthError("page 1", std::min<std::size_t>(header.pageLength + 4U, page.size()), wanted)};
    }
    Configuration_t configuration;
    configuration.subEnclosures = header.numberSubEnclosure;
    configuration.generation = header.generationCode;
    configuration.processes = enclosure.numberESProcesses;
    std::copy_n(enclosure.enclosureLogId, configuration.logicalId.size(), configuration.logicalId.begin());
    configuration.vendor = printable(enclosure.enclosureVendorId, sizeof enclosure.enclosureVendorId);
    configuration.product = printable(enclosure.productId, sizeof enclosure.productId);
    configuration.revision = printable(enclosure.productRevLevel, sizeof enclosure.productRevLevel);
    for (std::size_t i = 0; i < enclosure.numberElementTypeDescHdrs; ++i) {
        const auto group = recordAt<TypeDescHdr_t>(page.subspan(FIXED_SIZE + i * sizeof(TypeDescHdr_t)));
        configuration.groups.push_back({group.elementType, group.numberPossibleElements});
    }
    return {configuration, {}};
}

Decoded_t<EnclosureStatus_t> decodeStatusPage(std::span<const U8_t> page, const Configuration_t& configuration) {
    const std::size_t wanted = statusPageSize(configuration);
    if (page.size() < sizeof(EncStatDiagPageHdr_t)) {
        return {{}, lengthError("page 2", page.size(), wanted)};
    }
    const auto& header = wireAt<EncStatDiagPageHdr_t>(page.data());
    if (header.pageCode != SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE) {
        return {{}, "page code is " + std::to_string(header.pageCode) + " where 2 was asked for"};
    }
    if (header.pageLength + 4U != wanted || page.size() + BYTES_NOT_SENT < wanted) {
        return {{}, lengthError("page 2", std::min<std::size_t>(header.pageLength + 4U, page.size()), wanted)};
    }
    EnclosureStatus_t status;
    status.unrecov = header.unrecov != 0;
    status.crit = header.crit != 0;
    status.nonCrit = header.nonCrit != 0;
    status.info = header.info != 0;
    status.invop = header.invop != 0;
    status.generation = header.generationCode;
    std::size_t offset = sizeof(EncStatDiagPageHdr_t);
    for (const ElementGroup_t& group : configuration.groups) {
        if (group.type == SES_K_ELEMENT_TYPE_AUDIBLE_ALARM && offset + 3 < page.size()) {
            status.alarmOverall = page[offset + 3];
        }
        offset += SES_K_ELEMENT_SIZE;
        for (unsigned i = 0; i < group.count; ++i, offset += SES_K_ELEMENT_SIZE) {
            const std::size_t size = std::min<std::size_t>(SES_K_ELEMENT_SIZE, page.size() - offset);
            decodeElement(status, group.type, page.subspan(offset, size));
        }
    }
    for (Fan_t& fan : status.fans) {
        if (fan.rpm) {
            fan.rpm = fanSpeedRpm(*fan.rpm, configuration);
        }
    }
    return {status, {}};
}

Decoded_t<EnclosureStatus_t> decodeStatusPage(std::span<const U8_t> page) {
    Configuration_t largest;
    largest.groups = {{1, 16}, {2, 3}, {3, 8}, {4, 4}, {6, 1}};
    return decodeStatusPage(page, largest);
}

const char* elementStatusName(U8_t code) {
    constexpr std::array NAMES{"unsupported",   "ok",      "critical",     "noncritical", "unrecoverable",
                               "not-installed", "unknown", "not-available"};
    return code < NAMES.size() ? NAMES[code] : "reserved";
}
