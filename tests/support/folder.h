/** Files of a test. */
#pragma once

#include <filesystem>
#include <string>

namespace testsupport {

/** Whole text of a file; empty when there is none. */
std::string readFile(const std::string& path);

/** A fresh folder, which goes with all that is in it. Its name is short enough for sockets. */
class Folder_t {
public:
    Folder_t();
    ~Folder_t();
    Folder_t(const Folder_t&) = delete;
    Folder_t& operator=(const Folder_t&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] std::string path(const std::string& name) const { return path_ + "/" + name; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return path(name); }
    /** Writes a file; its path. */
    std::string write(const std::string& name, const std::string& contents) const;
    [[nodiscard]] std::string read(const std::string& name) const { return readFile(path(name)); }

private:
    std::string path_;
};

} // namespace testsupport
