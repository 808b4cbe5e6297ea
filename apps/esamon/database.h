/** SQLite, as much of it as the history needs. */
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "basetypes.h"

struct sqlite3;
struct sqlite3_stmt;

/** What is wrong with a database that cannot do what it was asked for. */
enum class StoreTrouble_e : U8_t {
    BUSY,   /**< somebody else writes to it, for too long */
    ACCESS, /**< it cannot be opened or written: folder, permissions */
    BAD,    /**< damaged, full, or none of ours */
};

class StoreError_t : public std::runtime_error {
public:
    StoreError_t(StoreTrouble_e trouble, const std::string& text) : std::runtime_error(text), trouble_(trouble) {}
    StoreTrouble_e trouble() const { return trouble_; }

private:
    StoreTrouble_e trouble_;
};

class Database_t;

/** One statement; parameters and columns are counted from 1 and from 0, as SQLite does. Throws StoreError_t. */
class Statement_t {
public:
    Statement_t(const Database_t& database, const std::string& sql);
    ~Statement_t();
    Statement_t(const Statement_t&) = delete;
    Statement_t& operator=(const Statement_t&) = delete;

    Statement_t& bind(int parameter, std::int64_t value);
    Statement_t& bind(int parameter, double value);
    Statement_t& bind(int parameter, std::string_view value);
    Statement_t& bind(int parameter, std::span<const U8_t> value);
    Statement_t& bindNull(int parameter);

    /** False when there is no further row. */
    bool step();
    /** Runs a statement without rows, and makes it ready for the next values. */
    void run();

    bool isNull(int column) const;
    std::int64_t integer(int column) const;
    double real(int column) const;
    std::string text(int column) const;
    std::vector<U8_t> bytes(int column) const;

private:
    void check(int result) const;
    sqlite3* database_;
    sqlite3_stmt* statement_ = nullptr;
};

class Database_t {
public:
    /** Opens or creates; write-ahead log, every commit on the disk, never more than `maxBytes`. Throws StoreError_t. */
    Database_t(const std::string& path, std::int64_t maxBytes);
    ~Database_t();
    Database_t(const Database_t&) = delete;
    Database_t& operator=(const Database_t&) = delete;

    void run(const std::string& sql) const;
    std::int64_t integer(const std::string& sql) const;
    std::int64_t lastRow() const;
    sqlite3* handle() const { return database_; }

private:
    sqlite3* database_ = nullptr;
};

/** All or nothing: rolled back unless committed. */
class Transaction_t {
public:
    explicit Transaction_t(const Database_t& database) : database_(database) { database_.run("BEGIN IMMEDIATE"); }
    ~Transaction_t();
    Transaction_t(const Transaction_t&) = delete;
    Transaction_t& operator=(const Transaction_t&) = delete;
    void commit();

private:
    const Database_t& database_;
    bool done_ = false;
};
