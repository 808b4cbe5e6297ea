#include "source.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <sstream>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include "errors.h"

namespace {

void checkImage(const std::string& path) {
    std::ifstream input = openInput(path);
    const auto size = std::filesystem::file_size(path);
    if (size != sizeof(MPU_PARAMS_t)) {
        throw failure(path + " is no image of a parameter block: it has " + std::to_string(size) + " bytes, expected " +
                      std::to_string(sizeof(MPU_PARAMS_t)));
    }
    MPU_PARAMS_t params = {};
    input.read(reinterpret_cast<char*>(&params), sizeof(params));
    MPU_swapMpuParams(&params);
    if (params.version != MPU_K_PARAMS_VERSION) {
        throw failure(path + " is an image of version " + std::to_string(params.version) + ", expected " +
                      std::to_string(MPU_K_PARAMS_VERSION));
    }
}

} // namespace

std::ifstream openInput(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) < 0) {
        throw failure("cannot read " + path + ": " + std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw failure("cannot read " + path + ": not a regular file");
    }
    errno = 0;
    std::ifstream input(path, std::ios::binary);
    if (!input) {
        throw failure("cannot read " + path + ": " + std::strerror(errno));
    }
    return input;
}

const std::string& chooseSource(const std::string& config, const std::string& image) {
    if (config.empty()) {
        checkImage(image);
        unsetenv("NONXML_FILE");
        setenv("CONFIG_FILE", image.c_str(), 1);
        return image;
    }
    (void)openInput(config);
    setenv("NONXML_FILE", config.c_str(), 1);
    return config;
}

std::string reportsOf(const std::function<void()>& action) {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const terminal = stderr;
    stderr = open_memstream(&text, &size);
    if (stderr == nullptr) {
        stderr = terminal;
        throw std::bad_alloc();
    }
    action();
    (void)std::fclose(stderr);
    stderr = terminal;
    std::string reports(text, size);
    std::free(text);
    return reports;
}

std::string onOneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

MPU_PARAMS_t tryOut(const std::string& source) {
    S32_t shmid = -1;
    MPU_PARAMS_t* block = nullptr;
    const std::string reports = reportsOf([&] { block = MPU_createMpuParams(&shmid, IPC_PRIVATE); });
    if (block == nullptr) {
        throw failure("no parameter block can be created from " + source + ": " + onOneLine(reports));
    }
    const MPU_PARAMS_t params = *block;
    (void)MPU_detachMpuParams(block);
    (void)MPU_deleteMpuParams(shmid);
    return params;
}
