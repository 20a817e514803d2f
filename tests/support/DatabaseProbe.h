#pragma once

#include <QDir>
#include <QFileInfo>

/// Runs SQL on a database file over a connection of its own and gives the rows, columns joined with "|"; NULL
/// is shown as "NULL".
QStringList querySQLite(const QString& file, const QByteArray& sql);

/// A template for a temporary folder; in memory where the machine has such a place, so that a database's
/// syncs cost nothing.
inline QString fastTemporaryFolder() {
    return (QFileInfo("/dev/shm").isWritable() ? "/dev/shm" : QDir::tempPath()) + "/velmora-XXXXXX";
}
