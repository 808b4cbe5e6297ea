/** JSON documents that tools print and read; the members of an object keep the order in which they were given. */
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct JsonMember_t;

class Json_t {
public:
    /* A value becomes JSON wherever one is wanted. */
    Json_t();
    Json_t(std::nullptr_t) : Json_t() {}
    Json_t(bool value);
    Json_t(std::int64_t value);
    Json_t(double value);
    template <std::integral T>
    Json_t(T value) : Json_t(static_cast<std::int64_t>(value)) {}
    Json_t(const char* value) : Json_t(std::string_view(value)) {}
    Json_t(const std::string& value) : Json_t(std::string_view(value)) {}
    Json_t(std::string_view value);
    Json_t(const std::vector<std::string>& values);
    template <typename T>
    Json_t(const std::optional<T>& value) : Json_t(value ? Json_t(*value) : Json_t()) {}

    static Json_t object(std::initializer_list<JsonMember_t> members);
    static Json_t object();
    static Json_t array();

    Json_t(const Json_t& other);
    Json_t(Json_t&& other) noexcept;
    Json_t& operator=(const Json_t&) = delete;
    Json_t& operator=(Json_t&&) = delete;
    ~Json_t();

    /** Adds the member `name` to an object, or replaces it. */
    void set(const std::string& name, Json_t value);
    /** Appends to an array. */
    void add(Json_t value);

    /** `indent` blanks a level, or all on one line for -1. Always valid JSON, whatever bytes the texts hold. */
    [[nodiscard]] std::string text(int indent) const;

private:
    std::unique_ptr<nlohmann::ordered_json> value_; /**< none: null */
};

struct JsonMember_t {
    const char* name;
    Json_t value;
};

/** A document that was read, or a part of it. What is not there reads as null. */
class JsonInput_t {
public:
    /** Nothing when `text` is not one whole document, or one of its objects has more than 256 members. */
    static std::optional<JsonInput_t> parse(const std::string& text);

    [[nodiscard]] bool isObject() const;
    /** Names of an object's members. */
    [[nodiscard]] std::vector<std::string> names() const;
    JsonInput_t operator[](const char* name) const;
    [[nodiscard]] JsonInput_t element(std::size_t index) const;
    /** Elements of an array; none of anything else. */
    [[nodiscard]] std::vector<JsonInput_t> elements() const;

    /* Nothing for a value of another kind. */
    [[nodiscard]] std::optional<bool> flag() const;
    /** Nothing for what does not fit either. */
    [[nodiscard]] std::optional<std::int64_t> integer() const;
    [[nodiscard]] std::optional<double> number() const;
    [[nodiscard]] std::optional<std::string> string() const;

    /** As Json_t::text(). */
    [[nodiscard]] std::string text(int indent) const;

private:
    explicit JsonInput_t(std::shared_ptr<const nlohmann::ordered_json> value);
    /** A part of this document, which stays as long as any part is held. */
    JsonInput_t part(const nlohmann::ordered_json& value) const;

    std::shared_ptr<const nlohmann::ordered_json> value_;
};
