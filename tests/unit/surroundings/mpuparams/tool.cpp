#include "tool.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <unistd.h>

#include "cli.h"

namespace {

/** From now on what goes to a descriptor is kept, until somebody asks for it. */
class Caught_t {
public:
    explicit Caught_t(int fd, const char* file = nullptr)
        : fd_(fd), own_(dup(fd)),
          kept_(file == nullptr ? memfd_create("caught", MFD_CLOEXEC) : open(file, O_RDWR | O_CLOEXEC)) {
        (void)std::fflush(nullptr);
        (void)dup2(kept_, fd_);
    }
    ~Caught_t() {
        (void)close(own_);
        (void)close(kept_);
    }
    Caught_t(const Caught_t&) = delete;
    Caught_t& operator=(const Caught_t&) = delete;

    std::string end() const {
        (void)std::fflush(nullptr);
        (void)dup2(own_, fd_);
        std::string text(static_cast<std::size_t>(lseek(kept_, 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(kept_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        return text;
    }

private:
    int fd_;
    int own_;
    int kept_;
};

} // namespace

ToolTest::Result_t ToolTest::run(const std::vector<std::string>& arguments, const char* output) {
    std::vector<const char*> words = {"mpuparams"};
    for (const std::string& argument : arguments) {
        words.push_back(argument.c_str());
    }
    words.push_back(nullptr);
    const Caught_t out(STDOUT_FILENO, output);
    const Caught_t err(STDERR_FILENO);
    const int status = mpuparamsMain(static_cast<int>(words.size() - 1), words.data());
    // Another run of the program would know nothing of these.
    (void)unsetenv("NONXML_FILE");
    (void)unsetenv("CONFIG_FILE");
    if (output != nullptr) {
        __fpurge(stdout); // what could not be written is not the next one's
        std::clearerr(stdout);
    }
    return {status, out.end(), err.end()};
}

ToolTest::Result_t ToolTest::tool(const std::string& command, const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {command, "--key", std::to_string(key)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all);
}

void ToolTest::createFrom(const std::string& lines) const {
    const Result_t result = tool("create", {"--config", files.write("platform.conf", "Version = 15\n" + lines)});
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(result.err, "");
}

std::map<std::string, std::string> ToolTest::allShown() const {
    std::map<std::string, std::string> fields;
    std::istringstream lines(tool("show").out);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t end = line.find(' ');
        const std::size_t value = line.find_first_not_of(' ', end);
        fields[line.substr(0, end)] = value == std::string::npos ? "" : line.substr(value);
    }
    return fields;
}

std::string ToolTest::hexKey() const {
    char text[9];
    (void)std::snprintf(text, sizeof(text), "%08X", static_cast<unsigned>(key));
    return text;
}

std::size_t ToolTest::filesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}
