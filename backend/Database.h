#pragma once

#include <QString>
#include <concepts>
#include <optional>
#include <sqlite3.h>

namespace backend {

/// The one connection to the backend's database file, which is made with mode 0600. Errors are thrown as
/// std::runtime_error. Not thread-safe: the server's mutex guards it.
class Database {
public:
    explicit Database(const QString& path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void execute(const char* sql);
    int changes() const;
    sqlite3* handle() const { return connection; }

private:
    sqlite3* connection = nullptr;
};

/// A transaction that rolls back unless it is committed.
class Transaction {
public:
    explicit Transaction(Database& on);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& database;
    bool open = true;
};

/// One prepared statement with its values bound in order.
class Statement {
public:
    template <typename... Values>
    Statement(Database& database, const char* sql, const Values&... values) {
        prepare(database, sql);
        int index = 0;
        (bind(++index, values), ...);
    }
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// Steps to the next row; false after the last.
    bool next();
    void run();

    qint64 integer(int column) const;
    double real(int column) const;
    QString text(int column) const;
    std::optional<qint64> optionalInteger(int column) const;

private:
    void prepare(Database& database, const char* sql);
    void bind(int index, std::integral auto value) { bindInteger(index, value); }
    void bind(int index, double value);
    void bind(int index, const QString& value);
    void bind(int index, const std::optional<qint64>& value);
    void bindInteger(int index, qint64 value);

    sqlite3_stmt* statement = nullptr;
};

} // namespace backend
