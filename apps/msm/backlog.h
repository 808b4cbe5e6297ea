/** Letters that wait, each connection's in a row of its own: nobody's crowd pushes another's out. */
#pragma once

#include <cstddef>
#include <deque>
#include <map>

#include "letter.h"

class Backlog_t {
public:
    void push(LetterPtr_t letter);
    bool empty() const { return count_ == 0; }
    std::size_t count() const { return count_; }
    /** Letters of one connection. */
    std::size_t count(std::uint64_t connection) const;
    /** Letters of all connections of one process. */
    std::size_t count(const Visitor_t& visitor) const;
    /** Bytes of all messages. */
    std::size_t bytes() const { return bytes_; }

    /**
     * Who gives way when there is too much: the peer's connection with the most waiting, and another endpoint's only
     * when no peer's letter waits, so that no number of peers costs the adapter an event. The backlog is not empty.
     */
    std::uint64_t heaviest() const;
    std::uint64_t mostNumerous() const;
    LetterPtr_t takeOldest(std::uint64_t connection);
    LetterPtr_t takeNewest(std::uint64_t connection);
    /** The letter that came first of all. */
    LetterPtr_t takeOldest();

    /** Visits each row: `visit(origin, number of letters)`. */
    template <typename Visit>
    void forEachRow(Visit visit) const {
        for (const auto& [connection, row] : rows_) {
            visit(row.letters.front().letter->origin, row.letters.size());
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
    using Rows_t = std::map<std::uint64_t, Row_t>;

    template <typename Weight>
    std::uint64_t first(Weight weight) const;
    LetterPtr_t take(Rows_t::iterator row, bool oldest);

    Rows_t rows_; /**< by number of the connection */
    std::map<Visitor_t, std::size_t> visitors_;
    std::size_t count_ = 0;
    std::size_t bytes_ = 0;
    std::uint64_t next_ = 0;
};
