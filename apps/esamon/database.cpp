#include "database.h"

#include <sqlite3.h>

namespace {

/** Somebody who looks into the database with a tool of his own is waited for so long, in milliseconds. */
constexpr int BUSY_MS = 2000;
constexpr std::int64_t PAGE_BYTES = 4096;

StoreTrouble_e troubleOf(int result) {
    switch (result & 0xFF) { // what is above tells of finer kinds
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return StoreTrouble_e::BUSY;
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_AUTH:
        return StoreTrouble_e::ACCESS;
    default:
        return StoreTrouble_e::BAD;
    }
}

void require(sqlite3* database, int result) {
    if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
        throw StoreError_t(troubleOf(result), database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(result));
    }
}

} // namespace

Statement_t::Statement_t(const Database_t& database, const std::string& sql) : database_(database.handle()) {
    check(sqlite3_prepare_v2(database_, sql.c_str(), static_cast<int>(sql.size()), &statement_, nullptr));
}

Statement_t::~Statement_t() {
    sqlite3_finalize(statement_);
}

void Statement_t::check(int result) const {
    require(database_, result);
}

Statement_t& Statement_t::bind(int parameter, std::int64_t value) {
    check(sqlite3_bind_int64(statement_, parameter, value));
    return *this;
}

Statement_t& Statement_t::bind(int parameter, double value) {
    check(sqlite3_bind_double(statement_, parameter, value));
    return *this;
}

Statement_t& Statement_t::bind(int parameter, std::string_view value) {
    check(sqlite3_bind_text64(statement_, parameter, value.data(), value.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Statement_t& Statement_t::bind(int parameter, std::span<const U8_t> value) {
    check(sqlite3_bind_blob64(statement_, parameter, value.data(), value.size(), SQLITE_TRANSIENT));
    return *this;
}

Statement_t& Statement_t::bindNull(int parameter) {
    check(sqlite3_bind_null(statement_, parameter));
    return *this;
}

bool Statement_t::step() {
    const int result = sqlite3_step(statement_);
    check(result);
    return result == SQLITE_ROW;
}

void Statement_t::run() {
    while (step()) {
    }
    check(sqlite3_reset(statement_));
}

bool Statement_t::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Statement_t::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

double Statement_t::real(int column) const {
    return sqlite3_column_double(statement_, column);
}

std::string Statement_t::text(int column) const {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return text == nullptr ? std::string() : std::string(text);
}

std::vector<U8_t> Statement_t::bytes(int column) const {
    const auto* const first = static_cast<const U8_t*>(sqlite3_column_blob(statement_, column));
    const int size = sqlite3_column_bytes(statement_, column);
    return first == nullptr ? std::vector<U8_t>() : std::vector<U8_t>(first, first + size);
}

Database_t::Database_t(const std::string& path, std::int64_t maxBytes) {
    try {
        require(database_,
                sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr));
        require(database_, sqlite3_busy_timeout(database_, BUSY_MS));
        run("PRAGMA journal_mode=WAL");
        run("PRAGMA synchronous=FULL");
        run("PRAGMA wal_autocheckpoint=200");
        run("PRAGMA journal_size_limit=4194304");
        run("PRAGMA cache_size=-1024");
        run("PRAGMA max_page_count=" + std::to_string(maxBytes / PAGE_BYTES));
    } catch (...) {
        sqlite3_close(database_);
        throw;
    }
}

Database_t::~Database_t() {
    sqlite3_close(database_);
}

void Database_t::run(const std::string& sql) const {
    require(database_, sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr));
}

std::int64_t Database_t::integer(const std::string& sql) const {
    Statement_t statement(*this, sql);
    return statement.step() ? statement.integer(0) : 0;
}

std::int64_t Database_t::lastRow() const {
    return sqlite3_last_insert_rowid(database_);
}

Transaction_t::~Transaction_t() {
    if (!done_) {
        (void)sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr,
                           nullptr); // a failed one is rolled back already
    }
}

void Transaction_t::commit() {
    database_.run("COMMIT");
    done_ = true;
}
