#include "slots.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "errors.h"
#include "names.h"

namespace {

constexpr unsigned MOST_SLOTS = 256; // a count of elements has one byte

/** Where a link leads; the text itself where it is none. */
std::string targetOf(const std::string& text) {
    std::error_code error;
    const std::filesystem::path target =
        text.starts_with('/') ? std::filesystem::canonical(text, error) : std::filesystem::path(text);
    return error ? text : target.string();
}

} // namespace

SlotLabels_t::SlotLabels_t(const std::string& path, bool mustExist) : path_(path) {
    std::ifstream file(path);
    if (!file) {
        if (mustExist) {
            throw usageError("cannot read '" + path + "': expected a file of lines such as \"3 A4 WX1234\"");
        }
        return;
    }
    std::string line;
    for (unsigned number = 1; std::getline(file, line); ++number) {
        readLine(path + ":" + std::to_string(number), line);
    }
}

void SlotLabels_t::readLine(const std::string& where, const std::string& line) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string slot;
    if (!(words >> slot)) {
        return;
    }
    unsigned number = 0;
    try {
        number = parseElement("slot", slot, MOST_SLOTS);
    } catch (const ToolError_t&) {
        throw usageError(where + ": '" + slot +
                         "' is no slot; expected a slot and its labels, such as \"3 A4 WX1234\"");
    }
    for (std::string label; words >> label;) {
        for (const auto& [other, labels] : labels_) {
            if (std::ranges::find(labels, label) != labels.end()) {
                std::string message = where;
                message.append(": '").append(label).append("' is the label of ").append(slotName(other));
                throw usageError(message + " already; expected one slot for each label");
            }
        }
        labels_[number].push_back(label);
    }
}

std::vector<std::string> SlotLabels_t::of(unsigned slot) const {
    const auto found = labels_.find(slot);
    return found == labels_.end() ? std::vector<std::string>{} : found->second;
}

std::string SlotLabels_t::describe(unsigned slot) const {
    std::string text;
    for (const std::string& label : of(slot)) {
        text += (text.empty() ? " (" : " ") + label;
    }
    return slotName(slot) + text + (text.empty() ? "" : ")");
}

std::vector<std::string> SlotLabels_t::all() const {
    std::vector<std::string> all;
    for (const auto& [slot, labels] : labels_) {
        all.insert(all.end(), labels.begin(), labels.end());
    }
    return all;
}

std::vector<unsigned> SlotLabels_t::parse(const std::string& text, unsigned count) const {
    std::vector<unsigned> slots;
    std::istringstream items(text == "all" ? "0-" + std::to_string(count == 0 ? 0 : count - 1) : text);
    for (std::string item; std::getline(items, item, ',');) {
        parseItem(item, count, slots);
    }
    if (slots.empty()) {
        (void)parseElement("slot", text, count);
    }
    return slots;
}

void SlotLabels_t::parseItem(const std::string& item, unsigned count, std::vector<unsigned>& slots) const {
    unsigned first = count;
    unsigned last = count;
    for (const auto& [slot, labels] : labels_) {
        const auto same = [&](const std::string& label) { return label == item || targetOf(label) == targetOf(item); };
        if (std::ranges::any_of(labels, same)) {
            first = last = slot;
        }
    }
    const std::size_t dash = item.find('-');
    if (first == count && dash != std::string::npos && dash > 0 && dash + 1 < item.size()) {
        first = parseElement("slot", item.substr(0, dash), count);
        last = parseElement("slot", item.substr(dash + 1), count);
    } else {
        first = last = parseElement("slot", first == count ? item : slotName(first), count);
    }
    if (first > last) {
        throw usageError("'" + item + "' runs backwards; expected the lower slot first");
    }
    for (unsigned slot = first; slot <= last; ++slot) {
        if (std::ranges::find(slots, slot) == slots.end()) {
            slots.push_back(slot);
        }
    }
}
