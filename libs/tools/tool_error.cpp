#include "tool_error.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

int reportError(const char* program, int exitStatus, std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
    (void)std::fprintf(stderr, "%s: %s\n", program, text.c_str());
    return exitStatus;
}
