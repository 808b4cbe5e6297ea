/** Values of the text configuration file: one conversion a type. */
#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <strings.h>

#include "mpu_gbl.h"
#include "nonxml_private.h"

namespace {

/** Stores the host integer `value` at an address of any alignment. */
template <typename T>
void put(U8_t* at, T value) {
    std::memcpy(at, &value, sizeof(value));
}

/* ----------------------------------------------------------------------------------------------- integers */

/** The integer that `text` starts with, a sign before it or not: 0 when there is none. `*end` is what follows it. */
std::uint64_t readInteger(const CHAR_t* text, int base, const CHAR_t** end) {
    CHAR_t* after = nullptr;
    const std::uint64_t number = std::strtoull(text, &after, base);
    *end = after;
    return number;
}

void reportTooLarge(const CHAR_t* value, std::uint64_t stored) {
    std::fprintf(stderr, "+++ Warning: Number out of range in configuration file - %s\n    Using %" PRIu64 "\n", value,
                 stored);
}

/** Stores the low bits of `number` that T has, and says so when they are not all. */
template <typename T>
void putNumber(const CHAR_t* value, std::uint64_t number, U8_t* at) {
    const auto stored = static_cast<T>(number);
    if (stored != number) {
        reportTooLarge(value, stored);
    }
    put(at, stored);
}

template <typename T>
void storeInteger(const NonXML_s& /*tag*/, const CHAR_t* value, U8_t* at) {
    const CHAR_t* end = nullptr;
    putNumber<T>(value, readInteger(value, 0, &end), at);
}

void storeU64(const NonXML_s& /*tag*/, const CHAR_t* value, U8_t* at) {
    const CHAR_t* end = nullptr;
    const std::uint64_t number = readInteger(value, 0, &end);
    put(at, static_cast<U32_t>(number >> 32));
    put(at + sizeof(U32_t), static_cast<U32_t>(number));
}

int unitShift(CHAR_t unit) {
    switch (std::tolower(static_cast<unsigned char>(unit))) {
    case 'k':
        return 10;
    case 'm':
        return 20;
    case 'g':
        return 30;
    default:
        return 0;
    }
}

void storeSize(const NonXML_s& /*tag*/, const CHAR_t* value, U8_t* at) {
    const CHAR_t* end = nullptr;
    const std::uint64_t number = readInteger(value, 10, &end);
    putNumber<U32_t>(value, number << unitShift(*end), at);
}

void storeAdapters(const NonXML_s& /*tag*/, const CHAR_t* value, U8_t* at) {
    const CHAR_t* end = nullptr;
    const std::uint64_t upper = readInteger(value, 0, &end);
    end = nonXmlSkipBlanks(end);
    const std::uint64_t lower = *end == '/' ? readInteger(end + 1, 0, &end) : 0;
    const auto stored = static_cast<U32_t>((upper << 16) | (lower & 0xFFFF));
    if (upper > 0xFFFF || lower > 0xFFFF) {
        reportTooLarge(value, stored);
    }
    put(at, stored);
}

/* ------------------------------------------------------------------------------------- parts, separated */

/**
 * Takes the next decimal part off `*text`, which becomes nullptr after the last one; false when none is left. A
 * part without digits counts as 0.
 */
bool takePart(const CHAR_t** text, CHAR_t separator, U32_t* part) {
    if (*text == nullptr) {
        return false;
    }
    *part = static_cast<U32_t>(std::strtoull(*text, nullptr, 10));
    const CHAR_t* const next = std::strchr(*text, separator);
    *text = next == nullptr ? nullptr : next + 1;
    return true;
}

void storeMacAddress(const NonXML_s& /*tag*/, const CHAR_t* value, U8_t* at) {
    for (std::size_t i = 0; i < sizeof(MAC_ADDRESS_t::mac); ++i) {
        U32_t part = 0;
        (void)takePart(&value, ':', &part); // a missing part is 0
        at[i] = static_cast<U8_t>(part);
    }
}

void storeIpAddress(const NonXML_s& /*tag*/, const CHAR_t* value, U8_t* at) {
    U32_t address = 0;
    for (int i = 0; i < 4; ++i) {
        U32_t part = 0;
        (void)takePart(&value, '.', &part); // a missing part adds nothing
        address = (address << 8) + part;
    }
    put(at, address);
}

void storeVersion(const NonXML_s& /*tag*/, const CHAR_t* value, U8_t* at) {
    // The third number of a release's name is its build; maintenance releases are not told apart in this file.
    static constexpr std::size_t FIELDS[] = {offsetof(VORAN_VER_t, major), offsetof(VORAN_VER_t, minor),
                                             offsetof(VORAN_VER_t, buildNum)};
    for (const std::size_t field : FIELDS) {
        U32_t number = 0;
        if (takePart(&value, '.', &number)) {
            put(at + field, static_cast<U16_t>(number));
        }
    }
}

/* -------------------------------------------------------------------------------------- names and texts */

void storeEnum(const NonXML_s& tag, const CHAR_t* value, U8_t* at) {
    const NonXmlFound_t found = nonXmlFindEnum(tag.enums, value);
    if (!found.known) {
        std::fprintf(stderr, "+++ Warning: Unrecognized enumeration in configuration file - %s\n", value);
        std::fprintf(stderr, "    Using default %d\n", static_cast<int>(found.value));
    }
    put(at, static_cast<U8_t>(found.value));
}

void storeFilled(const NonXML_s& tag, const CHAR_t* value, U8_t* at, CHAR_t filler) {
    const std::size_t length = std::strlen(value);
    if (length > tag.size) {
        std::fprintf(stderr, "String for %s too long.  Truncating to %d\n", tag.name, tag.size);
    }
    std::memset(at, filler, tag.size);
    std::memcpy(at, value, std::min<std::size_t>(length, tag.size));
}

void storeString(const NonXML_s& tag, const CHAR_t* value, U8_t* at) {
    storeFilled(tag, value, at, '\0');
}

void storeBlankFilled(const NonXML_s& tag, const CHAR_t* value, U8_t* at) {
    storeFilled(tag, value, at, ' ');
}

/* ------------------------------------------------------------------------------------------------- types */

struct Conversion_t {
    int size;     /**< bytes that an element must have; 0: any number */
    bool indexed; /**< whether the value may name an element: texts may hold a "-" of their own */
    void (*store)(const NonXML_s& tag, const CHAR_t* value, U8_t* at);
};

/** By NonXML_types_e. */
constexpr Conversion_t CONVERSIONS[] = {
    {4, true, storeInteger<U32_t>}, // U32
    {1, true, storeEnum},           // ENUM
    {1, true, storeInteger<U8_t>},  // U8
    {2, true, storeInteger<U16_t>}, // U16
    {8, true, storeU64},            // U64
    {0, false, storeString},        // STRING
    {0, false, storeBlankFilled},   // BSTRING
    {8, true, storeMacAddress},     // MACADDR
    {4, true, storeIpAddress},      // IPADDR
    {8, true, storeVersion},        // VERSION
    {4, true, storeAdapters},       // ADAPTERS
    {4, true, storeSize},           // SIZE
};
static_assert(std::size(CONVERSIONS) == NONXML_E_TYPE_SIZE + 1);

/** Takes "N-" off the value. False after a report when there is no element N nor one just past the last. */
bool takeIndex(const NonXML_s& tag, const CHAR_t** value, std::size_t* element) {
    const CHAR_t* const minus = std::strchr(*value, '-');
    if (minus == nullptr) {
        return true;
    }
    const CHAR_t* end = nullptr;
    const std::uint64_t number = readInteger(*value, 10, &end);
    if (number > tag.count) {
        std::fprintf(stderr, "Error: Array index out of range for %s\n", tag.name);
        return false;
    }
    *element = static_cast<std::size_t>(number);
    *value = nonXmlSkipBlanks(minus + 1);
    return true;
}

bool nameIs(const CHAR_t* name, const CHAR_t* wanted) {
    return strcasecmp(name, wanted) == 0;
}

/** A battery policy, or the name of a key with the word that follows the name in the tag table. */
NonXmlFound_t findBatteryPolicy(const CHAR_t* name) {
    for (const NonXML_Enums_t& policy : nonXML_Tables.batteryPolicy) {
        if (nameIs(policy.name, name)) {
            return {true, policy.value};
        }
    }
    const NonXML_s* tag = nonXML_Tables.tagList;
    while (tag->name != nullptr && !nameIs(tag->name, name)) {
        ++tag;
    }
    return {tag->name != nullptr, (static_cast<U32_t>(tag->type) << 24) | tag->offset};
}

} // namespace

NonXmlFound_t nonXmlFindEnum(const NonXML_Enums_t* enums, const CHAR_t* name) {
    if (enums == nonXML_Tables.batteryPolicy) {
        return findBatteryPolicy(name);
    }
    while (enums->name != nullptr && !nameIs(enums->name, name)) {
        ++enums;
    }
    return {enums->name != nullptr, enums->value};
}

void nonXmlStore(const NonXML_s& tag, const CHAR_t* value, U8_t* block) {
    if (tag.type >= std::size(CONVERSIONS)) {
        std::fprintf(stderr, "+++ Internal error parsing configuration file - %d\n", tag.type);
        return;
    }
    const Conversion_t& conversion = CONVERSIONS[tag.type];
    std::size_t element = 0;
    if (conversion.indexed && !takeIndex(tag, &value, &element)) {
        return;
    }
    if (conversion.size != 0 && conversion.size != tag.size) {
        std::fprintf(stderr, "Internal error: Entry size does not match type! %d != %d\n", tag.size, conversion.size);
        return;
    }
    conversion.store(tag, value, block + tag.offset + element * tag.size);
}
