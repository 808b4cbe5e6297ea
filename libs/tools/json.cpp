#include "json.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

using nlohmann::ordered_json;

namespace {

const ordered_json NOTHING;

/** No document that is read has more; and each costs the time to look at those before it. */
constexpr std::size_t MOST_MEMBERS = 256;

std::string textOf(const ordered_json& value, int indent) {
    return value.dump(indent, ' ', false, ordered_json::error_handler_t::replace);
}

/** Where the string ends that begins at `at`; behind the text when it does not. */
std::size_t closingQuote(std::string_view text, std::size_t at) {
    while (++at < text.size() && text[at] != '"') {
        at += text[at] == '\\' ? 1 : 0;
    }
    return at;
}

/** Whether an object has too many members. What it counts is right as far as `text` is JSON, and nobody reads on. */
bool isTooWide(std::string_view text) {
    std::vector<std::size_t> members; // of each object that is not over
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"') {
            at = closingQuote(text, at);
        } else if (text[at] == '{') {
            members.push_back(0);
        } else if (text[at] == '}' && !members.empty()) {
            members.pop_back();
        } else if (text[at] == ':' && !members.empty() && ++members.back() > MOST_MEMBERS) {
            return true;
        }
    }
    return false;
}

} // namespace

Json_t::Json_t() = default;
Json_t::Json_t(bool value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(std::int64_t value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(double value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(std::string_view value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(const std::vector<std::string>& values) : value_(std::make_unique<ordered_json>(values)) {}

Json_t::Json_t(const Json_t& other) : value_(other.value_ ? std::make_unique<ordered_json>(*other.value_) : nullptr) {}
Json_t::Json_t(Json_t&& other) noexcept = default;
Json_t::~Json_t() = default;

Json_t Json_t::object(std::initializer_list<JsonMember_t> members) {
    Json_t object = Json_t::object();
    for (const JsonMember_t& member : members) {
        object.set(member.name, member.value);
    }
    return object;
}

Json_t Json_t::object() {
    Json_t object;
    object.value_ = std::make_unique<ordered_json>(ordered_json::object());
    return object;
}

Json_t Json_t::array() {
    Json_t array;
    array.value_ = std::make_unique<ordered_json>(ordered_json::array());
    return array;
}

void Json_t::set(const std::string& name, Json_t value) {
    (*value_)[name] = value.value_ ? std::move(*value.value_) : ordered_json();
}

void Json_t::add(Json_t value) {
    value_->push_back(value.value_ ? std::move(*value.value_) : ordered_json());
}

std::string Json_t::text(int indent) const {
    return value_ ? textOf(*value_, indent) : "null";
}

JsonInput_t::JsonInput_t(std::shared_ptr<const ordered_json> value) : value_(std::move(value)) {}

std::optional<JsonInput_t> JsonInput_t::parse(const std::string& text) {
    if (isTooWide(text)) {
        return std::nullopt;
    }
    const auto value = std::make_shared<const ordered_json>(ordered_json::parse(text, nullptr, false));
    return value->is_discarded() ? std::nullopt : std::optional(JsonInput_t(value));
}

JsonInput_t JsonInput_t::part(const ordered_json& value) const {
    return JsonInput_t(std::shared_ptr<const ordered_json>(value_, &value));
}

bool JsonInput_t::isObject() const {
    return value_->is_object();
}

std::vector<std::string> JsonInput_t::names() const {
    std::vector<std::string> names;
    if (value_->is_object()) {
        for (const auto& [name, value] : value_->items()) {
            names.push_back(name);
        }
    }
    return names;
}

JsonInput_t JsonInput_t::operator[](const char* name) const {
    const bool isThere = isObject() && value_->contains(name);
    return part(isThere ? value_->at(name) : NOTHING);
}

JsonInput_t JsonInput_t::element(std::size_t index) const {
    const bool isThere = value_->is_array() && index < value_->size();
    return part(isThere ? value_->at(index) : NOTHING);
}

std::vector<JsonInput_t> JsonInput_t::elements() const {
    std::vector<JsonInput_t> elements;
    if (value_->is_array()) {
        for (const ordered_json& element : *value_) {
            elements.push_back(part(element));
        }
    }
    return elements;
}

std::optional<bool> JsonInput_t::flag() const {
    return value_->is_boolean() ? std::optional(value_->get<bool>()) : std::nullopt;
}

std::optional<std::int64_t> JsonInput_t::integer() const {
    constexpr std::uint64_t MOST = std::numeric_limits<std::int64_t>::max();
    const bool isTooLarge = value_->is_number_unsigned() && value_->get<std::uint64_t>() > MOST;
    const bool fits = value_->is_number_integer() && !isTooLarge;
    return fits ? std::optional(value_->get<std::int64_t>()) : std::nullopt;
}

std::optional<double> JsonInput_t::number() const {
    return value_->is_number() ? std::optional(value_->get<double>()) : std::nullopt;
}

std::optional<std::string> JsonInput_t::string() const {
    return value_->is_string() ? std::optional(value_->get<std::string>()) : std::nullopt;
}

std::string JsonInput_t::text(int indent) const {
    return textOf(*value_, indent);
}
