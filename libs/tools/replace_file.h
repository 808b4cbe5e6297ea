/** Putting a file into the place of another. */
#pragma once

#include <string>

/**
 * Puts `text` in the place of the file `path` at once, so that nobody reads half of it. It keeps the permissions that
 * the file has; a new one gets 0644 less the umask. Whatever else than a regular file stands there, a link too, is left
 * alone. Returns why it could not be done; empty when it is.
 */
[[nodiscard]] std::string replaceFile(const std::string& path, const std::string& text);
