/** JSON documents that tools print; the members of an object keep the order in which they were given. */
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class Json_t {
public:
    using Member_t = std::pair<const char*, Json_t>;

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

    static Json_t object(std::initializer_list<Member_t> members = {});
    static Json_t array();

    Json_t(const Json_t& other);
    Json_t(Json_t&& other) noexcept;
    Json_t& operator=(const Json_t& other);
    Json_t& operator=(Json_t&& other) noexcept;
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
