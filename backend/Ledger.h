#pragma once

#include "Database.h"

#include <QJsonArray>

namespace backend {

/// Every request that came in, in order of arrival: no headers and no bodies, only the body's size and
/// digest.
class Ledger {
public:
    explicit Ledger(Database& keptIn)
        : database(keptIn) {}

    /// Returns the entry's number. Its status is 0 until it is answered, and stays so when it never is.
    qint64 begin(double at, const QString& method, const QString& path, const QByteArray& body,
                 const QString& fault);
    void finish(qint64 entry, int status, const QString& reason);

    /// The entries with a number above `seq`.
    QJsonArray since(qint64 seq) const;

private:
    Database& database;
};

} // namespace backend
