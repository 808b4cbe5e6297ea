/** Putting a file into the place of another. */
#pragma once

#include <optional>
#include <string>
#include <sys/stat.h>

/**
 * Puts `text` in the place of the file `path` at once, so that nobody reads half of it. It gets the
 * permissions that are wanted; else it keeps those that the file has, and a new one gets 0644 less the umask. Whatever
 * else than a regular file stands there, a link too, is left alone. Returns why it could not be done; empty when it is.
 */
[[nodiscard]] std::string replaceFile(const std::string& path, const std::string& text,
                                      std::optional<mode_t> wanted = {});
