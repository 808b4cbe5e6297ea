/** What goes over a serial line or a bus. */
#pragma once

#include <vector>

#include "basetypes.h"

using Bytes = std::vector<U8_t>;
