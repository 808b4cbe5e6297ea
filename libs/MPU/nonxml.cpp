/** The platform's text configuration file: lines, flags and keys. */
#include "nonxml.h"

#include <cctype>
#include <cstring>
#include <strings.h>

#include "mpu_gbl_private.h"
#include "nonxml_private.h"

namespace {

bool isSpace(CHAR_t c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool isBlank(CHAR_t c) {
    return c == ' ' || c == '\t';
}

void trimEnd(CHAR_t* text, bool (*unwanted)(CHAR_t)) {
    std::size_t length = std::strlen(text);
    while (length > 0 && unwanted(text[length - 1])) {
        --length;
    }
    text[length] = '\0';
}

void raiseFlag(const CHAR_t* name, U8_t* block) {
    for (const NonXML_Flag_t* flag = nonXML_Flags; flag->name != nullptr; ++flag) {
        if (strcasecmp(flag->name, name) == 0) {
            U32_t flags = 0;
            std::memcpy(&flags, block + offsetof(MPU_PARAMS_t, flags), sizeof(flags));
            flags |= flag->mask;
            std::memcpy(block + offsetof(MPU_PARAMS_t, flags), &flags, sizeof(flags));
            return;
        }
    }
    std::fprintf(stderr, "+++ Warning: Unrecognized flag in configuration file: %s\n", name);
}

void setOption(const CHAR_t* key, const CHAR_t* value, U8_t* block) {
    for (const NonXML_s* tag = nonXML_Tables.tagList; tag->name != nullptr; ++tag) {
        if (strcasecmp(tag->name, key) == 0) {
            nonXmlStore(*tag, value, block);
            return;
        }
    }
    std::fprintf(stderr, "+++ Warning: Unrecognized option in configuration file: %s\n", key);
}

} // namespace

const CHAR_t* nonXmlSkipBlanks(const CHAR_t* text) {
    while (isBlank(*text)) {
        ++text;
    }
    return text;
}

void nonXmlLine(CHAR_t* line, U8_t* block) {
    if (line[0] == '#') {
        return;
    }
    trimEnd(line, isSpace);
    if (line[0] == '\0') {
        return;
    }
    CHAR_t* const equals = std::strchr(line, '=');
    if (equals == nullptr) {
        raiseFlag(line, block);
        return;
    }
    *equals = '\0';
    trimEnd(line, isBlank);
    setOption(line, nonXmlSkipBlanks(equals + 1), block);
}

void nonXmlRead(FILE* stream, U8_t* block) {
    CHAR_t line[NONXML_K_LINE_LIMIT];
    while (std::fgets(line, sizeof(line), stream) != nullptr) {
        nonXmlLine(line, block);
    }
}

void readNonXML(FILE* stream) {
    if (mpuParamsBlock != nullptr) {
        nonXmlRead(stream, reinterpret_cast<U8_t*>(mpuParamsBlock));
    }
}
