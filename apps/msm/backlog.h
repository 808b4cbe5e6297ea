/** Letters that wait, each sender's in its own row: nobody's crowd pushes another's out. */
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>

#include "letter.h"

class Backlog_t {
public:
    void push(LetterPtr_t letter);
    bool empty() const { return count_ == 0; }
    std::size_t count() const { return count_; }
    std::size_t count(Place_t place) const;
    /** Bytes of all messages. */
    std::size_t bytes() const { return bytes_; }

    /**
     * Who gives way when there is too much: the peer's place with the most waiting, and another endpoint's only when
     * no peer's letter waits, so that no number of peers costs the adapter an event. The backlog is not empty.
     */
    Place_t heaviest() const;
    Place_t mostNumerous() const;
    LetterPtr_t takeOldest(Place_t place);
    LetterPtr_t takeNewest(Place_t place);
    /** The letter that came first of all. */
    LetterPtr_t takeOldest();

    /** Places that have letters waiting, with the oldest of each: `visit(place, letter)`. */
    template <typename Visit>
    void forEachRow(Visit visit) const {
        for (const auto& [place, row] : rows_) {
            visit(place, *row.letters.front().letter);
        }
    }

private:
    struct Entry_t {
        LetterPtr_t letter;
        std::uint64_t number; /**< order of arrival over all rows */
    };
    struct Row_t {
        std::deque<Entry_t> letters; /**< never empty */
        std::size_t bytes = 0;
    };
    using Rows_t = std::map<Place_t, Row_t>;

    template <typename Weight>
    Place_t first(Weight weight) const;
    LetterPtr_t take(Rows_t::iterator row, bool oldest);

    Rows_t rows_;
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
    std::uint64_t next_ = 0;
};
