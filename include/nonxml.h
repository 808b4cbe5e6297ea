/**
 * The platform's text configuration file: one setting a line, from which the parameter block is filled.
 *
 *     # comment                        a line that starts with "#"
 *     CacheValid                       a flag of `flags`, by its name
 *     SystemMemorySize = 64m           a field, by its key
 *     MacAddress = 1-0:17:34:1:2:3     element 1 of a field that is an array
 *
 * Keys, flags and names of values are matched without regard to case. A line that cannot be understood is reported
 * on standard error and left out; reading goes on with the next.
 */
#pragma once

#include <cstddef>
#include <cstdio>

#include "basetypes.h"

/** Bytes of a line, newline and terminator included; what it has beyond them is read as the next line. */
inline constexpr int NONXML_K_LINE_LIMIT = 1024;

/** How the value of a key is read and stored. */
enum NonXML_types_e : U8_t {
    NONXML_E_TYPE_U32 = 0,
    NONXML_E_TYPE_ENUM = 1, /**< a name out of the key's table, stored in one byte */
    NONXML_E_TYPE_U8 = 2,
    NONXML_E_TYPE_U16 = 3,
    NONXML_E_TYPE_U64 = 4,     /**< stored as two words, the high one first */
    NONXML_E_TYPE_STRING = 5,  /**< filled with zeros; not terminated when it fills the field */
    NONXML_E_TYPE_BSTRING = 6, /**< filled with blanks */
    NONXML_E_TYPE_MACADDR = 7, /**< six decimal parts separated by ":" */
    NONXML_E_TYPE_IPADDR = 8,  /**< four decimal parts separated by "." */
    NONXML_E_TYPE_VERSION = 9, /**< major.minor.build; the maintenance number cannot be given */
    NONXML_E_TYPE_ADAPTERS = 10,
    NONXML_E_TYPE_SIZE = 11, /**< bytes, or units of "k", "m" or "g" */
};

/** A value's name. A table of them ends with a nameless entry, whose value is the default for an unknown name. */
struct NonXML_Enums_t {
    const CHAR_t* name;
    U32_t value;
};

/** A flag's name and its bits in `flags`. */
struct NonXML_Flag_t {
    const CHAR_t* name;
    U32_t mask;
};

/** A configuration key and where its value lies in the parameter block. */
struct NonXML_s {
    const CHAR_t* name;
    NonXML_types_e type;
    U16_t offset; /**< bytes from the start of the block */
    U16_t size;   /**< bytes of one element */
    U8_t count;   /**< elements; the index `count` itself is accepted too */
    const NonXML_Enums_t* enums;
};

extern const NonXML_Enums_t iCharMode[5];
extern const NonXML_Enums_t haccMode[5];
extern const NonXML_Enums_t chassisType[4];
extern const NonXML_Enums_t portConfig[3];
extern const NonXML_Enums_t trueFalse[3];
extern const NonXML_Flag_t nonXML_Flags[15];

/**
 * The battery policies have no nameless entry of their own: looking a policy up runs on into the keys that follow
 * in the same object. See nonXmlFindEnum() for what a key's name then stands for.
 */
struct NonXML_Tables_t {
    NonXML_Enums_t batteryPolicy[5];
    NonXML_s tagList[39]; /**< ended by an entry without a name */
};
extern const NonXML_Tables_t nonXML_Tables;

/**
 * Reads the text file to its end and fills the parameter block that this process has created and zeroed; does
 * nothing when there is none. Never fails.
 */
void readNonXML(FILE* stream);
