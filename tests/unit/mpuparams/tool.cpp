#include "tool.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "program.h"

void ToolTest::SetUp() {
    key = 0x52000000 | (getpid() & 0xFFFFFF);
    std::string pattern = testing::TempDir() + "mpuparams.XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder = pattern;
}

void ToolTest::TearDown() {
    if (segmentNow() >= 0) {
        (void)shmctl(segmentNow(), IPC_RMID, nullptr);
    }
    std::filesystem::remove_all(folder);
}

ToolTest::Result_t ToolTest::run(const std::vector<std::string>& arguments) {
    const testsupport::RunResult result = testsupport::run(testsupport::programCommand("mpuparams", arguments));
    EXPECT_FALSE(result.timedOut);
    return {result.ending.exitCode, result.out, result.err};
}

ToolTest::Result_t ToolTest::tool(const std::string& command, const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {command, "--key", std::to_string(key)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all);
}

void ToolTest::createFrom(const std::string& lines) const {
    const Result_t result = tool("create", {"--config", writeFile("platform.conf", "Version = 15\n" + lines)});
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(result.err, "");
}

std::string ToolTest::shown(const std::string& field) const {
    std::istringstream lines(tool("show").out);
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t end = line.find(' ');
        if (line.substr(0, end) == field) {
            const std::size_t value = line.find_first_not_of(' ', end);
            return value == std::string::npos ? "" : line.substr(value);
        }
    }
    return "no field " + field;
}

int ToolTest::segmentNow() const {
    return shmget(key, 0, 0);
}

std::string ToolTest::blockBytes() const {
    void* const bytes = shmat(segmentNow(), nullptr, SHM_RDONLY);
    if (reinterpret_cast<std::intptr_t>(bytes) == -1) {
        return {};
    }
    std::string copy(static_cast<const char*>(bytes), 744);
    (void)shmdt(bytes);
    return copy;
}

void ToolTest::makeSegment(const std::string& bytes) const {
    void* const address = shmat(shmget(key, bytes.size(), 0600 | IPC_CREAT | IPC_EXCL), nullptr, 0);
    ASSERT_NE(reinterpret_cast<std::intptr_t>(address), -1);
    std::memcpy(address, bytes.data(), bytes.size());
    (void)shmdt(address);
}

std::string ToolTest::writeFile(const std::string& name, const std::string& contents) const {
    const std::string path = folder + "/" + name;
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

std::string ToolTest::readFile(const std::string& path) {
    std::ifstream input(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

std::string ToolTest::keyText() const {
    char text[32];
    (void)std::snprintf(text, sizeof(text), "%d (0x%08X)", key, static_cast<unsigned>(key));
    return text;
}

std::size_t ToolTest::filesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}
