// The store's operations on the 10-minute segments.

#include "model/SegmentUtils.h"
#include "platform/Clock.h"
#include "storage/DomainStorage.h"
#include "storage/SQLiteStore.h"
#include "storage/Statement.h"
#include "storage/StoreStatements.h"

#include <algorithm>

bool SQLiteStore::upsertActivitySegment(const ActivitySegmentRow& row, const std::optional<QString>& domainKey) {
    const QString domain = domainKey ? *domainKey : domain_.domainKey();
    bool isWritten = false;
    withStatement(Sql::upsertActivitySegment, [&](Statement& statement) {
        statement.bindText(domain).bindText(row.segmentDate).bindInteger(row.segmentNumber);
        statement.bindInteger(row.activeSeconds).bindInteger(row.nonIdleSeconds);
        statement.bindInteger(row.mouseMovements).bindInteger(row.keyboardMovements);
        isWritten = statement.bindText(row.timezone).run();
    });
    return isWritten;
}

std::vector<SQLiteStore::ActivitySegmentRow>
SQLiteStore::pendingActivitySegmentsForUpload(const QString& currentSegmentDate, int currentSegmentNumber) {
    const QString domain = domain_.domainKey();
    std::vector<ActivitySegmentRow> rows;
    withStatement(Sql::pendingActivitySegmentsForUpload, [&](Statement& statement) {
        statement.bindText(domain).bindText(currentSegmentDate).bindText(currentSegmentDate);
        statement.bindInteger(currentSegmentNumber);
        while (statement.step())
            rows.push_back({statement.text(0).value_or(QString()), statement.integer(1), statement.integer(2),
                            statement.integer(3), statement.integer(4), statement.integer(5),
                            statement.text(6).value_or(QString())});
    });
    return rows;
}

bool SQLiteStore::markActivitySegmentsUploaded(const std::vector<ActivitySegmentRow>& rows, const QString& domainKey) {
    const double now = clock_.now().secondsSince1970();
    return std::ranges::all_of(rows, [&](const ActivitySegmentRow& row) {
        return withStatement(Sql::markActivitySegmentUploaded, [&](Statement& statement) {
            statement.bindReal(now).bindText(domainKey);
            statement.bindText(row.segmentDate).bindInteger(row.segmentNumber);
            statement.bindInteger(row.activeSeconds).bindInteger(row.nonIdleSeconds);
            statement.bindInteger(row.mouseMovements).bindInteger(row.keyboardMovements).run();
        });
    });
}

SQLiteStore::SegmentActivitySummary SQLiteStore::segmentActivitySummary(Date from, Date to) {
    const QString domain = domain_.domainKey();
    const QTimeZone zone = clock_.systemTimeZone();
    const QString first = SegmentUtils::segmentDateAndNumber(from, zone).date;
    const QString end = SegmentUtils::segmentDateAndNumber(to, zone).date;
    SegmentActivitySummary summary;
    withStatement(Sql::segmentActivitySummary, [&](Statement& statement) {
        statement.bindText(domain).bindText(first).bindText(end);
        while (statement.step()) {
            const double activityRate = statement.integer(0) * 100.0 / SegmentUtils::secondsPerSegment;
            const double nonIdlePercent = statement.integer(1) * 100.0 / SegmentUtils::secondsPerSegment;
            summary.activityRateWeightedSum += activityRate * nonIdlePercent;
            summary.nonIdlePercentSum += nonIdlePercent;
        }
    });
    return summary;
}
