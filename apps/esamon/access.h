/** Who may ask, and who may change something. */
#pragma once

#include <optional>
#include <string>
#include <vector>

/**
 * Whether a request's Host names this machine as itself: an address, localhost, or one of `names`. A page of a stranger
 * who points his own name at this address is kept out by it.
 */
[[nodiscard]] bool isOwnHost(const std::string& host, const std::vector<std::string>& names);

/** Whether a browser's Origin and Sec-Fetch-Site (empty: not sent) show a page of our own. */
[[nodiscard]] bool isSameOrigin(const std::string& origin, const std::string& fetchSite, const std::string& host);

/**
 * The name of the token's owner, when `authorization` ("Bearer TOKEN") has one of the file's tokens. The time it takes
 * tells nothing of a token that is there. Throws ToolError_t when the file cannot be read, or by everybody.
 */
[[nodiscard]] std::optional<std::string> tokenOwner(const std::string& file, const std::string& authorization);
