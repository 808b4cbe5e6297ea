/** One file that holds many. */
#pragma once

#include <string>

/** Appends a file of a tar archive. Names have at most 99 characters. */
void tarAppend(std::string& archive, const std::string& name, const std::string& contents, long long time);
/** Ends the archive. */
void tarFinish(std::string& archive);
