/** Two adapters side by side in the same life: their streams, and the first place where they part. */
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "life.h"
#include "simulated_world.h"

namespace model {

/** Lives a life in a world. */
using Side_t = std::function<void(const Life_t&, SimulatedWorld_t&)>;

/** The reference model's side. */
void liveModel(const Life_t& life, SimulatedWorld_t& world);

/** The stream of one side. */
std::vector<Entry_t> streamOf(const Life_t& life, const Side_t& side);

enum class Functions_e { IGNORED, COMPARED };

/** The first entry that differs, with the entries in front of it, for a reader; nothing when the streams are equal. */
std::optional<std::string> difference(const std::vector<Entry_t>& expected, const std::vector<Entry_t>& found,
                                      Functions_e functions = Functions_e::IGNORED);

/** Lives the life on both sides and compares. */
std::optional<std::string> compare(const Life_t& life, const Side_t& expected, const Side_t& found,
                                   Functions_e functions = Functions_e::COMPARED);

/** How often a trace piece was the one function's on one side and the other's on the other. */
using FunctionPairs_t = std::map<std::pair<std::string, std::string>, unsigned long>;
void countFunctions(const std::vector<Entry_t>& expected, const std::vector<Entry_t>& found, FunctionPairs_t& pairs);

/** An entry as a line of text. */
std::string toText(const Entry_t& entry);

} // namespace model
