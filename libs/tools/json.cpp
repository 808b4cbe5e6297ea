#include "json.h"

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

Json_t::Json_t() = default;
Json_t::Json_t(bool value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(std::int64_t value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(double value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(std::string_view value) : value_(std::make_unique<ordered_json>(value)) {}
Json_t::Json_t(const std::vector<std::string>& values) : value_(std::make_unique<ordered_json>(values)) {}

Json_t::Json_t(const Json_t& other) : value_(other.value_ ? std::make_unique<ordered_json>(*other.value_) : nullptr) {}
Json_t::Json_t(Json_t&& other) noexcept = default;
Json_t& Json_t::operator=(const Json_t& other) {
    return *this = Json_t(other);
}
Json_t& Json_t::operator=(Json_t&& other) noexcept = default;
Json_t::~Json_t() = default;

Json_t Json_t::object(std::initializer_list<Member_t> members) {
    Json_t object;
    object.value_ = std::make_unique<ordered_json>(ordered_json::object());
    for (const Member_t& member : members) {
        object.set(member.first, member.second);
    }
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
    return value_ ? value_->dump(indent, ' ', false, ordered_json::error_handler_t::replace) : "null";
}
