/** Files of the panel: our own, below one directory. */
#pragma once

#include "http.h"

/** 404 for what is not there, is hidden, or is of a kind that no panel has. */
[[nodiscard]] Reply_t panelFile(const std::string& directory, const Request_t& request);
