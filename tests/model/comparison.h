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
using Side = std::function<void(const Life&, SimulatedWorld&)>;

/** The reference model's side. */
void liveModel(const Life& life, SimulatedWorld& world);

/** The stream of one side. */
std::vector<Entry> streamOf(const Life& life, const Side& side);

enum class Functions { IGNORED, COMPARED };

/** The first entry that differs, with the entries in front of it, for a reader; nothing when the streams are equal. */
std::optional<std::string> difference(const std::vector<Entry>& expected, const std::vector<Entry>& found,
                                      Functions functions = Functions::IGNORED);

/** Lives the life on both sides and compares. */
std::optional<std::string> compare(const Life& life, const Side& expected, const Side& found,
                                   Functions functions = Functions::COMPARED);

/** How often a trace piece was the one function's on one side and the other's on the other. */
using FunctionPairs = std::map<std::pair<std::string, std::string>, unsigned long>;
void countFunctions(const std::vector<Entry>& expected, const std::vector<Entry>& found, FunctionPairs& pairs);

/** An entry as a line of text. */
std::string toText(const Entry& entry);

} // namespace model
