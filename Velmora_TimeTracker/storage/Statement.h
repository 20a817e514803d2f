#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

struct sqlite3;
struct sqlite3_stmt;

/// One prepared statement, finalized at the end of its scope. Values are bound from left to right. Use it under the
/// lock of the connection.
class Statement {
public:
    Statement(sqlite3* db, const char* sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool isPrepared() const { return statement_ != nullptr; }
    /// The first result code other than success, preparing included; 0 if there is none.
    int failure() const { return failure_; }

    Statement& bindText(const QString& value);
    Statement& bindBlob(const QByteArray& value);
    Statement& bindReal(double value);
    /// Terminates the process for a value outside 32 bits, a programming error.
    Statement& bindInteger(qint64 value);
    Statement& bindNull();

    /// True if there is a row to read. False at the end and on a failure; `failure` distinguishes them.
    bool step();
    /// Runs a statement without rows to its end.
    bool run();

    /// Columns of the current row, from 0. Absent if NULL.
    std::optional<QString> text(int column) const;
    std::optional<QByteArray> blob(int column) const;
    double real(int column) const;
    int integer(int column) const;

private:
    Statement& bound(int result);

    sqlite3_stmt* statement_ = nullptr;
    int failure_ = 0;
    int lastBound_ = 0;
};
