#include "tool.h"

#include <cstdio>
#include <filesystem>
#include <sstream>

#include "cli.h"
#include "program.h"

namespace {

[[maybe_unused]] const bool isLinked = testsupport::linkProgram("mpuparams", mpuparamsMain);

} // namespace

ToolTest::Result_t ToolTest::run(const std::vector<std::string>& arguments) {
    const testsupport::RunResult_t result = testsupport::run(testsupport::programCommand("mpuparams", arguments));
    EXPECT_FALSE(result.timedOut);
    return {result.ending.exitCode, result.out, result.err};
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

std::string ToolTest::keyText() const {
    char text[32];
    (void)std::snprintf(text, sizeof(text), "%d (0x%08X)", key, static_cast<unsigned>(key));
    return text;
}

std::size_t ToolTest::filesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}
