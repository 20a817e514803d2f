#include "Ledger.h"

#include "Secrets.h"

#include <QJsonObject>

namespace backend {

qint64 Ledger::begin(double at, const QString& method, const QString& path, const QByteArray& body,
                     const QString& fault) {
    Statement(
        database,
        "INSERT INTO ledger (at, method, path, body_bytes, body_sha256, fault) VALUES (?, ?, ?, ?, ?, ?)", at,
        method, path, body.size(), digestOf(body), fault)
        .run();
    return sqlite3_last_insert_rowid(database.handle());
}

void Ledger::finish(qint64 entry, int status, const QString& reason) {
    Statement(database, "UPDATE ledger SET status = ?, reason = ? WHERE seq = ?", status, reason, entry)
        .run();
}

QJsonArray Ledger::since(qint64 seq) const {
    Statement row(database,
                  "SELECT seq, at, method, path, status, body_bytes, body_sha256, fault, reason FROM ledger "
                  "WHERE seq > ? ORDER BY seq",
                  seq);
    QJsonArray entries;
    while (row.next()) {
        entries.append(QJsonObject{{u"seq"_qs, row.integer(0)},
                                   {u"at"_qs, row.real(1)},
                                   {u"method"_qs, row.text(2)},
                                   {u"path"_qs, row.text(3)},
                                   {u"status"_qs, row.integer(4)},
                                   {u"body_bytes"_qs, row.integer(5)},
                                   {u"body_sha256"_qs, row.text(6)},
                                   {u"fault"_qs, row.text(7)},
                                   {u"reason"_qs, row.text(8)}});
    }
    return entries;
}

} // namespace backend
