#include "backlog.h"

#include <algorithm>
#include <utility>

void Backlog_t::push(LetterPtr_t letter) {
    const std::size_t size = letter->bytes.size();
    Row_t& row = rows_[letter->origin.connection];
    ++visitors_[letter->origin.visitor];
    row.letters.push_back({std::move(letter), next_++});
    row.bytes += size;
    bytes_ += size;
    ++count_;
}

std::size_t Backlog_t::count(std::uint64_t connection) const {
    const auto row = rows_.find(connection);
    return row == rows_.end() ? 0 : row->second.letters.size();
}

std::size_t Backlog_t::count(const Visitor_t& visitor) const {
    const auto found = visitors_.find(visitor);
    return found == visitors_.end() ? 0 : found->second;
}

std::uint64_t Backlog_t::heaviest() const {
    return first([](const Row_t& row) { return row.bytes; });
}

std::uint64_t Backlog_t::mostNumerous() const {
    return first([](const Row_t& row) { return row.letters.size(); });
}

template <typename Weight>
std::uint64_t Backlog_t::first(Weight weight) const {
    const auto rank = [&weight](const auto& row) {
        const bool isPeer = row.second.letters.front().letter->sender >= MMSG_K_FIRST_PEER;
        return std::pair(isPeer, weight(row.second));
    };
    return std::ranges::max_element(rows_, {}, rank)->first;
}

LetterPtr_t Backlog_t::takeOldest(std::uint64_t connection) {
    return take(rows_.find(connection), true);
}

LetterPtr_t Backlog_t::takeNewest(std::uint64_t connection) {
    return take(rows_.find(connection), false);
}

LetterPtr_t Backlog_t::takeOldest() {
    return take(std::ranges::min_element(rows_, {}, [](const auto& row) { return row.second.letters.front().number; }),
                true);
}

LetterPtr_t Backlog_t::take(Rows_t::iterator row, bool oldest) {
    std::deque<Entry_t>& letters = row->second.letters;
    LetterPtr_t letter = std::move(oldest ? letters.front().letter : letters.back().letter);
    if (oldest) {
        letters.pop_front();
    } else {
        letters.pop_back();
    }
    row->second.bytes -= letter->bytes.size();
    bytes_ -= letter->bytes.size();
    --count_;
    const auto visitor = visitors_.find(letter->origin.visitor);
    if (--visitor->second == 0) {
        visitors_.erase(visitor);
    }
    if (letters.empty()) {
        rows_.erase(row);
    }
    return letter;
}
