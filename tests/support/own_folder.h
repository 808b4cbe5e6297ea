#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace testsupport {

/** An empty folder that no other test and no other run knows; it goes, with all that is in it, when this does. */
class OwnFolder_t {
public:
    OwnFolder_t() {
        std::string pattern = testing::TempDir() + "esa-test.XXXXXX";
        EXPECT_NE(mkdtemp(pattern.data()), nullptr);
        path_ = pattern;
    }
    ~OwnFolder_t() { std::filesystem::remove_all(path_); }
    OwnFolder_t(const OwnFolder_t&) = delete;
    OwnFolder_t& operator=(const OwnFolder_t&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

} // namespace testsupport
