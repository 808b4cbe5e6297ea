#include "read_back.h"

#include <nlohmann/json.hpp>

#include "fuzz_input.h"

// Built without coverage: the reader is only the judge here. Its counters would take most of the time, and the corpus
// would grow with every new way through it. Reading either form back takes as long as all else, so each document picks
// one by its length.
void fuzz::requireJson(const Json_t& document) {
    int indent = -1;
    std::string text = document.text(indent);
    if (text.size() % 2 != 0) {
        indent = 2;
        text = document.text(indent);
    }
    const auto read = nlohmann::ordered_json::parse(text, nullptr, false);
    require(!read.is_discarded() && read.dump(indent) == text);
}
