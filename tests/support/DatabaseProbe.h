#pragma once

#include <QDir>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <sqlite3.h>

/// Runs SQL on a database file over a connection of its own and gives the rows, columns joined with "|"; NULL
/// is shown as "NULL".
inline QStringList querySQLite(const QString& file, const QByteArray& sql) {
    QStringList rows;
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(QFile::encodeName(file).constData(), &db), SQLITE_OK);
    const auto addRow = [](void* found, int count, char** values, char**) {
        QStringList columns;
        for (int i = 0; i < count; ++i)
            columns << QString::fromUtf8(values[i] ? values[i] : "NULL");
        static_cast<QStringList*>(found)->append(columns.join('|'));
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(db, sql.constData(), addRow, &rows, nullptr), SQLITE_OK) << sql.constData();
    sqlite3_close(db);
    return rows;
}

/// A template for a temporary folder; in memory where the machine has such a place, so that a database's
/// syncs cost nothing.
inline QString fastTemporaryFolder() {
    return (QFileInfo("/dev/shm").isWritable() ? "/dev/shm" : QDir::tempPath()) + "/velmora-XXXXXX";
}
