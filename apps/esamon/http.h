/** Requests and replies, apart from the library that carries them. */
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "observations.h"

struct Request_t {
    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::map<std::string, std::string> headers; /**< by name in lower case */
    std::string body;
    bool isLocal = false; /**< over the UNIX socket: no browser is behind it */

    std::string header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
};

struct Reply_t {
    unsigned status = 200;
    std::string type = "application/json";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};
};

/** The reply begins with `opening` and goes on with what the hub tells from now on. */
struct StreamReply_t {
    std::string opening;
};

/** The reply follows when the adapter has decided. */
struct PendingReply_t {
    Action_t action;
};

using Answer_t = std::variant<Reply_t, StreamReply_t, PendingReply_t>;

/** An error document. */
[[nodiscard]] Reply_t errorReply(unsigned status, const std::string& code, const std::string& text);
