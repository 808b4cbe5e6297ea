/** Whether what the tool prints as JSON can be read by others. */
#pragma once

#include "render_json.h"

namespace fuzz {

/** The document survives being printed, on one line or indented, and read again. */
void requireJson(const Json_t& document);

} // namespace fuzz
