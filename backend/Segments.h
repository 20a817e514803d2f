#pragma once

#include "backend/Database.h"

#include <QJsonArray>
#include <QJsonObject>
#include <vector>

namespace backend {

/// A closed ten-minute slot of a calendar day, summed over the person's devices.
struct SegmentRow {
    QString user;
    QString company;
    QString date;
    int number; ///< 0 to 143
    double activityRate;
    double nonIdlePercent;
    qint64 mouseMovements;
    qint64 keyPressCount;
};

class Segments {
public:
    explicit Segments(Database& keptIn)
        : database(keptIn) {}

    /// Stores each row that is right, one per device and slot, a later one in the place of an earlier one.
    /// Returns {accepted: [positions], rejected: [{index, reason}]}.
    QJsonObject accept(const QString& user, const QString& company, const QString& device, const QJsonArray& rows,
                       qint64 now);

    std::vector<SegmentRow> all() const;
    std::vector<SegmentRow> of(const QString& user, const QString& company, const QString& date) const;

private:
    Database& database;
};

} // namespace backend
