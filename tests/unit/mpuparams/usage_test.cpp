/** The command line itself. */
#include <algorithm>

#include "tool.h"

using Usage = ToolTest;

TEST_F(Usage, EveryCommandHasHelpWithAnExample) {
    for (const char* command : {"create", "show", "set", "image", "delete"}) {
        const Result result = run({command, "--help"});
        EXPECT_EQ(result.status, 0) << command;
        EXPECT_EQ(result.err, "") << command;
        EXPECT_NE(result.out.find(std::string("Example: mpuparams ") + command + " --key 0x1234"), std::string::npos)
            << result.out;
    }
    const Result all = run({"--help"});
    EXPECT_EQ(all.status, 0);
    for (const char* command : {"create", "show", "set", "image", "delete", "Example: "}) {
        EXPECT_NE(all.out.find(command), std::string::npos) << command;
    }
}

TEST_F(Usage, AKeyIsDecimalOrHexadecimalFrom100On) {
    for (const std::string text :
         {"99", "0x63", "0", "-5", "abc", "100x", "0x", "0144", "2147483648", "0x80000000", "99999999999999999999"}) {
        EXPECT_REFUSED(run({"show", "--key=" + text}), 1,
                       "key \"" + text + "\": expected a decimal or 0x hexadecimal number from 100 to 2147483647");
    }
}

TEST_F(Usage, WhatIsMissingOrUnknownIsSaidInOneLine) {
    const std::string file = writeFile("a.conf", "Version = 15\n");
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"frobnicate"},
        {"show"},
        {"show", "--key="},
        {"show", "--key", "100", "--colour"},
        {"show", "--key", "100", "surplus"},
        {"create", "--key", "100"},
        {"create", "--key", "100", "--config", file, "--image", file},
        {"set", "--key", "100"},
        {"image", "--key", "100"},
    };
    for (const auto& arguments : wrong) {
        const Result result = run(arguments);
        const std::string what = arguments.empty() ? "(nothing)" : arguments.front();
        EXPECT_EQ(result.status, 1) << what;
        EXPECT_EQ(result.out, "") << what;
        EXPECT_TRUE(result.err.starts_with("mpuparams: ")) << result.err;
        EXPECT_TRUE(result.err.ends_with("see mpuparams --help\n")) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}
