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
    for (const std::string& path :
         {std::string("/.a.txt"), std::string("/.git/a.txt"), std::string("/a.db"), std::string("/a b.txt"),
          std::string("/folder.txt"), std::string("/none.txt"), std::string("/layouts"), std::string("a.txt"),
          "/../" + outside + "/a.txt", "/layouts/../../" + outside + "/a.txt"}) {
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
    const auto got = [this](const char* encodings) {
        const Reply_t reply = get("/a.js", {{"accept-encoding", encodings}});
        return reply.body + " " + header(reply, "Content-Encoding") + " " + header(reply, "Vary") + " " + reply.type;
    };
    write("a.js", "plain");
    EXPECT_EQ(got("gzip"), "plain  Accept-Encoding text/javascript; charset=utf-8");
    write("a.js.gz", "packed");
    EXPECT_EQ(got("br, gzip"), "packed gzip Accept-Encoding text/javascript; charset=utf-8");
    EXPECT_EQ(got("br"), "plain  Accept-Encoding text/javascript; charset=utf-8");
    EXPECT_NE(header(get("/a.js"), "ETag"), header(get("/a.js", {{"accept-encoding", "gzip"}}), "ETag"));
}

TEST_F(PanelFiles, WhatTheClientHasIsNotSentAgainUntilItChanges) {
    const Reply_t first = get("/");
    EXPECT_EQ(header(first, "Cache-Control"), "no-cache") << "asked for each time";
    const std::map<std::string, std::string> have = {{"if-none-match", header(first, "ETag")}};
    const Reply_t same = get("/", have);
    EXPECT_EQ(std::to_string(same.status) + same.body, "304");
    write("index.html", "<!doctype html>\n");
    const Reply_t changed = get("/", have);
    EXPECT_EQ(std::to_string(changed.status) + changed.body, "200<!doctype html>\n");
}

TEST_F(PanelFiles, AMissingPanelIsSaid) {
    std::filesystem::remove(panel_ / "index.html");
    EXPECT_EQ(get("/").status, 404U);
    EXPECT_NE(get("/").body.find("the panel is not installed in " + panel_.path()), std::string::npos);
}

} // namespace
