/** Steps of the configuration file reader, apart from the attached block so that each can be run on its own. */
#pragma once

#include "nonxml.h"

/**
 * Bytes that a reader's block must have. The index one past an array is accepted, and the last array ends where the
 * parameter block does: in the segment's page there is room behind it.
 */
inline constexpr std::size_t NONXML_K_BLOCK_SIZE = 748;

/** Reads the text to its end into the block of NONXML_K_BLOCK_SIZE bytes. */
void nonXmlRead(FILE* stream, U8_t* block);

/** Carries out one line, whose text is changed on the way. */
void nonXmlLine(CHAR_t* line, U8_t* block);

/** Converts the value of the key `tag` as its type asks and stores it, or reports why not. */
void nonXmlStore(const NonXML_s& tag, const CHAR_t* value, U8_t* block);

/** What a name stands for in a key's table. */
struct NonXmlFound_t {
    bool known;
    U32_t value; /**< of the end entry when the name is not known */
};

/**
 * Looks a value's name up, without regard to case. Among the battery policies the search runs on into the tag table:
 * there the name of a key stands for the word that lies behind it, its type in the top byte and its offset in the
 * low half.
 */
[[nodiscard]] NonXmlFound_t nonXmlFindEnum(const NonXML_Enums_t* enums, const CHAR_t* name);

/** `text` from its first character on that is no blank. */
[[nodiscard]] const CHAR_t* nonXmlSkipBlanks(const CHAR_t* text);
