/** One maker a chassis; enclosure.cpp holds the table of their names. */
#pragma once

#include "enclosure.h"

std::unique_ptr<Enclosure_t> makeVsc055Backplane();
std::unique_ptr<Enclosure_t> makeQuadra();
std::unique_ptr<Enclosure_t> makeXyratex();
std::unique_ptr<Enclosure_t> makeChenbro();
std::unique_ptr<Enclosure_t> makeW83782dBackplane();
