/** The adapter's diagnostic pages as plain values. */
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "basetypes.h"

/** A value, or the reason why there is none (one line, for people). */
template <typename T>
struct Decoded_t {
    std::optional<T> value;
    std::string error;
};

/** One type descriptor of the configuration page: so many elements of one kind, in the order of the other pages. */
struct ElementGroup_t {
    U8_t type;  /**< 1 device, 2 power supply, 3 cooling, 4 temperature sensor, 6 audible alarm */
    U8_t count; /**< number of elements */
};

/** Page 1. */
struct Configuration_t {
    U8_t subEnclosures = 0;
    U32_t generation = 0;
    U8_t processes = 0; /**< enclosure services processes */
    std::array<U8_t, 8> logicalId{};
    std::string vendor; /**< printable characters only, without trailing blanks; here and below */
    std::string product;
    std::string revision;
    std::vector<ElementGroup_t> groups;

    /** Number of elements of `type`, 0 when the enclosure has none. */
    unsigned count(U8_t type) const;
};

/* Elements of page 2. `code` is the status code: 1 OK, 5 not installed; 0 where the adapter gives none. */

struct DriveSlot_t {
    U8_t code = 0;
    bool faultRequested = false; /**< the slot's fault LED has been asked for */
    bool faultSensed = false;
    bool known = true; /**< false: the adapter cannot know, whatever it reports; here and below */
};

struct PowerSupply_t {
    U8_t code = 0;
    bool dcFail = false;
    bool acFail = false;
    bool off = false;
    bool requestedOn = false;
    bool fail = false;
    bool known = true;
};

struct Fan_t {
    U8_t code = 0;
    std::optional<unsigned> rpm; /**< in steps of 10; 0 when it stands still; nothing when it could not be read */
    bool off = false;
    U8_t speedCode = 0;
    bool requestedOn = false;
    bool fail = false; /**< only one chassis sets it */
    bool known = true;
};

struct TemperatureSensor_t {
    U8_t code = 0;
    std::optional<int> celsius; /**< nothing when there is no reading */
    bool underWarning = false;
    bool underFailure = false;
    bool overWarning = false;
    bool overFailure = false;
    bool fitted = true; /**< false: the chassis has no such sensor, though it is listed */
    bool known = true;
};

struct AlarmTones_t {
    bool unrecov = false;
    bool crit = false;
    bool nonCrit = false;
    bool info = false;
    bool remind = false;
    bool muted = false;
    bool requestedMute = false;
};

struct Alarm_t {
    U8_t code = 0;
    /** The adapter's reply stops one byte before the end of the page, so the last alarm's byte never arrives. */
    std::optional<AlarmTones_t> tones;
};

/** Page 2. */
struct EnclosureStatus_t {
    bool unrecov = false;
    bool crit = false;
    bool nonCrit = false;
    bool info = false;
    bool invop = false;
    U32_t generation = 0;
    std::vector<DriveSlot_t> drives;
    std::vector<PowerSupply_t> supplies;
    std::vector<Fan_t> fans;
    std::vector<TemperatureSensor_t> sensors;
    std::vector<Alarm_t> alarms;
    U8_t alarmOverall = 0; /**< last byte of the alarm list's overall word */
};

/**
 * Decodes page 1 as it comes in a reply (from the page code on, its last byte missing or not). Any bytes are safe;
 * an error when they are not a whole page 1.
 */
Decoded_t<Configuration_t> decodeConfigurationPage(std::span<const U8_t> page);

/**
 * Decodes page 2, whose lists are laid out as `configuration` says; same promises. An error when the page's length is
 * not that of this configuration.
 */
Decoded_t<EnclosureStatus_t> decodeStatusPage(std::span<const U8_t> page, const Configuration_t& configuration);

/** Same, with the lists of the largest enclosure (16 slots, 3 supplies, 8 fans, 4 sensors, 1 alarm). */
Decoded_t<EnclosureStatus_t> decodeStatusPage(std::span<const U8_t> page);

/** Short name of a status code, such as "ok" or "not-installed". */
const char* elementStatusName(U8_t code);
