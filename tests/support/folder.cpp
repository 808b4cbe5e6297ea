#include "folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace testsupport {

std::string readFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

Folder_t::Folder_t() : path_(testing::TempDir() + "esa-test.XXXXXX") {
    EXPECT_NE(mkdtemp(path_.data()), nullptr);
}

Folder_t::~Folder_t() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string Folder_t::write(const std::string& name, const std::string& contents) const {
    std::ofstream(path(name), std::ios::binary) << contents;
    return path(name);
}

} // namespace testsupport
