#include "storage/Statement.h"

#include <limits>
#include <sqlite3.h>
#include <utility>

Statement::Statement(sqlite3* db, const char* sql)
    : failure_(sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr)) {}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

Statement& Statement::bound(int result) {
    if (failure_ == SQLITE_OK)
        failure_ = result;
    return *this;
}

Statement& Statement::bindText(const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    return bound(sqlite3_bind_text64(statement_, ++lastBound_, utf8.constData(),
                                     static_cast<sqlite3_uint64>(utf8.size()), SQLITE_TRANSIENT, SQLITE_UTF8));
}

Statement& Statement::bindBlob(const QByteArray& value) {
    return bound(sqlite3_bind_blob64(statement_, ++lastBound_, value.constData(),
                                     static_cast<sqlite3_uint64>(value.size()), SQLITE_TRANSIENT));
}

Statement& Statement::bindReal(double value) {
    return bound(sqlite3_bind_double(statement_, ++lastBound_, value));
}

Statement& Statement::bindInteger(qint64 value) {
    if (!std::in_range<int>(value))
        qFatal("SQLiteStore: integer %lld does not fit its column", static_cast<long long>(value));
    return bound(sqlite3_bind_int(statement_, ++lastBound_, static_cast<int>(value)));
}

Statement& Statement::bindNull() {
    return bound(sqlite3_bind_null(statement_, ++lastBound_));
}

bool Statement::step() {
    if (failure_ != SQLITE_OK)
        return false;
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        failure_ = result;
    return result == SQLITE_ROW;
}

bool Statement::run() {
    while (step()) {
    }
    return failure_ == SQLITE_OK;
}

std::optional<QString> Statement::text(int column) const {
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL)
        return std::nullopt;
    const auto* utf8 = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return QString::fromUtf8(utf8, sqlite3_column_bytes(statement_, column));
}

std::optional<QByteArray> Statement::blob(int column) const {
    if (sqlite3_column_type(statement_, column) == SQLITE_NULL)
        return std::nullopt;
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return bytes ? QByteArray(bytes, sqlite3_column_bytes(statement_, column)) : QByteArray("");
}

double Statement::real(int column) const {
    return sqlite3_column_double(statement_, column);
}

int Statement::integer(int column) const {
    return sqlite3_column_int(statement_, column);
}
