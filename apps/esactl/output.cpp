#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "errors.h"
#include "replace_file.h"

winsize terminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        size.ws_row = 24;
        size.ws_col = 80;
    }
    return size;
}

void printText(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw outputError(std::string("cannot write the result: ") + std::strerror(errno));
    }
}

void printLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    printText(text);
}

void printJson(const Json_t& document) {
    printText(document.text(2) + "\n");
}

void printJsonLine(const Json_t& document) {
    printText(document.text(-1) + "\n");
}

bool isStandardOutput(const std::string& path) {
    return path.empty() || path == "-";
}

void deliverText(const std::string& path, const std::string& text) {
    if (isStandardOutput(path)) {
        printText(text);
        return;
    }
    const std::string reason = replaceFile(path, text);
    if (!reason.empty()) {
        throw outputError("cannot write '" + path + "': " + reason + "; give another name, or - for standard output");
    }
}
