/** What makes the enclosure of each chassis. */
#pragma once

#include "enclosure.h"

#define CHASSIS(name, make) std::unique_ptr<Enclosure_t> make();
#include "enclosures/chassis_list.def"
