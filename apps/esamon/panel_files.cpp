#include "panel_files.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr off_t LARGEST_PANEL_FILE = off_t{2} * 1024 * 1024;

struct Kind_t {
    const char* ending;
    const char* type;
};
constexpr Kind_t KINDS[] = {
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".json", "application/json"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".woff2", "font/woff2"},
    {".map", "application/json"},
    {".txt", "text/plain; charset=utf-8"},
};

const Kind_t* kindOf(const std::string& path) {
    const auto* const kind =
        std::ranges::find_if(KINDS, [&](const Kind_t& known) { return path.ends_with(known.ending); });
    return kind == std::end(KINDS) ? nullptr : kind;
}

/** Plain names parted by slashes; none begins with a dot. */
bool isPlain(const std::string& path) {
    const bool isKnown = std::ranges::all_of(path, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == '.' || c == '/';
    });
    return isKnown && path.starts_with('/') && path.find("/.") == std::string::npos;
}

struct File_t {
    std::string bytes;
    std::string tag;
};

std::optional<File_t> readPanelFile(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor < 0) {
        return std::nullopt;
    }
    File_t file;
    const bool isGood =
        fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= LARGEST_PANEL_FILE;
    file.bytes.resize(isGood ? static_cast<std::size_t>(status.st_size) : 0);
    const ssize_t count = read(descriptor, file.bytes.data(), file.bytes.size());
    close(descriptor);
    if (!isGood || count != status.st_size) {
        return std::nullopt;
    }
    char tag[64];
    std::snprintf(tag, sizeof tag, "\"%llx-%llx-%lx\"", static_cast<unsigned long long>(status.st_mtim.tv_sec),
                  static_cast<unsigned long long>(status.st_size), static_cast<unsigned long>(status.st_mtim.tv_nsec));
    file.tag = tag;
    return file;
}

} // namespace

Reply_t panelFile(const std::string& directory, const Request_t& request) {
    const std::string path = request.path == "/" ? "/index.html" : request.path;
    const Kind_t* const kind = kindOf(path);
    if (kind == nullptr || !isPlain(path)) {
        return errorReply(404, "not-found", "there is no " + request.path);
    }
    const bool takesGzip = request.header("accept-encoding").find("gzip") != std::string::npos;
    std::optional<File_t> file = takesGzip ? readPanelFile(directory + path + ".gz") : std::nullopt;
    const bool isPacked = file.has_value();
    if (!file) {
        file = readPanelFile(directory + path);
    }
    if (!file) {
        return errorReply(404, "not-found",
                          path == "/index.html" ? "the panel is not installed in " + directory : "there is no " + path);
    }
    Reply_t reply{200,
                  kind->type,
                  std::move(file->bytes),
                  {{"ETag", file->tag}, {"Cache-Control", "no-cache"}, {"Vary", "Accept-Encoding"}}};
    if (isPacked) {
        reply.headers.emplace_back("Content-Encoding", "gzip");
    }
    if (request.header("if-none-match") == file->tag) {
        reply.status = 304;
        reply.body.clear();
    }
    return reply;
}
