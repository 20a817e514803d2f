#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

struct sqlite3;
struct sqlite3_stmt;

/// One prepared statement, finalized at the end of its scope. Values are bound from left to right. Used under
/// the lock of the connection's owner.
class Statement {
public:
    Statement(sqlite3* db, const char* sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool isPrepared() const { return statement_ != nullptr; }
    /// The library's code of the first failure, preparing included; 0 while all went well.
    int failure() const { return failure_; }

    Statement& bindText(const QString& value);
    Statement& bindBlob(const QByteArray& value);
    Statement& bindReal(double value);
    /// A value outside 32 bits is a programming error and ends the process.
    Statement& bindInteger(qint64 value);
    Statement& bindNull();

    /// True while there is a row to read. False at the end and on a failure: `failure` tells them apart.
    bool step();
    /// Runs a statement without rows to its end.
    bool run();

    /// Columns of the present row, from 0. Absent when NULL.
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
