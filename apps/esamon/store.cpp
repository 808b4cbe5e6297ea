#include "store.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "series.h"

namespace {

constexpr std::int64_t LAYOUT = 1;
/** Five-minute values that one call of tidy() takes at most, after a long time without a monitor. */
constexpr Millis_t MEANS_AT_ONCE = 288 * STORE_K_MEAN_SPAN;

constexpr const char* TABLES = R"(
CREATE TABLE notes(key TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE history(sequence INTEGER PRIMARY KEY AUTOINCREMENT, time INTEGER NOT NULL, last_time INTEGER NOT NULL,
    count INTEGER NOT NULL, name TEXT NOT NULL, document TEXT NOT NULL);
CREATE INDEX history_by_time ON history(time);
CREATE INDEX history_by_name ON history(name, sequence);
CREATE TABLE history_elements(element TEXT NOT NULL, sequence INTEGER NOT NULL, PRIMARY KEY(element, sequence))
    WITHOUT ROWID;
CREATE TABLE configurations(id INTEGER PRIMARY KEY, page BLOB NOT NULL UNIQUE);
CREATE TABLE polls(time INTEGER PRIMARY KEY, configuration INTEGER NOT NULL, page BLOB NOT NULL);
CREATE TABLE means(series TEXT NOT NULL, time INTEGER NOT NULL, least REAL NOT NULL, mean REAL NOT NULL,
    most REAL NOT NULL, PRIMARY KEY(series, time)) WITHOUT ROWID;
CREATE INDEX means_by_time ON means(time);
)";

Entry_t entryOf(const Statement_t& row) {
    return {row.integer(0), row.integer(1), row.integer(2), row.integer(3), row.text(4), {}, row.text(5)};
}

} // namespace

Store_t::Store_t(const std::string& path, std::int64_t maxBytes, std::int64_t firstSequence)
    : database_(path, maxBytes) {
    const std::int64_t layout = database_.integer("PRAGMA user_version");
    if (layout == 0) {
        create(firstSequence);
    } else if (layout != LAYOUT) {
        throw StoreError_t(StoreTrouble_e::BAD,
                           "it has layout " + std::to_string(layout) + ", not " + std::to_string(LAYOUT));
    }
    Statement_t check(database_, "PRAGMA quick_check(1)");
    if (!check.step() || check.text(0) != "ok") {
        throw StoreError_t(StoreTrouble_e::BAD, "it is damaged: " + check.text(0));
    }
}

void Store_t::create(std::int64_t firstSequence) {
    Transaction_t transaction(database_);
    database_.run(TABLES);
    database_.run("INSERT INTO sqlite_sequence(name, seq) VALUES('history', " + std::to_string(firstSequence - 1) +
                  ")");
    database_.run("PRAGMA user_version=" + std::to_string(LAYOUT));
    transaction.commit();
}

std::int64_t Store_t::add(const Entry_t& entry) {
    Statement_t insert(database_, "INSERT INTO history(time, last_time, count, name, document) VALUES(?, ?, ?, ?, ?)");
    insert.bind(1, entry.time).bind(2, entry.lastTime).bind(3, entry.count);
    insert.bind(4, std::string_view(entry.name)).bind(5, std::string_view(entry.document)).run();
    const std::int64_t sequence = database_.lastRow();
    Statement_t element(database_, "INSERT OR IGNORE INTO history_elements VALUES(?, ?)");
    for (const std::string& name : entry.elements) {
        element.bind(1, std::string_view(name)).bind(2, sequence).run();
    }
    return sequence;
}

void Store_t::repeat(std::int64_t sequence, Millis_t lastTime) {
    Statement_t(database_, "UPDATE history SET count = count + 1, last_time = ? WHERE sequence = ?")
        .bind(1, lastTime)
        .bind(2, sequence)
        .run();
}

std::vector<Entry_t> Store_t::entries(const EntryQuery_t& query) const {
    std::string sql = "SELECT sequence, time, last_time, count, name, document FROM history WHERE sequence > ?1";
    // An entry that lasts belongs to every moment from its first to its last time.
    sql += query.since != 0 ? " AND last_time >= ?2" : "";
    sql += query.until != 0 ? " AND time <= ?3" : "";
    sql += query.before != 0 ? " AND sequence < ?4" : "";
    sql += query.name.empty() ? "" : " AND name = ?5";
    sql += query.element.empty() ? "" : " AND sequence IN (SELECT sequence FROM history_elements WHERE element = ?6)";
    sql += query.oldest ? " ORDER BY sequence LIMIT ?7" : " ORDER BY sequence DESC LIMIT ?7";
    Statement_t rows(database_, sql);
    rows.bind(1, query.after).bind(7, query.limit);
    if (query.since != 0) {
        rows.bind(2, query.since);
    }
    if (query.until != 0) {
        rows.bind(3, query.until);
    }
    if (query.before != 0) {
        rows.bind(4, query.before);
    }
    if (!query.name.empty()) {
        rows.bind(5, std::string_view(query.name));
    }
    if (!query.element.empty()) {
        rows.bind(6, std::string_view(query.element));
    }
    std::vector<Entry_t> found;
    while (rows.step()) {
        found.push_back(entryOf(rows));
    }
    if (!query.oldest) {
        std::ranges::reverse(found);
        // What happened before the monitor came is told to it later than it happened.
        std::ranges::stable_sort(found, {}, &Entry_t::time);
    }
    return found;
}

std::int64_t Store_t::lastSequence() const {
    return database_.integer("SELECT seq FROM sqlite_sequence WHERE name = 'history'");
}

std::map<std::string, std::int64_t> Store_t::countsByName() const {
    std::map<std::string, std::int64_t> counts;
    Statement_t rows(database_, "SELECT name, sum(count) FROM history GROUP BY name");
    while (rows.step()) {
        counts[rows.text(0)] = rows.integer(1);
    }
    return counts;
}

void Store_t::addPages(Millis_t time, std::span<const U8_t> configuration, std::span<const U8_t> status) {
    Statement_t(database_, "INSERT OR IGNORE INTO configurations(page) VALUES(?)").bind(1, configuration).run();
    Statement_t(database_, "INSERT OR REPLACE INTO polls SELECT ?, id, ? FROM configurations WHERE page = ?")
        .bind(1, time)
        .bind(2, status)
        .bind(3, configuration)
        .run();
}

const Configuration_t* Store_t::configuration(std::int64_t id) const {
    const auto known = configurations_.find(id);
    if (known != configurations_.end()) {
        return &known->second;
    }
    Statement_t row(database_, "SELECT page FROM configurations WHERE id = ?");
    row.bind(1, id);
    if (!row.step()) {
        return nullptr;
    }
    const Decoded_t<Configuration_t> decoded = decodeConfigurationPage(row.bytes(0));
    return decoded.value ? &configurations_.emplace(id, *decoded.value).first->second : nullptr;
}

void Store_t::forEachSnapshot(Millis_t from, Millis_t until,
                              const std::function<void(const Snapshot_t&)>& visit) const {
    Statement_t rows(database_,
                     "SELECT time, configuration, page FROM polls WHERE time >= ? AND time <= ? ORDER BY time");
    rows.bind(1, from).bind(2, until);
    while (rows.step()) {
        const Configuration_t* const known = configuration(rows.integer(1));
        if (known == nullptr) {
            continue;
        }
        Decoded_t<EnclosureStatus_t> status = decodeStatusPage(rows.bytes(2), *known);
        if (status.value) {
            visit({rows.integer(0), {*known, std::move(*status.value)}});
        }
    }
}

std::optional<Snapshot_t> Store_t::snapshot(Millis_t time) const {
    Statement_t row(database_, "SELECT max(time) FROM polls WHERE time <= ?");
    row.bind(1, time);
    std::optional<Snapshot_t> found;
    if (row.step() && !row.isNull(0)) {
        forEachSnapshot(row.integer(0), row.integer(0), [&](const Snapshot_t& snapshot) { found = snapshot; });
    }
    return found;
}

std::vector<Mean_t> Store_t::means(const std::string& series, Millis_t from, Millis_t until) const {
    Statement_t rows(database_,
                     "SELECT time, least, mean, most FROM means WHERE series = ? AND time >= ? AND time <= ? "
                     "ORDER BY time");
    rows.bind(1, std::string_view(series)).bind(2, from).bind(3, until);
    std::vector<Mean_t> found;
    while (rows.step()) {
        found.push_back({rows.integer(0), rows.real(1), rows.real(2), rows.real(3)});
    }
    return found;
}

std::int64_t Store_t::note(const std::string& key) const {
    Statement_t row(database_, "SELECT value FROM notes WHERE key = ?");
    row.bind(1, std::string_view(key));
    return row.step() ? row.integer(0) : 0;
}

void Store_t::setNote(const std::string& key, std::int64_t value) {
    Statement_t(database_, "INSERT OR REPLACE INTO notes VALUES(?, ?)")
        .bind(1, std::string_view(key))
        .bind(2, value)
        .run();
}

void Store_t::tidy(Millis_t now) {
    Transaction_t transaction(database_);
    const Millis_t first = database_.integer("SELECT min(time) FROM polls");
    const Millis_t done = std::max(note("means_until"), first - first % STORE_K_MEAN_SPAN);
    const Millis_t until = std::min(now - now % STORE_K_MEAN_SPAN, done + MEANS_AT_ONCE);
    if (first != 0 && until > done) {
        takeMeans(done, until);
        setNote("means_until", until);
    }
    const auto forget = [&](const char* table, Millis_t before) {
        Statement_t(database_, std::string("DELETE FROM ") + table + " WHERE time < ?").bind(1, before).run();
    };
    forget("polls", std::min(now - STORE_K_RAW_KEPT, std::max(done, until)));
    forget("means", now - STORE_K_MEANS_KEPT);
    const std::int64_t oldest = database_.integer(
        "SELECT sequence FROM history ORDER BY sequence DESC LIMIT 1 OFFSET " + std::to_string(STORE_K_ENTRIES_KEPT));
    for (const char* table : {"history", "history_elements"}) {
        Statement_t(database_, std::string("DELETE FROM ") + table + " WHERE sequence <= ?").bind(1, oldest).run();
    }
    transaction.commit();
}

void Store_t::takeMeans(Millis_t from, Millis_t until) {
    struct Sum_t {
        double least = 0;
        double sum = 0;
        double most = 0;
        unsigned count = 0;
    };
    std::map<std::pair<std::string, Millis_t>, Sum_t> sums;
    forEachSnapshot(from, until - 1, [&](const Snapshot_t& snapshot) {
        const std::vector<Series_t> series = seriesOf(snapshot.enclosure.configuration);
        const std::vector<std::optional<double>> values = valuesOf(snapshot.enclosure);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i]) {
                Sum_t& sum = sums[{series[i].name, snapshot.time - snapshot.time % STORE_K_MEAN_SPAN}];
                sum.least = sum.count == 0 ? *values[i] : std::min(sum.least, *values[i]);
                sum.most = sum.count == 0 ? *values[i] : std::max(sum.most, *values[i]);
                sum.sum += *values[i];
                ++sum.count;
            }
        }
    });
    Statement_t insert(database_, "INSERT OR REPLACE INTO means VALUES(?, ?, ?, ?, ?)");
    for (const auto& [key, sum] : sums) {
        insert.bind(1, std::string_view(key.first)).bind(2, key.second).bind(3, sum.least);
        insert.bind(4, sum.sum / sum.count).bind(5, sum.most).run();
    }
}

std::string setAside(const std::string& path, Millis_t now) {
    const std::filesystem::path file(path);
    const std::string prefix = file.filename().string() + ".aside-";
    std::error_code ignored;
    // One is kept: what fills the disk must not do so twice.
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path(), ignored)) {
        if (entry.path().filename().string().starts_with(prefix)) {
            std::filesystem::remove(entry.path(), ignored);
        }
    }
    std::string aside = path + ".aside-" + std::to_string(now / 1000);
    (void)std::rename(path.c_str(), aside.c_str());
    (void)std::rename((path + "-wal").c_str(), (aside + "-wal").c_str());
    std::filesystem::remove(path + "-shm", ignored);
    return aside;
}
