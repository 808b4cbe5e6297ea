/** The fields of the parameter block as a person names them: one table for showing and setting. */
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "mpu_gbl.h"
#include "nonxml.h"

/** How a field is written and read by a person. */
enum class Kind_e {
    INTEGER, /**< 1, 2 or 4 bytes: decimal, or 0x and hexadecimal */
    SIZE,    /**< bytes of memory, or units of k, m or g */
    WIDE,    /**< 64 bits in two words, the high one first */
    FLAGS,   /**< names of flags and a number for what has no name */
    NAME,    /**< a byte that has names */
    IP,      /**< a.b.c.d */
    VERSION, /**< major.minor.maintenance.build */
    MAC,     /**< six hexadecimal bytes separated by ":" */
    ADAPTER, /**< upper/lower half of the word */
    TEXT,    /**< ends at the first zero byte or with the field */
    PATH,    /**< Text that always keeps its zero byte */
    BLANK,   /**< filled with blanks */
};

/** A name of a byte's value or of a flag; the text configuration file knows them by the same names. */
using Named_t = NonXML_Enums_t;

struct Field_t {
    std::string_view name;
    Kind_e kind;
    std::size_t offset;
    std::size_t size;  /**< bytes of one element */
    std::size_t count; /**< elements; 1: no index */
    std::span<const Named_t> names = {};
};

/** All fields, reserved ones included, in the order of the block. */
[[nodiscard]] std::span<const Field_t> allFields();

/** All flags, in the order of their bits. */
[[nodiscard]] std::span<const Named_t> flagNames();

/** The field of that name; the case of letters does not matter. Throws a usage error that lists the fields. */
[[nodiscard]] const Field_t& findField(std::string_view name);

/** The entry of that name, or nullptr; the case of letters does not matter. */
[[nodiscard]] const Named_t* findName(std::span<const Named_t> names, std::string_view name);

/** The entry of that value, or nullptr. */
[[nodiscard]] const Named_t* findValue(std::span<const Named_t> names, U32_t value);

/** "a, b or c". */
[[nodiscard]] std::string listNames(std::span<const Named_t> names);
