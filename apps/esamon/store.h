/** The history on disk. Bounded: pages as they came for a week, five-minute values for a year, 100,000 entries. */
#pragma once

#include <functional>
#include <map>
#include <optional>

#include "database.h"
#include "enclosure.h"
#include "moments.h"

inline constexpr Millis_t STORE_K_RAW_KEPT = Millis_t{7} * 86400 * 1000;
inline constexpr Millis_t STORE_K_MEANS_KEPT = Millis_t{365} * 86400 * 1000;
inline constexpr std::int64_t STORE_K_ENTRIES_KEPT = 100000;
/** What a five-minute value covers; each begins at a multiple of it. */
inline constexpr Millis_t STORE_K_MEAN_SPAN = Millis_t{300} * 1000;

/** An entry of the history. `document` has neither sequence, nor count, nor last time. */
struct Entry_t {
    std::int64_t sequence = 0;
    Millis_t time = 0;
    Millis_t lastTime = 0;
    std::int64_t count = 1;
    std::string name;
    std::vector<std::string> elements;
    std::string document;
};

/** Which entries; 0 and empty: any. */
struct EntryQuery_t {
    Millis_t since = 0;
    Millis_t until = 0;
    std::int64_t after = 0;  /**< with a higher sequence */
    std::int64_t before = 0; /**< with a lower one */
    std::string element = {};
    std::string name = {};
    std::int64_t limit = 1000;
    bool oldest = false; /**< the first that match instead of the last */
};

struct Snapshot_t {
    Millis_t time;
    Enclosure_t enclosure;
};

/** Minimum, mean and maximum from `time` on. */
struct Mean_t {
    Millis_t time;
    double least;
    double mean;
    double most;
};

/** Everything throws StoreError_t. What has returned is on the disk, unless a transaction is open. */
class Store_t {
public:
    /** Opens or creates, and makes sure that what is there can be read. A new one counts entries from `firstSequence`.
     */
    Store_t(const std::string& path, std::int64_t maxBytes, std::int64_t firstSequence);

    const Database_t& database() const { return database_; }

    std::int64_t add(const Entry_t& entry);
    void repeat(std::int64_t sequence, Millis_t lastTime);
    /** The last ones in the order of their time, the oldest ones in that of their sequence. */
    std::vector<Entry_t> entries(const EntryQuery_t& query) const;
    std::int64_t lastSequence() const;
    std::map<std::string, std::int64_t> countsByName() const;

    void addPages(Millis_t time, std::span<const U8_t> configuration, std::span<const U8_t> status);
    /** The latest at or before `time`. */
    std::optional<Snapshot_t> snapshot(Millis_t time) const;
    void forEachSnapshot(Millis_t from, Millis_t until, const std::function<void(const Snapshot_t&)>& visit) const;
    std::vector<Mean_t> means(const std::string& series, Millis_t from, Millis_t until) const;

    std::int64_t note(const std::string& key) const; /**< 0 when there is none */
    void setNote(const std::string& key, std::int64_t value);

    /** Takes the five-minute values of what has passed, and lets go what has been kept for long enough. */
    void tidy(Millis_t now);

private:
    void create(std::int64_t firstSequence);
    void takeMeans(Millis_t from, Millis_t until);
    const Configuration_t* configuration(std::int64_t id) const;

    Database_t database_;
    mutable std::map<std::int64_t, Configuration_t> configurations_;
};

/** Moves a database that is no good out of the way, with what belongs to it; the name that it has now. */
std::string setAside(const std::string& path, Millis_t now);
