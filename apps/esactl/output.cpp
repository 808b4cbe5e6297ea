#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"

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

void replaceFile(const std::string& path, const std::string& text) {
    const std::string temporary = path + "." + std::to_string(getpid());
    std::FILE* file = std::fopen(temporary.c_str(), "we");
    bool good = file != nullptr;
    good = good && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    good = file != nullptr && std::fclose(file) == 0 && good;
    good = good && std::rename(temporary.c_str(), path.c_str()) == 0;
    if (!good) {
        const int reason = errno;
        (void)unlink(temporary.c_str());
        throw outputError("cannot write '" + path + "': " + std::strerror(reason));
    }
}
