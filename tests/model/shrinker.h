/** Makes a failing life short. */
#pragma once

#include <functional>

#include "life.h"

namespace model {

/** Whether a life fails. */
using Fails_t = std::function<bool(const Life_t&)>;

/**
 * The shortest life found that fails still: steps are left out by halves, then singly, then their numbers and bytes and
 * the circumstances are made plain. Tries `most` lives at most.
 */
Life_t shrink(Life_t life, const Fails_t& fails, unsigned most = 20000);

} // namespace model
