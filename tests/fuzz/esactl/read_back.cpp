#include "read_back.h"

#include "fuzz_input.h"

// Built without coverage: the reader is only the judge here. Its counters would take most of the time, and the corpus
// would grow with every new way through it. Reading either form back takes as long as all else, so each document picks
// one by its length.
void fuzz::requireJson(const Json& document) {
    std::string text = jsonText(document, -1);
    if (text.size() % 2 != 0) {
        text = jsonText(document, 2);
    }
    require(Json::parse(text, nullptr, false) == document);
}
