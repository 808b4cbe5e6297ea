#include "api.h"

#include <algorithm>
#include <charconv>

#include "access.h"
#include "documents.h"
#include "errors.h"
#include "listed.h"
#include "metrics.h"
#include "panel_files.h"
#include "render_json.h"
#include "request_body.h"
#include "series.h"
#include "simulator.h"

namespace {

constexpr std::int64_t MOST_ENTRIES = 10000;
constexpr std::int64_t MOST_REPLAYED = 1000;
constexpr std::int64_t DEFAULT_ENTRIES = 1000;

/** A request that makes no sense: 400. */
ToolError_t wrong(const std::string& text) {
    return usageError(text);
}

std::optional<std::string> parameter(const Request_t& request, const std::string& name) {
    const auto found = request.query.find(name);
    return found == request.query.end() || found->second.empty() ? std::nullopt : std::optional(found->second);
}

void requireKnown(const Request_t& request, std::initializer_list<std::string_view> names) {
    for (const auto& [name, value] : request.query) {
        if (std::ranges::find(names, name) == names.end()) {
            throw wrong("there is no parameter '" + name + "' here; there is " + listed(names));
        }
    }
}

Millis_t moment(const Request_t& request, const std::string& name) {
    const std::optional<std::string> text = parameter(request, name);
    if (!text) {
        return 0;
    }
    const std::optional<Millis_t> value = parseMoment(*text, millisNow());
    if (!value) {
        throw wrong(name + "='" + *text + "' is no moment; give " + MOMENT_K_FORMS);
    }
    return std::max<Millis_t>(1, *value);
}

std::int64_t number(const Request_t& request, const std::string& name, std::int64_t fallback, std::int64_t least,
                    std::int64_t most) {
    const std::optional<std::string> text = parameter(request, name);
    if (!text) {
        return fallback;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    if (error != std::errc() || end != text->data() + text->size() || value < least || value > most) {
        throw wrong(name + "='" + *text + "' is no number from " + std::to_string(least) + " to " +
                    std::to_string(most));
    }
    return value;
}

std::vector<std::string> parted(const std::string& text) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        if (end > begin) {
            parts.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return parts;
}

std::string lastPath(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

} // namespace

Reply_t errorReply(unsigned status, const std::string& code, const std::string& text) {
    return {status, "application/json", errorText(code, text)};
}

Answer_t Api_t::answer(const Request_t& request) {
    if (!request.isLocal && !isOwnHost(request.header("host"), options_.hosts)) {
        return errorReply(403, "forbidden",
                          "this is not '" + request.header("host") + "'; use the address, or start esamon with --host");
    }
    try {
        if (request.method == "POST") {
            return post(request);
        }
        if (request.method == "GET" || request.method == "HEAD") {
            return get(request);
        }
        return errorReply(405, "usage", "there is GET, and POST for actions");
    } catch (const ToolError_t& error) {
        return errorReply(400, error.code(), error.what());
    } catch (const StoreError_t& error) {
        if (error.trouble() != StoreTrouble_e::BUSY) {
            recorder_.giveUpStore(error);
        }
        return errorReply(503, "internal", std::string("the history cannot be read: ") + error.what());
    }
}

const Store_t& Api_t::store() const {
    if (recorder_.store() == nullptr) {
        throw StoreError_t(StoreTrouble_e::BUSY, recorder_.trouble());
    }
    return *recorder_.store();
}

Answer_t Api_t::get(const Request_t& request) {
    const Present_t& present = recorder_.present();
    if (request.path == "/api/v1/status") {
        return status(request);
    }
    if (request.path == "/api/v1/config") {
        return present.enclosure ? Reply_t{.body = configText(present, options_)}
                                 : errorReply(503, "no-answer", "the adapter has not answered yet: " + present.error);
    }
    if (request.path == "/api/v1/events") {
        return events(request);
    }
    if (request.path == "/api/v1/readings") {
        return readings(request);
    }
    if (request.path == "/api/v1/stream") {
        return stream(request);
    }
    if (request.path == "/metrics") {
        return Reply_t{.type = "text/plain; version=0.0.4; charset=utf-8", .body = metricsText(present, options_)};
    }
    if (request.path == "/healthz") {
        return recorder_.trouble().empty() ? Reply_t{.type = "text/plain; charset=utf-8", .body = "ok\n"}
                                           : Reply_t{503, "text/plain; charset=utf-8", recorder_.trouble() + "\n"};
    }
    if (request.path.starts_with("/api/")) {
        return errorReply(404, "not-found", "there is no " + request.path);
    }
    return panelFile(options_.panel, request);
}

Reply_t Api_t::status(const Request_t& request) const {
    requireKnown(request, {"at"});
    if (const Millis_t at = moment(request, "at"); at != 0) {
        const std::optional<Snapshot_t> snapshot = store().snapshot(at);
        return snapshot ? Reply_t{.body = snapshotText(*snapshot, recorder_.present(), options_)}
                        : errorReply(404, "not-found", "nothing is kept of that time; it is for a week");
    }
    const Present_t& present = recorder_.present();
    return present.enclosure ? Reply_t{.body = presentStatusText(present, options_)}
                             : errorReply(503, "no-answer", "the adapter has not answered yet: " + present.error);
}

Reply_t Api_t::events(const Request_t& request) const {
    requireKnown(request, {"since", "until", "before", "after", "element", "type", "limit"});
    constexpr std::int64_t ANY = INT64_MAX;
    EntryQuery_t query{.since = moment(request, "since"),
                       .until = moment(request, "until"),
                       .after = number(request, "after", 0, 0, ANY),
                       .before = number(request, "before", 0, 1, ANY),
                       .element = parameter(request, "element").value_or(""),
                       .name = parameter(request, "type").value_or(""),
                       .limit = number(request, "limit", DEFAULT_ENTRIES, 1, MOST_ENTRIES)};
    ++query.limit; // one more tells whether there is more
    std::vector<Entry_t> entries = store().entries(query);
    const bool more = static_cast<std::int64_t>(entries.size()) == query.limit;
    if (more) {
        entries.erase(entries.begin());
    }
    return {.body = entriesText(entries, more)};
}

Reply_t Api_t::readings(const Request_t& request) const {
    requireKnown(request, {"element", "since", "until", "step"});
    ReadingsQuery_t query{.series = parted(parameter(request, "element").value_or("")),
                          .since = moment(request, "since"),
                          .until = moment(request, "until")};
    for (const std::string& name : query.series) {
        if (!seriesNamed(name)) {
            throw wrong("'" + name + "' has no readings; there is temp0, fan0, fan0.load, psu0 and so on");
        }
    }
    if (query.since != 0 && query.until != 0 && query.since > query.until) {
        throw wrong("since is later than until");
    }
    constexpr std::int64_t LONGEST_STEP = 366 * 86400;
    if (parameter(request, "step")) {
        query.step = number(request, "step", 0, 0, LONGEST_STEP) * 1000;
    }
    return {.body = readingsText(store(), recorder_.present(), query, millisNow())};
}

Answer_t Api_t::stream(const Request_t& request) const {
    requireKnown(request, {"after"});
    std::string opening = "retry: 1000\n\n";
    Request_t asked = request;
    if (const std::string last = request.header("last-event-id"); !last.empty()) {
        asked.query["after"] = last;
    }
    if (parameter(asked, "after")) {
        const EntryQuery_t query{
            .after = number(asked, "after", 0, 0, INT64_MAX), .limit = MOST_REPLAYED, .oldest = true};
        const std::vector<Entry_t> missed = store().entries(query);
        for (const Entry_t& entry : missed) {
            opening += Hub_t::frame("event", entryText(entry), entry.sequence);
        }
        if (!missed.empty() && missed.back().sequence < store().lastSequence()) {
            // Going on live would leave a gap: it ends, and the client comes again for what follows.
            return Reply_t{.type = "text/event-stream", .body = std::move(opening)};
        }
    }
    const Present_t& present = recorder_.present();
    if (present.enclosure) {
        opening += Hub_t::frame("config", configText(present, options_));
        opening += Hub_t::frame("status", presentStatusText(present, options_));
    }
    opening += Hub_t::frame("alive", aliveText(present, options_));
    return StreamReply_t{std::move(opening)};
}

Answer_t Api_t::post(const Request_t& request) {
    const bool isSimulator = request.path == "/api/v1/simulator";
    const std::string& needed = isSimulator ? options_.simulator : options_.tokenFile;
    const std::optional<Command_e> command = commandNamed(lastPath(request.path));
    if (needed.empty() || (!isSimulator && (!command || request.path != "/api/v1/" + lastPath(request.path)))) {
        return errorReply(404, "not-found", "nothing can be changed by way of " + request.path + " here");
    }
    if (!isSameOrigin(request.header("origin"), request.header("sec-fetch-site"), request.header("host"))) {
        return errorReply(403, "forbidden", "the request comes from a page of somebody else");
    }
    if (!request.header("content-type").starts_with("application/json")) {
        return errorReply(415, "usage", "the body has to be application/json");
    }
    if (isSimulator) {
        return simulate(simulatorCommandOf(request.body));
    }
    std::optional<std::string> owner;
    try {
        owner = tokenOwner(options_.tokenFile, request.header("authorization"));
    } catch (const ToolError_t& error) {
        return errorReply(503, "internal", error.what());
    }
    if (!owner) {
        Reply_t reply = errorReply(401, "no-token", "that needs a token: Authorization: Bearer TOKEN");
        reply.headers.emplace_back("WWW-Authenticate", "Bearer");
        return reply;
    }
    Action_t action = actionOf(*command, request.body);
    action.who = *owner;
    return PendingReply_t{std::move(action)};
}

Reply_t Api_t::actionReply(const ActionResult_t& result) {
    if (result.error.empty()) {
        constexpr const char* NAMES[] = {"leds", "alarm", "fans"};
        const char* const name = NAMES[static_cast<std::size_t>(result.action.command)];
        return {.body = commandJson(name, result.action.elements, result.action.request).text(-1)};
    }
    const bool isUsage = result.code == "usage";
    const bool isSwitch = result.code == "no-switch" || result.code == "no-answer";
    return errorReply(isUsage ? 400 : (isSwitch ? 503 : 502), result.code, result.error);
}

Reply_t Api_t::simulate(const std::string& command) const {
    return {.body = Json_t::object({{"reply", askSimulator(options_.simulator, command)}}).text(-1)};
}
