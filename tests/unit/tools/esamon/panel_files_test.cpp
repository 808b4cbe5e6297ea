/** What of the panel's directory the monitor gives away, and how. */
#include <filesystem>
#include <gtest/gtest.h>

#include "folder.h"
#include "panel_files.h"

namespace {

class PanelFiles : public testing::Test {
protected:
    PanelFiles() {
        std::filesystem::create_directory(panel_ / "layouts");
        write("index.html", "<!doctype html>");
    }

    void write(const std::string& name, const std::string& text) const { (void)panel_.write(name, text); }

    Reply_t get(const std::string& path, std::map<std::string, std::string> headers = {}) const {
        Request_t request;
        request.method = "GET";
        request.path = path;
        request.headers = std::move(headers);
        return panelFile(panel_.path(), request);
    }

    static std::string header(const Reply_t& reply, const std::string& name) {
        for (const auto& [known, value] : reply.headers) {
            if (known == name) {
                return value;
            }
        }
        return "";
    }

    const testsupport::Folder_t panel_;
};

TEST_F(PanelFiles, EachKindHasItsType) {
    const std::pair<const char*, const char*> rows[] = {{"index.html", "text/html; charset=utf-8"},
                                                        {"a.css", "text/css; charset=utf-8"},
                                                        {"a.js", "text/javascript; charset=utf-8"},
                                                        {"a.mjs", "text/javascript; charset=utf-8"},
                                                        {"layouts/a.json", "application/json"},
                                                        {"a.svg", "image/svg+xml"},
                                                        {"a.png", "image/png"},
                                                        {"a.woff2", "font/woff2"},
                                                        {"a.js.map", "application/json"},
                                                        {"a-b_C9.txt", "text/plain; charset=utf-8"}};
    for (const auto& [name, type] : rows) {
        write(name, name);
        const Reply_t reply = get(std::string("/") + name);
        EXPECT_EQ(reply.status, 200U) << name;
        EXPECT_EQ(reply.type, type) << name;
        EXPECT_EQ(reply.body, name);
    }
    EXPECT_EQ(get("/").body, "index.html");
}

TEST_F(PanelFiles, WhatIsHiddenOutsideOrOfAnotherKindIsNotThere) {
    const testsupport::Folder_t other;
    const std::string outside = std::filesystem::path(other.write("a.txt", "secret")).parent_path().filename();
    std::filesystem::create_directory(panel_ / ".git");
    std::filesystem::create_directory(panel_ / "folder.txt");
    for (const char* name : {".a.txt", ".git/a.txt", "a.db", "a b.txt"}) {
        write(name, "secret");
    }
    const std::vector<std::string> paths{"/.a.txt",
                                         "/.git/a.txt",
                                         "/a.db",
                                         "/a b.txt",
                                         "/folder.txt",
                                         "/none.txt",
                                         "/layouts",
                                         "a.txt",
                                         "/../" + outside + "/a.txt",
                                         "/layouts/../../" + outside + "/a.txt"};
    for (const std::string& path : paths) {
        const Reply_t reply = get(path);
        EXPECT_EQ(reply.status, 404U) << path;
        EXPECT_EQ(reply.body.find("secret"), std::string::npos) << path;
    }
    write("large.txt", "");
    std::filesystem::resize_file(panel_ / "large.txt", 2 * 1024 * 1024);
    EXPECT_EQ(get("/large.txt").status, 200U);
    std::filesystem::resize_file(panel_ / "large.txt", 2 * 1024 * 1024 + 1);
    EXPECT_EQ(get("/large.txt").status, 404U);
}

TEST_F(PanelFiles, APackedFileIsForWhoTakesIt) {
    write("a.js", "plain");
    const Reply_t alone = get("/a.js", {{"accept-encoding", "gzip"}});
    EXPECT_EQ(alone.body, "plain");
    EXPECT_EQ(header(alone, "Content-Encoding"), "");
    write("a.js.gz", "packed");
    const Reply_t packed = get("/a.js", {{"accept-encoding", "br, gzip"}});
    EXPECT_EQ(packed.body, "packed");
    EXPECT_EQ(packed.type, "text/javascript; charset=utf-8");
    EXPECT_EQ(header(packed, "Content-Encoding"), "gzip");
    EXPECT_EQ(header(packed, "Vary"), "Accept-Encoding");
    const Reply_t plain = get("/a.js", {{"accept-encoding", "br"}});
    EXPECT_EQ(plain.body, "plain");
    EXPECT_EQ(header(plain, "Content-Encoding"), "");
    EXPECT_NE(header(plain, "ETag"), header(packed, "ETag"));
}

TEST_F(PanelFiles, WhatTheClientHasIsNotSentAgainUntilItChanges) {
    const Reply_t first = get("/");
    EXPECT_EQ(header(first, "Cache-Control"), "no-cache") << "asked for each time";
    const std::map<std::string, std::string> have = {{"if-none-match", header(first, "ETag")}};
    EXPECT_EQ(get("/", have).status, 304U);
    EXPECT_EQ(get("/", have).body, "");
    write("index.html", "<!doctype html>\n");
    EXPECT_EQ(get("/", have).status, 200U);
    EXPECT_EQ(get("/", have).body, "<!doctype html>\n");
}

TEST_F(PanelFiles, AMissingPanelIsSaid) {
    std::filesystem::remove(panel_ / "index.html");
    EXPECT_EQ(get("/").status, 404U);
    EXPECT_NE(get("/").body.find("the panel is not installed in " + panel_.path()), std::string::npos);
}

} // namespace
