#include "hub.h"

namespace {

/** A listener that is further behind does not read. */
constexpr std::size_t MOST_MESSAGES = 256;
constexpr std::size_t MOST_BYTES = std::size_t{1024} * 1024;

} // namespace

std::string Hub_t::frame(const char* event, const std::string& document, std::int64_t sequence) {
    std::string text = std::string("event: ") + event + "\n";
    if (sequence != 0) {
        text += "id: " + std::to_string(sequence) + "\n";
    }
    return text + "data: " + document + "\n\n"; // a document on one line has no line ends
}

void Hub_t::publish(const char* event, const std::string& document, std::int64_t sequence) {
    messages_.push_back(std::make_shared<const std::string>(frame(event, document, sequence)));
    bytes_ += messages_.back()->size();
    while (messages_.size() > MOST_MESSAGES || (bytes_ > MOST_BYTES && messages_.size() > 1)) {
        bytes_ -= messages_.front()->size();
        messages_.pop_front();
        ++first_;
    }
    if (onNews) {
        onNews();
    }
}

StreamText_t Hub_t::at(std::uint64_t number) const {
    return number < next() ? messages_[static_cast<std::size_t>(number - first_)] : nullptr;
}
