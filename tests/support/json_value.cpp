#include "json_value.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "json.h"

namespace testsupport {

JsonValue_t::JsonValue_t(const JsonInput_t& value) : value_(std::make_shared<const JsonInput_t>(value)) {}
JsonValue_t::JsonValue_t(const char* text) : JsonValue_t(parse(Json_t(text).text(-1))) {}
JsonValue_t::JsonValue_t(const std::string& text) : JsonValue_t(parse(Json_t(text).text(-1))) {}
JsonValue_t::JsonValue_t(bool value) : JsonValue_t(parse(Json_t(value).text(-1))) {}
JsonValue_t::JsonValue_t(std::int64_t value) : JsonValue_t(parse(Json_t(value).text(-1))) {}
JsonValue_t::JsonValue_t(double value) : JsonValue_t(parse(Json_t(value).text(-1))) {}

JsonValue_t JsonValue_t::parse(const std::string& text) {
    const std::optional<JsonInput_t> value = JsonInput_t::parse(text);
    EXPECT_TRUE(value) << "no JSON: " << text;
    return JsonValue_t(value ? *value : *JsonInput_t::parse("null"));
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
    return JsonValue_t((*value_)[name]);
}

JsonValue_t JsonValue_t::operator[](std::size_t index) const {
    return JsonValue_t(value_->element(index));
}

bool JsonValue_t::isNull() const {
    return value_->text(-1) == "null";
}

bool JsonValue_t::contains(const char* name) const {
    return std::ranges::count(names(), name) != 0;
}

std::size_t JsonValue_t::size() const {
    return value_->names().size() + value_->elements().size();
}

std::vector<JsonValue_t> JsonValue_t::elements() const {
    std::vector<JsonValue_t> elements;
    for (const JsonInput_t& element : value_->elements()) {
        elements.push_back(JsonValue_t(element));
    }
    return elements;
}

std::vector<std::string> JsonValue_t::names() const {
    return value_->names();
}

JsonValue_t JsonValue_t::without(const char* name) const {
    std::vector<std::string> others = names();
    std::erase(others, name);
    return parse(textOfMembers(others));
}

std::string JsonValue_t::text() const {
    return value_->string().value_or("");
}

double JsonValue_t::number() const {
    return value_->number().value_or(0);
}

std::string JsonValue_t::dump() const {
    const std::string text = value_->text(-1);
    if (value_->isObject()) {
        return textOfMembers(names());
    }
    if (!text.starts_with("[")) {
        return text;
    }
    std::string all;
    for (const JsonValue_t& element : elements()) {
        all += (all.empty() ? "" : ",") + element.dump();
    }
    return "[" + all + "]";
}

std::string JsonValue_t::textOfMembers(std::vector<std::string> names) const {
    std::ranges::sort(names);
    std::string all;
    for (const std::string& name : names) {
        all += (all.empty() ? "" : ",") + Json_t(name).text(-1) + ":" + (*this)[name].dump();
    }
    return "{" + all + "}";
}

std::ostream& operator<<(std::ostream& out, const JsonValue_t& value) {
    return out << value.dump();
}

} // namespace testsupport
