#pragma once
// One maker a chassis; enclosure.cpp holds the table of their names.

#include "sim/enclosure.h"

namespace encsim {

std::unique_ptr<Enclosure> makeVsc055Backplane();
std::unique_ptr<Enclosure> makeQuadra();
std::unique_ptr<Enclosure> makeXyratex();
std::unique_ptr<Enclosure> makeChenbro();
std::unique_ptr<Enclosure> makeW83782dBackplane();

} // namespace encsim
