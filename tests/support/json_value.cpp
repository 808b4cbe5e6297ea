#include "json_value.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace testsupport {

using nlohmann::ordered_json;

JsonValue_t::JsonValue_t(ordered_json value) : value_(std::make_shared<const ordered_json>(std::move(value))) {}
JsonValue_t::JsonValue_t(const char* text) : JsonValue_t(ordered_json(text)) {}
JsonValue_t::JsonValue_t(const std::string& text) : JsonValue_t(ordered_json(text)) {}
JsonValue_t::JsonValue_t(bool value) : JsonValue_t(ordered_json(value)) {}
JsonValue_t::JsonValue_t(std::int64_t value) : JsonValue_t(ordered_json(value)) {}
JsonValue_t::JsonValue_t(double value) : JsonValue_t(ordered_json(value)) {}

JsonValue_t JsonValue_t::parse(const std::string& text) {
    ordered_json value = ordered_json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        ADD_FAILURE() << "no JSON: " << text;
        value = nullptr;
    }
    return JsonValue_t(std::move(value));
}

std::vector<JsonValue_t> JsonValue_t::parseLines(const std::string& text) {
    std::vector<JsonValue_t> values;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        values.push_back(parse(line));
    }
    return values;
}

JsonValue_t JsonValue_t::operator[](const char* name) const {
    return contains(name) ? JsonValue_t(value_->at(name)) : JsonValue_t(ordered_json());
}

JsonValue_t JsonValue_t::operator[](std::size_t index) const {
    return value_->is_array() && index < size() ? JsonValue_t(value_->at(index)) : JsonValue_t(ordered_json());
}

bool JsonValue_t::isNull() const {
    return value_->is_null();
}

bool JsonValue_t::contains(const char* name) const {
    return value_->is_object() && value_->contains(name);
}

std::size_t JsonValue_t::size() const {
    return value_->size();
}

std::vector<JsonValue_t> JsonValue_t::elements() const {
    std::vector<JsonValue_t> elements;
    for (std::size_t i = 0; value_->is_array() && i < size(); ++i) {
        elements.push_back((*this)[i]);
    }
    return elements;
}

std::vector<std::string> JsonValue_t::names() const {
    std::vector<std::string> names;
    for (const auto& [name, value] : value_->items()) {
        names.push_back(name);
    }
    return names;
}

JsonValue_t JsonValue_t::without(const char* name) const {
    ordered_json rest = *value_;
    rest.erase(name);
    return JsonValue_t(std::move(rest));
}

std::string JsonValue_t::text() const {
    return value_->is_string() ? value_->get<std::string>() : std::string();
}

double JsonValue_t::number() const {
    return value_->is_number() ? value_->get<double>() : 0;
}

std::string JsonValue_t::dump() const {
    return nlohmann::json(*value_).dump();
}

std::ostream& operator<<(std::ostream& out, const JsonValue_t& value) {
    return out << value.dump();
}

} // namespace testsupport
