/** Random lives. */
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "comparison.h"
#include "life.h"

namespace model {

/** Registers that an adapter of one chassis was seen to read, some of them after its start too, and to write. */
struct Book_t {
    std::vector<std::pair<std::uint8_t, unsigned>> read, readLater, written;
};

/** Everything that makes an adapter look at its bus: start, polls, pages, requests that switch all there is. */
Life_t eventfulLife(std::uint8_t chassis);

/** Watches the adapter live an eventful life on the chassis. */
Book_t learn(std::uint8_t chassis, const Side_t& side);

/** Lives from seeds, on all chassis; what it disturbs on the bus it learns from watching `side`. */
class Generator_t {
public:
    explicit Generator_t(Side_t side) : watched_(std::move(side)) {}

    Life_t life(std::uint64_t seed) const;
    /** One on the given chassis. */
    Life_t life(std::uint64_t seed, std::uint8_t chassis, bool tracing) const;

private:
    const Book_t& bookOf(std::uint8_t chassis) const;

    Side_t watched_;
    mutable std::map<std::uint8_t, Book_t> books_; /**< by chassis, once they are asked for */
};

} // namespace model
