/** JSON documents as a test reads them. */
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

class JsonInput_t;

namespace testsupport {

/** A value, or a part of one. Objects are equal whatever the order of their members. */
class JsonValue_t {
public:
    /** Fails the test, and gives null, when `text` is not one whole JSON document. */
    static JsonValue_t parse(const std::string& text);
    /** One document a line. */
    static std::vector<JsonValue_t> parseLines(const std::string& text);

    /* A plain value compares with a JSON one. */
    JsonValue_t(const char* text);
    JsonValue_t(const std::string& text);
    JsonValue_t(bool value);
    JsonValue_t(std::int64_t value);
    JsonValue_t(double value);
    template <std::integral T>
    JsonValue_t(T value) : JsonValue_t(static_cast<std::int64_t>(value)) {}

    /** The member, or null when there is none. */
    JsonValue_t operator[](const char* name) const;
    JsonValue_t operator[](const std::string& name) const { return (*this)[name.c_str()]; }
    /** The element, or null when there is none. */
    JsonValue_t operator[](std::size_t index) const;
    JsonValue_t operator[](int index) const { return (*this)[static_cast<std::size_t>(index)]; }

    [[nodiscard]] bool isNull() const;
    [[nodiscard]] bool contains(const char* name) const;
    [[nodiscard]] std::size_t size() const;
    /** Elements of an array; none of anything else. */
    [[nodiscard]] std::vector<JsonValue_t> elements() const;
    /** Names of an object's members, in the document's order. */
    [[nodiscard]] std::vector<std::string> names() const;
    /** The same object without that member. */
    [[nodiscard]] JsonValue_t without(const char* name) const;
    /** A text's characters; empty for any other value. */
    [[nodiscard]] std::string text() const;
    /** 0 for what is no number. */
    [[nodiscard]] double number() const;
    /** The whole value on one line, members sorted by their names. */
    [[nodiscard]] std::string dump() const;

    friend bool operator==(const JsonValue_t& a, const JsonValue_t& b) { return a.dump() == b.dump(); }
    friend std::ostream& operator<<(std::ostream& out, const JsonValue_t& value);

private:
    explicit JsonValue_t(const JsonInput_t& value);
    /** An object of those members, sorted. */
    [[nodiscard]] std::string textOfMembers(std::vector<std::string> names) const;

    std::shared_ptr<const JsonInput_t> value_;
};

} // namespace testsupport
