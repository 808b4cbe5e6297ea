/** Who may ask the monitor, and who may change something. */
#include <filesystem>
#include <gtest/gtest.h>

#include "access.h"
#include "folder.h"
#include "tool_error.h"

namespace {

using Owner_t = std::optional<std::string>;

class TokenFile : public testing::Test {
protected:
    /** A token file of this text, closed to everybody else. */
    std::string file(const std::string& text) const {
        std::filesystem::permissions(folder_.write("tokens", text), std::filesystem::perms{0640});
        return folder_.path("tokens");
    }

    static std::string complaint(const std::string& path) {
        try {
            (void)tokenOwner(path, "");
        } catch (const ToolError_t& error) {
            return error.what();
        }
        return "";
    }

    const testsupport::Folder_t folder_;
};

TEST(Host, IsAnAddressLocalhostOrAGivenName) {
    for (const char* host : {"localhost", "localhost:9634", "127.0.0.1", "127.0.0.1:9634", "10.0.0.7:80", "[::1]",
                             "[::1]:9634", "rack7", "rack7:9634"}) {
        EXPECT_TRUE(isOwnHost(host, {"rack6", "rack7"})) << host;
    }
    for (const char* host : {"", "rack7", "evil.example", "evil.example:9634", "127.0.0.1.evil.example",
                             "localhost.evil", "[::1", "[evil]", "256.0.0.1", "::1"}) {
        EXPECT_FALSE(isOwnHost(host, {"rack6"})) << host;
    }
}

TEST(Origin, IsOneOfOurOwnPagesOrNone) {
    const char* const here = "127.0.0.1:9634";
    EXPECT_TRUE(isSameOrigin("", "", here)) << "no browser";
    EXPECT_TRUE(isSameOrigin("http://127.0.0.1:9634", "same-origin", here));
    EXPECT_TRUE(isSameOrigin("https://127.0.0.1:9634", "", here)) << "behind a server that speaks TLS";
    EXPECT_TRUE(isSameOrigin("", "none", here)) << "typed by a person";
    for (const char* origin : {"null", "http://127.0.0.1:9635", "http://127.0.0.1", "http://evil.example",
                               "http://127.0.0.1:9634.evil.example", "ftp://127.0.0.1:9634"}) {
        EXPECT_FALSE(isSameOrigin(origin, "", here)) << origin;
    }
    for (const char* site : {"cross-site", "same-site", "other"}) {
        EXPECT_FALSE(isSameOrigin("http://127.0.0.1:9634", site, here)) << site;
        EXPECT_FALSE(isSameOrigin("", site, here)) << site;
    }
}

TEST_F(TokenFile, EachTokenHasItsOwnersNameAndOneAloneIsSomebodys) {
    const std::string path = file("# who may\nanna 0123456789abcdef\n\n  ben\tfedcba9876543210  \n0000111122223333\n"
                                  "carl 0123456789abcde\n#0123456789abcdefgh\ndora #123456789abcdefgh\n");
    EXPECT_EQ(tokenOwner(path, "Bearer 0123456789abcdef"), Owner_t("anna"));
    EXPECT_EQ(tokenOwner(path, "Bearer fedcba9876543210"), Owner_t("ben"));
    EXPECT_EQ(tokenOwner(path, "Bearer 0000111122223333"), Owner_t("somebody"));
    for (const char* none :
         {"", "Bearer", "Bearer ", "0123456789abcdef", "Basic 0123456789abcdef", "bearer 0123456789abcdef",
          "Bearer anna", "Bearer 0123456789abcde", "Bearer 0123456789abcdeF", "Bearer 0123456789abcdef0",
          "Bearer 0123456789abcdef0123456789abcdef", "Bearer anna 0123456789abcdef", "Bearer #0123456789abcdefgh",
          "Bearer #123456789abcdefgh"}) {
        EXPECT_EQ(tokenOwner(path, none), std::nullopt) << none;
    }
}

TEST_F(TokenFile, OneThatEverybodyCanReadOrThatIsNoneIsRefusedInWords) {
    const std::string path = file("anna 0123456789abcdef\n");
    EXPECT_EQ(complaint(path), "");
    for (const unsigned mode : {0644U, 0642U, 0641U}) {
        std::filesystem::permissions(path, std::filesystem::perms{mode});
        EXPECT_EQ(complaint(path), "the token file '" + path + "' is open to everybody; chmod o= it") << mode;
    }
    EXPECT_EQ(complaint(path + "x"), "cannot read the token file '" + path + "x': No such file or directory");
    const std::string folder = folder_.path();
    EXPECT_EQ(complaint(folder), "the token file '" + folder + "' is no file that can be read");
}

} // namespace
