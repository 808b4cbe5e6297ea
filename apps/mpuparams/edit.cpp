#include "edit.h"

#include <algorithm>
#include <atomic>

#include "errors.h"
#include "fields.h"
#include "values.h"

namespace {

/** The parts of FIELD[INDEX]=VALUE. */
struct Assignment_t {
    std::string field;
    std::string index;
    std::string value;
    bool indexed = false;
    char operation = '='; /**< '+' or '-' for += and -= */
};

[[noreturn]] void refuseForm(const std::string& text) {
    throw usageError("\"" + text + "\": expected FIELD=VALUE, FIELD[N]=VALUE, flags+=NAME or flags-=NAME");
}

Assignment_t splitAssignment(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        refuseForm(text);
    }
    Assignment_t parts;
    parts.value = text.substr(equals + 1);
    parts.field = text.substr(0, equals);
    if (parts.field.back() == '+' || parts.field.back() == '-') {
        parts.operation = parts.field.back();
        parts.field.pop_back();
    }
    const std::size_t bracket = parts.field.find('[');
    if (bracket != std::string::npos) {
        if (parts.field.back() != ']') {
            refuseForm(text);
        }
        parts.indexed = true;
        parts.index = parts.field.substr(bracket + 1, parts.field.size() - bracket - 2);
        parts.field.resize(bracket);
    }
    return parts;
}

std::size_t findElement(const Field_t& field, const Assignment_t& parts) {
    const std::string name(field.name);
    if (field.count == 1) {
        if (parts.indexed) {
            throw usageError(name + " has no elements: expected " + name + "=VALUE");
        }
        return 0;
    }
    std::uint64_t element = 0;
    if (!parts.indexed || !parseNumber(parts.index, field.count - 1, &element)) {
        throw usageError(name + " has " + std::to_string(field.count) + " elements: expected " + name + "[0] to " +
                         name + "[" + std::to_string(field.count - 1) + "]");
    }
    return static_cast<std::size_t>(element);
}

Edit_t parseFlagsEdit(const Assignment_t& parts, const std::string& what) {
    const U32_t flags = parseFlags(parts.value, what);
    Edit_t edit;
    edit.isFlags = true;
    edit.raise = parts.operation == '-' ? 0 : flags;
    edit.lower = parts.operation == '-' ? flags : parts.operation == '+' ? 0 : ~U32_t{0};
    return edit;
}

Edit_t parseEdit(const std::string& text) {
    const Assignment_t parts = splitAssignment(text);
    const Field_t& field = findField(parts.field);
    const std::size_t element = findElement(field, parts);
    if (field.kind == Kind_e::FLAGS) {
        return parseFlagsEdit(parts, text);
    }
    if (parts.operation != '=') {
        throw usageError(std::string(field.name) + " is no set of flags: expected " + std::string(field.name) +
                         "=VALUE");
    }
    Edit_t edit;
    edit.offset = field.offset + element * field.size;
    edit.bytes = parseValue(field, parts.value, text);
    if (field.offset == offsetof(MPU_PARAMS_t, version)) {
        throw usageError(text + ": the version tells the layout of the block and stays " +
                         std::to_string(MPU_K_PARAMS_VERSION));
    }
    return edit;
}

void applyFlags(const Edit_t& edit, U8_t* block) {
    auto& word = reinterpret_cast<MPU_PARAMS_t*>(block)->flags;
    const std::atomic_ref<U32_t> flags(word);
    U32_t before = flags.load();
    while (!flags.compare_exchange_weak(before, (before & ~edit.lower) | edit.raise)) {
    }
}

} // namespace

std::vector<Edit_t> parseEdits(std::span<const std::string> assignments) {
    std::vector<Edit_t> edits;
    for (const std::string& assignment : assignments) {
        edits.push_back(parseEdit(assignment));
    }
    return edits;
}

void applyEdits(std::span<const Edit_t> edits, U8_t* block) {
    for (const Edit_t& edit : edits) {
        if (edit.isFlags) {
            applyFlags(edit, block);
        } else {
            std::ranges::copy(edit.bytes, block + edit.offset);
        }
    }
}
