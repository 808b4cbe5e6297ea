/** The configuration reader on a block of its own: what it reports, and what it stores. */
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "nonxml_private.h"

namespace nonxmltest {

/**
 * What `action` does to a block that is full of `filler`: its reports, and then each run of bytes that are no longer
 * `filler`, "40:c0a80102" for those from offset 40 on, "120:4131(00x62)" with 62 zeros. Integers are shown in network
 * order, the one behind the last array too.
 */
std::string outcomeOf(const std::function<void(U8_t* block)>& action, U8_t filler = 0xEE);

/** Of reading `text`. */
std::string read(const std::string& text, U8_t filler = 0xEE);

/** Of carrying out one entry. */
std::string store(const NonXML_s& tag, const char* value);

/** Texts, or one key's values, and the outcome of reading each. */
using Outcomes_t = std::vector<std::pair<std::string, std::string>>;
void expectOutcomes(const std::string& key, const Outcomes_t& outcomes);

inline const std::string UNKNOWN_FLAG = "+++ Warning: Unrecognized flag in configuration file: ";
inline const std::string UNKNOWN_KEY = "+++ Warning: Unrecognized option in configuration file: ";
inline const std::string UNKNOWN_NAME = "+++ Warning: Unrecognized enumeration in configuration file - ";

} // namespace nonxmltest
