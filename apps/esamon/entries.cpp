#include "entries.h"

#include <array>
#include <string_view>

#include "json.h"
#include "listed.h"
#include "render_json.h"

namespace {

const char* commandWord(Command_e command) {
    constexpr std::array WORDS{"leds", "alarm", "fans"};
    return WORDS[static_cast<std::size_t>(command)];
}

} // namespace

Entry_t watchEntry(Millis_t time, const char* name, const char* severity, const std::string& text) {
    Json_t document = newDocument("esamon.monitor");
    document.set("time", millisText(time));
    document.set("name", name);
    document.set("severity", severity);
    document.set("elements", std::vector<std::string>{});
    document.set("text", text);
    return {0, time, time, 1, name, {}, document.text(-1)};
}

Entry_t actionEntry(const ActionResult_t& result) {
    Json_t document = newDocument("esamon.action");
    const bool isAccepted = result.error.empty();
    const std::string what = commandWord(result.action.command);
    // A request that failed may have named anything.
    const std::vector<std::string> elements = isAccepted ? result.action.elements : std::vector<std::string>{};
    document.set("time", millisText(result.time));
    document.set("name", "action");
    document.set("severity", "information");
    document.set("elements", elements);
    document.set("command", what);
    document.set("request", result.action.request);
    document.set("result", isAccepted ? "accepted" : (result.code == "refused" ? "refused" : "failed"));
    document.set("who", result.action.who);
    document.set("text", result.action.who + " asked for " + what + " " + result.action.request +
                             (elements.empty() ? "" : ": " + listed(elements)) +
                             (isAccepted ? "" : "; " + result.error));
    return {0, result.time, result.time, 1, "action", elements, document.text(-1)};
}

std::string wordsOf(const std::string& document) {
    constexpr std::string_view MEMBER = "\"text\":\"";
    const std::size_t begin = document.rfind(MEMBER);
    return begin == std::string::npos
               ? ""
               : document.substr(begin + MEMBER.size(), document.size() - begin - MEMBER.size() - 2);
}
